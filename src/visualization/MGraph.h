// MGraph: a vector in a figure with one call, through an automation server (GNU Octave, headless).
//
// The constructor starts a server of the object's own; the data go into the server's base workspace
// under the name "f<figure>" (with a row copy "f<figure>t"), and the figure is drawn by command text:
// the plot with grid and zoom, a red title, bold axis labels, and a blue footer with the caption at
// the left and the time of the plot at the right. Figures are numbered from 1; figure 0 asks for the
// next free number. Destroying the object quits the server, and its figures go with it. Figures are
// invisible: SaveFigure writes one to a PNG file.
//
// Failures: the constructor throws "MATLAB access error" (VELAErrorMatlabAccess) when no server can be
// started (octave-cli not on PATH, or not answering), "memory allocation error" when the engine cannot
// be made. After that nothing throws: commands the server rejects, or a server that has died, leave
// the calls silent; only GetVecCplx32 shows it, with an empty result.
//
// Copies (copy constructor, operator=) are memberwise: they share the engine, and only one of the two
// may be destroyed. An MGraph lives on one thread from construction to destruction; GetVecCplx32 uses
// a static buffer and must not run on two threads at once, on any objects.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>
#include <string>
#include <vector>

#include "../math/Vector.h"

namespace VELA {

class UnitTestRecorder;
class CMatlabEngine;

class VELA_API MGraph {
  public:
    // `caption` (may be null) goes into every footer, with each backslash doubled and a backslash put
    // before each underscore (the labels are TeX).
    explicit MGraph(const char* caption);
    MGraph(const MGraph&) = default;
    MGraph& operator=(const MGraph&) = default;
    ~MGraph();

    // Sends command text to the server, if there is one; the result is not looked at.
    void Say(const char* command);

    // Put data into the server under `name`; each returns the number of points n. Complex data go as
    // an n x 1 complex array, real data as n x 1, and pairs (a, b) as the n x 2 array [a b]. All but
    // the pointer pairs then send "<name>t = reshape(<name>,1,<n>);" for a row copy (which the server
    // refuses for the n x 2 arrays, silently). A null pointer or a negative n sends no points; pairs of
    // vectors of different lengths send nothing and return 0.
    int Send(const char* name, const VecCplx32& data);
    int Send(const char* name, const VecCplx64& data);
    int Send(const char* name, const VecReal32& data);
    int Send(const char* name, const VecReal64& data);
    int Send(const char* name, const float* data, int n);
    int Send(const char* name, const double* data, int n);
    int Send(const char* name, const VecReal32& a, const VecReal32& b);
    int Send(const char* name, const VecReal64& a, const VecReal64& b);
    int Send(const char* name, const float* a, const float* b, int n);
    int Send(const char* name, const double* a, const double* b, int n);

    // Reads the variable `name` (real or complex, any shape, in column order) into `data`, rounded to
    // float; imaginary parts of a real variable are 0. Empty when the variable cannot be read (unknown,
    // not numeric, no server). `reserved` is ignored. Leaves "<name>Size" in the workspace.
    void GetVecCplx32(const char* name, VecCplx32& data, const char* reserved);

    // Plots into `figure` (0: the next free number; the number used is written back nowhere, but the
    // next automatic one follows it). Null labels give "Figure <figure>: n=<n>", "x-axis" and "y-axis";
    // a style such as "*-" is passed to plot as its line style.
    void Plot(const VecCplx64& data, int figure, const char* title = nullptr, const char* xLabel = nullptr,
              const char* yLabel = nullptr, const char* style = nullptr);  // imaginary over real
    void Plot(const VecCplx32& data, int figure, const char* title = nullptr, const char* xLabel = nullptr,
              const char* yLabel = nullptr, const char* style = nullptr);  // imaginary over real
    void PlotReal(const VecCplx32& data, int figure, const char* title = nullptr,
                  const char* xLabel = nullptr, const char* yLabel = nullptr, const char* style = nullptr);
    void PlotImag(const VecCplx32& data, int figure, const char* title = nullptr,
                  const char* xLabel = nullptr, const char* yLabel = nullptr, const char* style = nullptr);
    void Plot(const VecReal32& data, int figure, const char* title = nullptr, const char* xLabel = nullptr,
              const char* yLabel = nullptr, const char* style = nullptr);
    void Plot(const double* data, int n, int figure, const char* title = nullptr,
              const char* xLabel = nullptr, const char* yLabel = nullptr, const char* style = nullptr);
    void Plot(const float* data, int n, int figure, const char* title = nullptr, const char* xLabel = nullptr,
              const char* yLabel = nullptr, const char* style = nullptr);
    // y over x.
    void Plot(const VecReal32& x, const VecReal32& y, int figure, const char* title = nullptr,
              const char* xLabel = nullptr, const char* yLabel = nullptr, const char* style = nullptr);
    void Plot(const VecReal64& x, const VecReal64& y, int figure, const char* title = nullptr,
              const char* xLabel = nullptr, const char* yLabel = nullptr, const char* style = nullptr);
    void Plot(const float* x, const float* y, int n, int figure, const char* title = nullptr,
              const char* xLabel = nullptr, const char* yLabel = nullptr, const char* style = nullptr);
    void Plot(const double* x, const double* y, int n, int figure, const char* title = nullptr,
              const char* xLabel = nullptr, const char* yLabel = nullptr, const char* style = nullptr);

    // Writes figure `figure` as a PNG image to `fileName` (relative to the current directory, replaced
    // if it exists). True when the file was written.
    bool SaveFigure(int figure, const char* fileName);

    // Highest figure number used so far (0 before the first plot).
    int GetLastFigure() const { return lastFigure; }

    // Plots a 50-point complex demo to figure 1, then reads "tovik = 1:.1:10" back; records "Plot".
    // Throws like the constructor when no server can be started.
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    // Adopts `engine` (a substitute carrier, such as one that records the command text) instead of
    // starting a server; it is deleted with the object. Throws as the public constructor does: for a
    // null engine "memory allocation error", for one that is not connected "MATLAB access error".
    MGraph(const char* caption, CMatlabEngine* engine);
    // The body of UnitTest on a graph already made, so that a substitute engine can follow it.
    static bool UnitTestOn(MGraph& graph, UnitTestRecorder& recorder);

  private:
    void Init(const char* caption, CMatlabEngine* engine);
    void PrePlot(int& figure);
    void UpdateFigNum(int& figure);
    void Figure(int figure);
    void GetTickCount();
    void PlotTimeDate(int figure);
    void PlotTitle(int figure, int count, const char* title);
    void PlotXlabel(const char* label);
    void PlotYlabel(const char* label);
    // The steps shared by every Plot: the figure, the data under "f<figure>" (by `send`, which returns
    // n), and the plot command made from `format` (the name, once or twice, then the style suffix).
    template <class SendFn>
    void PlotWith(int figure, const char* format, int nameUses, const char* title, const char* xLabel,
                  const char* yLabel, const char* style, SendFn send);
    void SendReshape(const char* name, int n);
    int PutReal(const char* name, int rows, int columns);
    int PutComplex(const char* name, int n);

    CMatlabEngine* engine = nullptr;  // owned (see the copy note above)
    std::vector<double> realBuffer;
    std::vector<double> imaginaryBuffer;
    int32_t lastFigure = 0;
    std::string caption;       // escaped
    std::string text;          // scratch for labels and the style suffix
    std::string command;       // scratch for command text
    std::string variableName;  // "f<figure>"
    std::string timeStamp;     // "[5-Nov-26 @ 3:04:05pm]"
};

}  // namespace VELA
