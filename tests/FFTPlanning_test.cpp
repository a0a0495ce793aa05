// FFTPlanning: the process-wide planning rigour and FFTW's wisdom, exported and imported.
#include <corvane/dsp/FFTPlanning.h>
#include <corvane/dsp/FT.h>
#include <fftw3.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "kernel/FFTPlan.h"
#include "support/NaiveDft.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

// Every test leaves the process as it found it: automatic rigour, no bound.
struct RestoreRigour {
    ~RestoreRigour() { FFTPlanning::SetRigour(FFTPlanningAutomatic, 0); }
};

std::vector<double> Interleaved(const VecCplx32& v) {
    std::vector<double> z;
    for (int i = 0; i < v.GetSize(); ++i) {
        z.push_back(v[i].re);
        z.push_back(v[i].im);
    }
    return z;
}

// A forward FT of n random points against the plain DFT in double.
void ExpectForwardRight(int n) {
    const auto z = RoundToFloat(Uniform(2 * static_cast<size_t>(n), 40u + static_cast<unsigned>(n)));
    FT ft;
    VecCplx32 out;
    ft.Forward(out, MakeCplx32(z));
    EXPECT_TRUE(NearL2(Interleaved(out), NaiveDft(z, false), 1e-6)) << "n=" << n;
}

}  // namespace

TEST(FFTPlanning, DefaultIsAutomaticWithoutABound) {
    EXPECT_EQ(FFTPlanning::GetRigour(), FFTPlanningAutomatic);
    EXPECT_EQ(FFTPlanning::GetSecondsPerPlan(), 0.0);
}

TEST(FFTPlanning, ValuesOutsideTheEnumerationOrBadBoundsAreRefusedAndChangeNothing) {
    RestoreRigour restore;
    FFTPlanning::SetRigour(FFTPlanningEstimate, 0.5);
    EXPECT_TRUE(ThrowsInvalidInput([] { FFTPlanning::SetRigour(static_cast<FFTPlanningRigour>(6), 0); }));
    EXPECT_TRUE(ThrowsInvalidInput([] { FFTPlanning::SetRigour(static_cast<FFTPlanningRigour>(-1), 0); }));
    EXPECT_TRUE(ThrowsInvalidInput([] { FFTPlanning::SetRigour(FFTPlanningMeasure, -1); }));
    EXPECT_TRUE(ThrowsInvalidInput([] { FFTPlanning::SetRigour(FFTPlanningMeasure, std::nan("")); }));
    EXPECT_TRUE(ThrowsInvalidInput(
        [] { FFTPlanning::SetRigour(FFTPlanningMeasure, std::numeric_limits<double>::infinity()); }));
    EXPECT_EQ(FFTPlanning::GetRigour(), FFTPlanningEstimate);
    EXPECT_EQ(FFTPlanning::GetSecondsPerPlan(), 0.5);
}

TEST(FFTPlanning, EveryRigourGivesTheSameTransform) {
    RestoreRigour restore;
    // Short lengths keep the measuring planners quick (a prime is measured for seconds); the patient
    // planner is bounded as well.
    for (FFTPlanningRigour r : {FFTPlanningAutomatic, FFTPlanningEstimate, FFTPlanningMeasure,
                                FFTPlanningPatient, FFTPlanningMeasureDirect})
        for (int n : {1, 7, 64, 97}) {
            if (n == 97 && r != FFTPlanningAutomatic && r != FFTPlanningEstimate) continue;
            FFTPlanning::SetRigour(r, r == FFTPlanningPatient ? 0.2 : 0);
            SCOPED_TRACE(testing::Message() << "rigour " << r);
            ExpectForwardRight(n);
        }
    // A bound far below what measuring takes still leaves a working plan (FFTW falls back to its
    // estimate).
    FFTPlanning::SetRigour(FFTPlanningPatient, 1e-6);
    EXPECT_EQ(FFTPlanning::GetSecondsPerPlan(), 1e-6);
    ExpectForwardRight(4096);
}

// The direct measuring planner asks FFTW to measure without its indirect solvers, for every kind and
// length, and its plans are measured ones: the length is in the wisdom afterwards.
TEST(FFTPlanning, DirectMeasuringPlannerMeasuresWithoutIndirectSolvers) {
    RestoreRigour restore;
    FFTPlanning::SetRigour(FFTPlanningMeasureDirect, 0);
    EXPECT_EQ(FFTPlanning::GetRigour(), FFTPlanningMeasureDirect);
    for (int n : {16, 1000, 1 << 20}) {
        EXPECT_EQ(kern::FFTPlannerFlags(kern::FFTKind::C32, n), unsigned{FFTW_MEASURE | FFTW_NO_INDIRECT_OP});
        EXPECT_EQ(kern::FFTPlannerFlags(kern::FFTKind::R64, n), unsigned{FFTW_MEASURE | FFTW_NO_INDIRECT_OP});
    }
    FFTPlanning::ForgetWisdom();
    EXPECT_FALSE(kern::FFTWisdomKnows(kern::FFTKind::C32, 144));
    ExpectForwardRight(144);
    EXPECT_TRUE(kern::FFTWisdomKnows(kern::FFTKind::C32, 144));
}

TEST(FFTPlanning, ALengthPlannedOnceIsKeptInTheProcessWisdom) {
    RestoreRigour restore;
    FFTPlanning::SetRigour(FFTPlanningMeasure, 0);
    FFTPlanning::ForgetWisdom();
    EXPECT_FALSE(kern::FFTWisdomKnows(kern::FFTKind::C32, 120));
    ExpectForwardRight(120);
    // The FT and its plans are gone; the wisdom stays, so the length is not measured again.
    EXPECT_TRUE(kern::FFTWisdomKnows(kern::FFTKind::C32, 120));
}

TEST(FFTPlanning, ExportedWisdomImportsBack) {
    RestoreRigour restore;
    FFTPlanning::SetRigour(FFTPlanningMeasure, 0);
    FFTPlanning::ForgetWisdom();
    ExpectForwardRight(72);
    {
        FT ft;
        VecCplx64 out;
        ft.Forward(out, MakeCplx64(Uniform(2 * 72, 3)));
    }
    const std::string text = FFTPlanning::ExportWisdom();
    EXPECT_NE(text.find("fftwf_wisdom"), std::string::npos);
    EXPECT_NE(text.find("fftw_wisdom"), std::string::npos);
    FFTPlanning::ForgetWisdom();
    EXPECT_FALSE(kern::FFTWisdomKnows(kern::FFTKind::C32, 72));
    EXPECT_FALSE(kern::FFTWisdomKnows(kern::FFTKind::C64, 72));
    EXPECT_TRUE(FFTPlanning::ImportWisdom(text));
    EXPECT_TRUE(kern::FFTWisdomKnows(kern::FFTKind::C32, 72));
    EXPECT_TRUE(kern::FFTWisdomKnows(kern::FFTKind::C64, 72));
}

TEST(FFTPlanning, TextThatIsNotWisdomChangesNothing) {
    RestoreRigour restore;
    FFTPlanning::SetRigour(FFTPlanningMeasure, 0);
    FFTPlanning::ForgetWisdom();
    ExpectForwardRight(80);
    const std::string good = FFTPlanning::ExportWisdom();
    FFTPlanning::ForgetWisdom();
    for (const std::string& bad :
         {std::string(), std::string("   \n"), std::string("hello"), std::string("(fftw-3.3.10 fftwf_wisdom"),
          std::string("(something else)"), good + " trailing", good.substr(0, good.size() / 2), good + good,
          std::string(")(")}) {
        EXPECT_FALSE(FFTPlanning::ImportWisdom(bad)) << bad.substr(0, 40);
        EXPECT_FALSE(kern::FFTWisdomKnows(kern::FFTKind::C32, 80));
    }
}

TEST(FFTPlanning, WisdomFilesRoundTripAndFailuresLeaveNothingBehind) {
    RestoreRigour restore;
    ScopedWorkDir dir;
    FFTPlanning::SetRigour(FFTPlanningMeasure, 0);
    FFTPlanning::ForgetWisdom();
    ExpectForwardRight(96);
    ASSERT_TRUE(FFTPlanning::ExportWisdomToFile("wisdom.txt"));
    EXPECT_EQ(ReadFile("wisdom.txt"), FFTPlanning::ExportWisdom());
    std::ifstream partial("wisdom.txt.partial");
    EXPECT_FALSE(partial.good());
    FFTPlanning::ForgetWisdom();
    EXPECT_TRUE(FFTPlanning::ImportWisdomFromFile("wisdom.txt"));
    EXPECT_TRUE(kern::FFTWisdomKnows(kern::FFTKind::C32, 96));

    EXPECT_FALSE(FFTPlanning::ExportWisdomToFile("no-such-dir/wisdom.txt"));
    EXPECT_FALSE(std::ifstream("no-such-dir/wisdom.txt.partial").good());
    EXPECT_FALSE(FFTPlanning::ExportWisdomToFile(""));
    EXPECT_FALSE(FFTPlanning::ImportWisdomFromFile("missing.txt"));
    std::ofstream("junk.txt") << "not wisdom";
    EXPECT_FALSE(FFTPlanning::ImportWisdomFromFile("junk.txt"));
    EXPECT_FALSE(FFTPlanning::ImportWisdomFromFile("."));
}

TEST(FFTPlanning, SystemWisdomIsReadOnlyWhenAsked) {
    // This machine has no /etc/fftw files unless an administrator made them: the call reports what it
    // found either way and never throws.
    const bool expected =
        std::ifstream("/etc/fftw/wisdom").good() || std::ifstream("/etc/fftw/wisdomf").good();
    EXPECT_EQ(FFTPlanning::ImportSystemWisdom(), expected);
}
