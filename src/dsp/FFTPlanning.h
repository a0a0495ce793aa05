// How the library's Fourier transforms are planned, for the whole process.
//
// Every transform object (FT, DFT, FFT and the measurement classes built on them) plans its lengths
// with FFTW when it is made or re-parameterised, and FFTW remembers what it learnt (its wisdom) for the
// life of the process, so a length planned once costs next to nothing again. By default the planner
// estimates at every length: a few milliseconds per new length, and the same plans (so the same
// results to the last bit) in every run. An application that can spend more
// time planning (at start-up, say) asks for a measuring planner here; one that keeps FFTW's wisdom
// between runs exports it and imports it at the next start. The library reads no file and no
// environment variable by itself: only these calls do.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>
#include <string>

namespace VELA {

enum FFTPlanningRigour : int32_t {
    FFTPlanningAutomatic = 0,   // the default: FFTW_ESTIMATE at every length
    FFTPlanningEstimate = 1,    // FFTW_ESTIMATE: no trial transforms, plans in well under 1 ms
    FFTPlanningMeasure = 2,     // FFTW_MEASURE: times candidates, 0.1 to several seconds per new length
    FFTPlanningPatient = 3,     // FFTW_PATIENT: about ten times MEASURE's planning time
    FFTPlanningExhaustive = 4,  // FFTW_EXHAUSTIVE
    // FFTW_MEASURE among the solvers that work on the data where they lie (FFTW_NO_INDIRECT_OP): a
    // third to a half of MEASURE's planning time, within about 50 ms up to 4096 points here, for plans
    // about as fast as MEASURE's (bench/RESULTS.md, "FFTW planning rigour").
    FFTPlanningMeasureDirect = 5,
};

class VELA_API FFTPlanning {
  public:
    // The rigour of plans made from now on; plans already made are kept. secondsPerPlan > 0 bounds
    // the planning time of each plan (FFTW then uses the best plan found within it), 0 removes the
    // bound. A rigour outside the enumeration or a negative or non-finite time throws "invalid input
    // parameter" and changes nothing.
    static void SetRigour(FFTPlanningRigour rigour, double secondsPerPlan = 0);
    static FFTPlanningRigour GetRigour();
    // The bound set with SetRigour, 0 when there is none.
    static double GetSecondsPerPlan();

    // The wisdom of this process (both precisions) as text.
    static std::string ExportWisdom();
    // Adds wisdom text made by ExportWisdom (of this FFTW, on this kind of machine). Text that is not
    // such wisdom changes nothing and returns false.
    static bool ImportWisdom(const std::string& text);
    // The same through a file. Export writes a temporary file beside `path` and renames it into place,
    // so a failure (false) leaves no half-written file; Import returns false for a missing or unreadable
    // file or one that is not wisdom.
    static bool ExportWisdomToFile(const std::string& path);
    static bool ImportWisdomFromFile(const std::string& path);
    // FFTW's system-wide wisdom (/etc/fftw/wisdom and /etc/fftw/wisdomf): true when either was read.
    static bool ImportSystemWisdom();
    // Drops all wisdom; plans already made are kept.
    static void ForgetWisdom();
};

}  // namespace VELA
