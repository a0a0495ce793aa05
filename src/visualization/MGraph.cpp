#include "MGraph.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <new>

#include "internal/MatlabEngine.h"
#include "internal/PlotText.h"

namespace VELA {

namespace internal {

std::string EscapeCaption(const char* caption) {
    std::string out;
    if (!caption) return out;
    for (const char* p = caption; *p; ++p) {
        if (*p == '\\')
            out += "\\\\";
        else if (*p == '_')
            out += "\\_";
        else
            out += *p;
    }
    return out;
}

std::string FormatTimeStamp(const std::tm& t) {
    char ampm[16] = "", time[32] = "", date[32] = "";
    std::strftime(ampm, sizeof ampm, "%p", &t);
    std::strftime(time, sizeof time, "%I:%M:%S", &t);
    std::strftime(date, sizeof date, "%d-%b-%y", &t);
    std::string tm = time;
    tm += ampm[0] == 'A' ? "am" : "pm";
    if (!tm.empty() && tm[0] == '0') tm.erase(0, 1);
    std::string dt = date;
    if (!dt.empty() && dt[0] == '0') dt.erase(0, 1);
    return "[" + dt + " @ " + tm + "]";
}

}  // namespace internal

namespace {

// sprintf into a std::string of any length (the command texts have no fixed limit here).
std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string out;
    if (n > 0) {
        out.resize(static_cast<size_t>(n));
        std::vsnprintf(out.data(), static_cast<size_t>(n) + 1, format, again);
    }
    va_end(again);
    return out;
}

template <class T>
int Count(const T* data, int n) {
    return data && n > 0 ? n : 0;
}

}  // namespace

// ---------------------------------------------------------------- life

MGraph::MGraph(const char* cap) {
    Init(cap, new (std::nothrow) CMatlabEngine(false));
}

MGraph::MGraph(const char* cap, CMatlabEngine* eng) {
    Init(cap, eng);
}

void MGraph::Init(const char* cap, CMatlabEngine* eng) {
    caption = internal::EscapeCaption(cap);
    if (!eng) VELA_THROW(VELAErrorMemoryAlloc);
    if (!eng->IsConnected()) {
        // The engine has already stopped and reaped whatever server it tried to start.
        delete eng;
        VELA_THROW(VELAErrorMatlabAccess);
    }
    engine = eng;
}

MGraph::~MGraph() {
    if (engine && engine->IsConnected()) engine->Quit();
    delete engine;
}

void MGraph::Say(const char* cmd) {
    if (engine) engine->Execute(cmd);
}

// ---------------------------------------------------------------- data

int MGraph::PutReal(const char* name, int rows, int columns) {
    if (engine)
        engine->PutFullMatrix(name, realBuffer, static_cast<unsigned>(rows), static_cast<unsigned>(columns));
    return rows;
}

int MGraph::PutComplex(const char* name, int n) {
    if (engine) engine->PutFullMatrix(name, realBuffer, imaginaryBuffer, static_cast<unsigned>(n), 1u);
    return n;
}

void MGraph::SendReshape(const char* name, int n) {
    command = Format("%st = reshape(%s,1,%d);", name, name, n);
    Say(command.c_str());
}

int MGraph::Send(const char* name, const VecCplx32& data) {
    const int n = data.GetSize() > 0 ? data.GetSize() : 0;
    realBuffer.resize(static_cast<size_t>(n));
    imaginaryBuffer.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        realBuffer[static_cast<size_t>(i)] = data[i].re;
        imaginaryBuffer[static_cast<size_t>(i)] = data[i].im;
    }
    PutComplex(name, n);
    SendReshape(name, n);
    return n;
}

int MGraph::Send(const char* name, const VecCplx64& data) {
    const int n = data.GetSize() > 0 ? data.GetSize() : 0;
    realBuffer.resize(static_cast<size_t>(n));
    imaginaryBuffer.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        realBuffer[static_cast<size_t>(i)] = data[i].re;
        imaginaryBuffer[static_cast<size_t>(i)] = data[i].im;
    }
    PutComplex(name, n);
    SendReshape(name, n);
    return n;
}

int MGraph::Send(const char* name, const VecReal32& data) {
    return Send(name, data.Data(), data.GetSize());
}

int MGraph::Send(const char* name, const VecReal64& data) {
    return Send(name, data.Data(), data.GetSize());
}

int MGraph::Send(const char* name, const float* data, int n) {
    n = Count(data, n);
    realBuffer.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        realBuffer[static_cast<size_t>(i)] = data[i];
    PutReal(name, n, 1);
    SendReshape(name, n);
    return n;
}

int MGraph::Send(const char* name, const double* data, int n) {
    n = Count(data, n);
    realBuffer.assign(data, data + n);
    PutReal(name, n, 1);
    SendReshape(name, n);
    return n;
}

namespace {
// a[0], b[0], a[1], b[1], ...: the rows of the n x 2 array [a b].
template <class T>
void Interleave(std::vector<double>& buffer, const T* a, const T* b, int n) {
    buffer.resize(2 * static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        buffer[2 * static_cast<size_t>(i)] = a[i];
        buffer[2 * static_cast<size_t>(i) + 1] = b[i];
    }
}
}  // namespace

int MGraph::Send(const char* name, const VecReal32& a, const VecReal32& b) {
    if (a.GetSize() != b.GetSize()) return 0;
    const int n = a.GetSize() > 0 ? a.GetSize() : 0;
    Interleave(realBuffer, a.Data(), b.Data(), n);
    PutReal(name, n, 2);
    SendReshape(name, n);
    return n;
}

int MGraph::Send(const char* name, const VecReal64& a, const VecReal64& b) {
    if (a.GetSize() != b.GetSize()) return 0;
    const int n = a.GetSize() > 0 ? a.GetSize() : 0;
    Interleave(realBuffer, a.Data(), b.Data(), n);
    PutReal(name, n, 2);
    SendReshape(name, n);
    return n;
}

int MGraph::Send(const char* name, const float* a, const float* b, int n) {
    n = a && b && n > 0 ? n : 0;
    Interleave(realBuffer, a, b, n);
    return PutReal(name, n, 2);
}

int MGraph::Send(const char* name, const double* a, const double* b, int n) {
    n = a && b && n > 0 ? n : 0;
    Interleave(realBuffer, a, b, n);
    return PutReal(name, n, 2);
}

void MGraph::GetVecCplx32(const char* name, VecCplx32& data, const char*) {
    int rows = 0, columns = 0;
    const int32_t r = engine ? engine->GetMatrix(name, &rows, &columns, realBuffer, &imaginaryBuffer) : 1;
    if (r != 0 || realBuffer.size() > static_cast<size_t>(INT_MAX)) {
        data.Resize(0);
        return;
    }
    const int n = static_cast<int>(realBuffer.size());
    data.Resize(n);
    for (int i = 0; i < n; ++i)
        data[i] = Cplx32{static_cast<float>(realBuffer[static_cast<size_t>(i)]),
                         static_cast<float>(imaginaryBuffer[static_cast<size_t>(i)])};
}

// ---------------------------------------------------------------- figures

void MGraph::UpdateFigNum(int& figure) {
    if (figure == 0) {
        ++lastFigure;
        figure = lastFigure;
    } else if (figure > lastFigure) {
        lastFigure = figure;
    }
}

void MGraph::Figure(int figure) {
    command = Format("figure(%d);", figure);
    Say(command.c_str());
    GetTickCount();
}

void MGraph::GetTickCount() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    timeStamp = internal::FormatTimeStamp(local);
}

void MGraph::PlotTimeDate(int figure) {
    // A footer: two invisible one-hundredth-size axes in the bottom corners whose titles alone show,
    // the current axes saved and restored around them. The footer of an earlier plot in the same
    // figure is hidden first (for a new figure those handles do not exist yet, and the server's
    // complaint is not read).
    Say("oldunits = get( gcf, 'Units' ); oldaxes = (gca);");
    command = Format("set(get(ax%d,'Title'),'Visible','off')", figure);
    Say(command.c_str());
    command =
        Format("ax%d=axes('Units','Normal','Position',[ 0.99 -0.02 .01 .01] ,'Visible','off');", figure);
    Say(command.c_str());
    command = Format("set(get(ax%d,'Title'),'Visible','on')", figure);
    Say(command.c_str());
    command = Format("title('%s','HorizontalAlignment','right','Color','blue');", timeStamp.c_str());
    Say(command.c_str());
    command = Format("set(get(fax%d,'Title'),'Visible','off')", figure);
    Say(command.c_str());
    command = Format("fax%d=axes('Units','Normal','Position',[ 0 -0.02 .01 .01] ,'Visible','off');", figure);
    Say(command.c_str());
    command = Format("set(get(fax%d,'Title'),'Visible','on')", figure);
    Say(command.c_str());
    command = Format("title('%s','HorizontalAlignment','left','Color','blue');", caption.c_str());
    Say(command.c_str());
    Say("set( gcf, 'Units', oldunits ); axes(oldaxes);");
}

void MGraph::PrePlot(int& figure) {
    UpdateFigNum(figure);
    Figure(figure);
    // Sent exactly so, without its closing parenthesis; the server rejects it and nothing depends on it.
    Say("set(gcf,'DoubleBuffer','on'");
    PlotTimeDate(figure);
}

void MGraph::PlotTitle(int figure, int count, const char* title) {
    text = title ? std::string(title) : Format("Figure %d: n=%d", figure, count);
    command = Format("title('%s','FontSize',13,'Color','red');", text.c_str());
    Say(command.c_str());
}

void MGraph::PlotXlabel(const char* label) {
    text = label ? label : "x-axis";
    command = Format("xlabel('%s','FontSize',12,'FontWeight','bold');", text.c_str());
    Say(command.c_str());
}

void MGraph::PlotYlabel(const char* label) {
    text = label ? label : "y-axis";
    command = Format("ylabel('%s','FontSize',12,'FontWeight','bold');", text.c_str());
    Say(command.c_str());
}

template <class SendFn>
void MGraph::PlotWith(int figure, const char* format, int nameUses, const char* title, const char* xLabel,
                      const char* yLabel, const char* style, SendFn send) {
    PrePlot(figure);
    variableName = Format("f%d", figure);
    const int n = send(variableName.c_str());
    text = style ? Format(", '%s'", style) : std::string();
    if (nameUses == 2)
        command = Format(format, variableName.c_str(), variableName.c_str(), text.c_str());
    else
        command = Format(format, variableName.c_str(), text.c_str());
    Say(command.c_str());
    PlotTitle(figure, n, title);
    PlotXlabel(xLabel);
    PlotYlabel(yLabel);
}

namespace {
const char* const kComplexPlot = "plot(real(%s), imag(%s)%s); grid on; zoom on;";
const char* const kRealPartPlot = "plot(real(%s)%s); grid on; zoom on;";
const char* const kImagPartPlot = "plot(imag(%s)%s); grid on; zoom on;";
const char* const kVectorPlot = "plot(%s%s); grid on; zoom on;";
const char* const kPairPlot = "plot(%s(:,1), %s(:,2)%s); grid on; zoom on;";
}  // namespace

void MGraph::Plot(const VecCplx64& data, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kComplexPlot, 2, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, data); });
}

void MGraph::Plot(const VecCplx32& data, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kComplexPlot, 2, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, data); });
}

void MGraph::PlotReal(const VecCplx32& data, int figure, const char* title, const char* xLabel,
                      const char* yLabel, const char* style) {
    PlotWith(figure, kRealPartPlot, 1, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, data); });
}

void MGraph::PlotImag(const VecCplx32& data, int figure, const char* title, const char* xLabel,
                      const char* yLabel, const char* style) {
    PlotWith(figure, kImagPartPlot, 1, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, data); });
}

void MGraph::Plot(const VecReal32& data, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kVectorPlot, 1, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, data); });
}

void MGraph::Plot(const double* data, int n, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kVectorPlot, 1, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, data, n); });
}

void MGraph::Plot(const float* data, int n, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kVectorPlot, 1, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, data, n); });
}

void MGraph::Plot(const VecReal32& x, const VecReal32& y, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kPairPlot, 2, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, x, y); });
}

void MGraph::Plot(const VecReal64& x, const VecReal64& y, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kPairPlot, 2, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, x, y); });
}

void MGraph::Plot(const float* x, const float* y, int n, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kPairPlot, 2, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, x, y, n); });
}

void MGraph::Plot(const double* x, const double* y, int n, int figure, const char* title, const char* xLabel,
                  const char* yLabel, const char* style) {
    PlotWith(figure, kPairPlot, 2, title, xLabel, yLabel, style,
             [&](const char* name) { return Send(name, x, y, n); });
}

bool MGraph::SaveFigure(int figure, const char* fileName) {
    if (!engine || !fileName || !*fileName) return false;
    // The server may have changed its directory: give it an absolute path.
    std::string path = fileName;
    if (path[0] != '/') {
        char cwd[PATH_MAX];
        if (!getcwd(cwd, sizeof cwd)) return false;
        path = std::string(cwd) + "/" + path;
    }
    unlink(path.c_str());
    std::string quoted;
    for (char c : path) {
        quoted += c;
        if (c == '\'') quoted += '\'';
    }
    // The gnuplot toolkit centres every axes title whatever its alignment, which would cut the footer's
    // left-aligned caption and right-aligned time stamp in half at the figure's edges. For the print
    // alone, each such title of an invisible axes is drawn instead as a text of the same look anchored
    // at the axes' left or right edge; the titles are restored afterwards, so the figure itself (and
    // what later commands see) is unchanged. The copies are shown without TeX interpretation because
    // the toolkit's conversion of TeX loses characters such as '@'; gnuplot still reads the caption's
    // backslash escapes, so "a\_b\\c" shows as a_b\c.
    command = Format(
        "__corvane_f = %d; __corvane_t = []; __corvane_s = {}; __corvane_h = [];\n"
        "unwind_protect\n"
        "  for __corvane_a = findall(__corvane_f, 'type', 'axes').'\n"
        "    __corvane_ti = get(__corvane_a, 'Title');\n"
        "    __corvane_ha = get(__corvane_ti, 'HorizontalAlignment');\n"
        "    if (strcmp(get(__corvane_a, 'Visible'), 'off') && strcmp(get(__corvane_ti, 'Visible'), 'on') "
        "...\n"
        "        && ! isempty(get(__corvane_ti, 'String')) && any(strcmp(__corvane_ha, {'left', 'right'})))\n"
        "      __corvane_h(end+1) = text(0, 0, get(__corvane_ti, 'String'), 'Parent', __corvane_a, ...\n"
        "        'Units', 'normalized', 'Position', [strcmp(__corvane_ha, 'right') 1 0], ...\n"
        "        'HorizontalAlignment', __corvane_ha, 'VerticalAlignment', 'bottom', ...\n"
        "        'Color', get(__corvane_ti, 'Color'), 'FontWeight', get(__corvane_ti, 'FontWeight'), ...\n"
        "        'FontSize', get(__corvane_ti, 'FontSize'), 'Interpreter', 'none');\n"
        "      __corvane_t(end+1) = __corvane_ti;\n"
        "      __corvane_s{end+1} = get(__corvane_ti, 'String');\n"
        "      set(__corvane_ti, 'String', '');\n"
        "    end\n"
        "  end\n"
        "  print(__corvane_f, '-dpng', '%s');\n"
        "unwind_protect_cleanup\n"
        "  for __corvane_k = 1:numel(__corvane_t)\n"
        "    set(__corvane_t(__corvane_k), 'String', __corvane_s{__corvane_k});\n"
        "  end\n"
        "  delete(__corvane_h(ishghandle(__corvane_h)));\n"
        "  clear __corvane_f __corvane_t __corvane_s __corvane_h __corvane_a __corvane_ti __corvane_ha "
        "__corvane_k;\n"
        "end_unwind_protect",
        figure, quoted.c_str());
    if (engine->Execute(command.c_str()) != 0) return false;
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0;
}

}  // namespace VELA
