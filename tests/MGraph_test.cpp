// MGraph: the exact command text on a recording engine, then plotting for real through Octave.
#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/visualization/MGraph.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>

#include "internal/MatlabEngine.h"
#include "internal/PlotText.h"
#include "support/PngRead.h"
#include "support/RecordingMatlabEngine.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

struct Recorded {
    std::shared_ptr<Recording> rec = std::make_shared<Recording>();
    GraphOn graph;
    explicit Recorded(const char* caption = "test") : graph(caption, new RecordingMatlabEngine(rec)) {}
};

VecReal32 Ramp(int n) {
    VecReal32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = static_cast<float>(i);
    return v;
}

const std::regex kStamp(
    R"(\[[1-9][0-9]?-[A-Z][a-z]{2}-[0-9]{2} @ (1[0-2]|[1-9]):[0-5][0-9]:[0-5][0-9](am|pm)\])");

}  // namespace

// ---------------------------------------------------------------- command text (recording engine)

TEST(MGraph, PlotSendsTheExactCommandSequence) {
    Recorded r("my caption");
    r.graph.Plot(Ramp(50), 2);
    const std::vector<std::string>& c = r.rec->commands;
    ASSERT_EQ(c.size(), 17u);
    EXPECT_EQ(c[0], "figure(2);");
    EXPECT_EQ(c[1], "set(gcf,'DoubleBuffer','on'");
    EXPECT_EQ(c[2], "oldunits = get( gcf, 'Units' ); oldaxes = (gca);");
    EXPECT_EQ(c[3], "set(get(ax2,'Title'),'Visible','off')");
    EXPECT_EQ(c[4], "ax2=axes('Units','Normal','Position',[ 0.99 -0.02 .01 .01] ,'Visible','off');");
    EXPECT_EQ(c[5], "set(get(ax2,'Title'),'Visible','on')");
    std::smatch m;
    ASSERT_TRUE(std::regex_match(
        c[6], m, std::regex(R"(title\('(.*)','HorizontalAlignment','right','Color','blue'\);)")))
        << c[6];
    EXPECT_TRUE(std::regex_match(m[1].str(), kStamp)) << m[1];
    EXPECT_EQ(c[7], "set(get(fax2,'Title'),'Visible','off')");
    EXPECT_EQ(c[8], "fax2=axes('Units','Normal','Position',[ 0 -0.02 .01 .01] ,'Visible','off');");
    EXPECT_EQ(c[9], "set(get(fax2,'Title'),'Visible','on')");
    EXPECT_EQ(c[10], "title('my caption','HorizontalAlignment','left','Color','blue');");
    EXPECT_EQ(c[11], "set( gcf, 'Units', oldunits ); axes(oldaxes);");
    EXPECT_EQ(c[12], "f2t = reshape(f2,1,50);");
    EXPECT_EQ(c[13], "plot(f2); grid on; zoom on;");
    // Null labels: the defaults.
    EXPECT_EQ(c[14], "title('Figure 2: n=50','FontSize',13,'Color','red');");
    EXPECT_EQ(c[15], "xlabel('x-axis','FontSize',12,'FontWeight','bold');");
    EXPECT_EQ(c[16], "ylabel('y-axis','FontSize',12,'FontWeight','bold');");
    // The data went in between the footer and the row copy, as a 50 x 1 real array.
    const std::vector<std::string>& e = r.rec->events;
    ASSERT_EQ(e.size(), 18u);
    EXPECT_EQ(e[12], "put f2 50x1");
    EXPECT_EQ(r.rec->variables["f2"].real, ToDoubles(Ramp(50)));
}

TEST(MGraph, FigureZeroTakesTheNextFreeNumber) {
    Recorded r;
    std::vector<std::string> figures;
    auto lastFigureCommand = [&] {
        for (auto it = r.rec->commands.rbegin(); it != r.rec->commands.rend(); ++it)
            if (it->rfind("figure(", 0) == 0) return *it;
        return std::string();
    };
    for (int f : {0, 0, 0, 10, 0, 4, 0}) {
        r.graph.Plot(Ramp(5), f);
        figures.push_back(lastFigureCommand());
    }
    EXPECT_EQ(figures, (std::vector<std::string>{"figure(1);", "figure(2);", "figure(3);", "figure(10);",
                                                 "figure(11);", "figure(4);", "figure(12);"}));
    EXPECT_EQ(r.graph.GetLastFigure(), 12);  // a lower explicit number leaves it alone
}

TEST(MGraph, LabelsAndStyle) {
    Recorded r;
    r.graph.Plot(Ramp(3), 1, "My title", "time, s", "level", "*-");
    const std::vector<std::string>& c = r.rec->commands;
    ASSERT_GE(c.size(), 4u);
    EXPECT_EQ(c[c.size() - 4], "plot(f1, '*-'); grid on; zoom on;");
    EXPECT_EQ(c[c.size() - 3], "title('My title','FontSize',13,'Color','red');");
    EXPECT_EQ(c[c.size() - 2], "xlabel('time, s','FontSize',12,'FontWeight','bold');");
    EXPECT_EQ(c[c.size() - 1], "ylabel('level','FontSize',12,'FontWeight','bold');");
}

TEST(MGraph, CaptionIsEscapedForTeX) {
    Recorded r("a_b\\c");
    r.graph.Plot(Ramp(2), 1);
    EXPECT_EQ(r.rec->commands[10], "title('a\\_b\\\\c','HorizontalAlignment','left','Color','blue');");
    Recorded none(nullptr);
    none.graph.Plot(Ramp(2), 1);
    EXPECT_EQ(none.rec->commands[10], "title('','HorizontalAlignment','left','Color','blue');");
    EXPECT_EQ(internal::EscapeCaption("x__y\\\\"), "x\\_\\_y\\\\\\\\");
}

TEST(MGraph, EveryPlotFormHasItsCommand) {
    VecCplx32 c32(4);
    VecCplx64 c64(4);
    for (int i = 0; i < 4; ++i) {
        c32[i] = Cplx32{static_cast<float>(i), static_cast<float>(-i)};
        c64[i] = Cplx64{i * 0.5, i * 2.0};
    }
    const VecReal32 a = Ramp(4), b = Ramp(4);
    VecReal64 a64(4), b64(4);
    for (int i = 0; i < 4; ++i)
        a64[i] = b64[i] = i;
    const double d[] = {1, 2, 3, 4}, d2[] = {5, 6, 7, 8};
    const float f[] = {1, 2, 3, 4}, f2[] = {5, 6, 7, 8};
    struct Case {
        std::function<void(MGraph&)> plot;
        std::string put, reshape, command;
    };
    const std::vector<Case> cases = {
        {[&](MGraph& g) { g.Plot(c64, 1); }, "put f1 4x1 complex", "f1t = reshape(f1,1,4);",
         "plot(real(f1), imag(f1)); grid on; zoom on;"},
        {[&](MGraph& g) { g.Plot(c32, 1); }, "put f1 4x1 complex", "f1t = reshape(f1,1,4);",
         "plot(real(f1), imag(f1)); grid on; zoom on;"},
        {[&](MGraph& g) { g.PlotReal(c32, 1); }, "put f1 4x1 complex", "f1t = reshape(f1,1,4);",
         "plot(real(f1)); grid on; zoom on;"},
        {[&](MGraph& g) { g.PlotImag(c32, 1); }, "put f1 4x1 complex", "f1t = reshape(f1,1,4);",
         "plot(imag(f1)); grid on; zoom on;"},
        {[&](MGraph& g) { g.Plot(a, 1); }, "put f1 4x1", "f1t = reshape(f1,1,4);",
         "plot(f1); grid on; zoom on;"},
        {[&](MGraph& g) { g.Plot(d, 4, 1); }, "put f1 4x1", "f1t = reshape(f1,1,4);",
         "plot(f1); grid on; zoom on;"},
        {[&](MGraph& g) { g.Plot(f, 4, 1); }, "put f1 4x1", "f1t = reshape(f1,1,4);",
         "plot(f1); grid on; zoom on;"},
        {[&](MGraph& g) { g.Plot(a, b, 1); }, "put f1 4x2", "f1t = reshape(f1,1,4);",
         "plot(f1(:,1), f1(:,2)); grid on; zoom on;"},
        {[&](MGraph& g) { g.Plot(a64, b64, 1); }, "put f1 4x2", "f1t = reshape(f1,1,4);",
         "plot(f1(:,1), f1(:,2)); grid on; zoom on;"},
        // The pointer pairs send no row copy.
        {[&](MGraph& g) { g.Plot(f, f2, 4, 1); }, "put f1 4x2", "",
         "plot(f1(:,1), f1(:,2)); grid on; zoom on;"},
        {[&](MGraph& g) { g.Plot(d, d2, 4, 1); }, "put f1 4x2", "",
         "plot(f1(:,1), f1(:,2)); grid on; zoom on;"},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        Recorded r;
        cases[i].plot(r.graph);
        const std::vector<std::string>& e = r.rec->events;
        ASSERT_GE(e.size(), 16u) << i;
        EXPECT_EQ(e[12], cases[i].put) << i;
        size_t next = 13;
        if (!cases[i].reshape.empty()) {
            EXPECT_EQ(e[next++], "exec " + cases[i].reshape) << i;
        }
        EXPECT_EQ(e[next], "exec " + cases[i].command) << i;
        EXPECT_EQ(e[next + 1], "exec title('Figure 1: n=4','FontSize',13,'Color','red');") << i;
    }
}

TEST(MGraph, SendLaysOutTheData) {
    Recorded r;
    VecCplx32 c(3);
    for (int i = 0; i < 3; ++i)
        c[i] = Cplx32{i + 0.5f, -i - 0.25f};
    EXPECT_EQ(r.graph.Send("z", c), 3);
    EXPECT_EQ(r.rec->variables["z"].real, (std::vector<double>{0.5, 1.5, 2.5}));
    EXPECT_EQ(r.rec->variables["z"].imaginary, (std::vector<double>{-0.25, -1.25, -2.25}));
    const float a[] = {1, 2, 3}, b[] = {10, 20, 30};
    EXPECT_EQ(r.graph.Send("p", a, b, 3), 3);  // the n of one vector
    EXPECT_EQ(r.rec->variables["p"].real, (std::vector<double>{1, 10, 2, 20, 3, 30}));
    EXPECT_EQ(r.rec->variables["p"].rows, 3u);
    EXPECT_EQ(r.rec->variables["p"].columns, 2u);
    EXPECT_EQ(r.graph.Send("v", MakeReal32({1, 2}), MakeReal32({3, 4})), 2);
    EXPECT_EQ(r.rec->commands.back(), "vt = reshape(v,1,2);");
    // Nothing to send: a null pointer or a negative count send no points; unequal pairs nothing at all.
    EXPECT_EQ(r.graph.Send("e", static_cast<const double*>(nullptr), 5), 0);
    EXPECT_EQ(r.rec->variables["e"].rows, 0u);
    EXPECT_EQ(r.graph.Send("e2", a, -3), 0);
    const size_t events = r.rec->events.size();
    EXPECT_EQ(r.graph.Send("u", MakeReal32({1, 2}), MakeReal32({3})), 0);
    EXPECT_EQ(r.rec->events.size(), events);
}

TEST(MGraph, GetVecCplx32RoundsToFloatAndFailsEmpty) {
    Recorded r;
    VecCplx64 c(3);
    c[0] = Cplx64{0.1, 0.2};
    c[1] = Cplx64{1e10, -3};
    c[2] = Cplx64{-0.5, 0};
    r.graph.Send("w", c);
    VecCplx32 back;
    r.graph.GetVecCplx32("w", back, "ignored");
    ASSERT_EQ(back.GetSize(), 3);
    EXPECT_EQ(back[0].re, 0.1f);
    EXPECT_EQ(back[0].im, 0.2f);
    EXPECT_EQ(back[1].re, 1e10f);
    EXPECT_EQ(back[2].im, 0.0f);
    EXPECT_EQ(r.rec->commands.back(), "wSize=size(w);");
    r.graph.GetVecCplx32("missing", back, nullptr);
    EXPECT_EQ(back.GetSize(), 0);
}

TEST(MGraph, DestructorQuitsAndDeletesTheEngine) {
    auto rec = std::make_shared<Recording>();
    {
        GraphOn g("x", new RecordingMatlabEngine(rec));
        g.Say("a = 1;");
    }
    EXPECT_EQ(rec->quits, 1);
    EXPECT_TRUE(rec->destroyed);
    EXPECT_EQ(rec->events.back(), "quit");
}

TEST(MGraph, ConstructorFailures) {
    try {
        GraphOn g("x", nullptr);
        ADD_FAILURE() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
        EXPECT_STREQ(e.message, "memory allocation error");
    }
    auto rec = std::make_shared<Recording>();
    try {
        GraphOn g("x", new RecordingMatlabEngine(rec, false));
        ADD_FAILURE() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMatlabAccess);
        EXPECT_STREQ(e.message, "MATLAB access error");
    }
    EXPECT_TRUE(rec->destroyed);  // not leaked
    EXPECT_EQ(rec->quits, 0);
}

TEST(MGraph, SelfTestPlotsTheDemoAndReadsTovikBack) {
    Recorded r("MGraph self-test");
    // The server would make "tovik" from the command; here the recording holds it: 1, 1.1, ..., 10.
    Recording::Matrix tovik;
    for (int i = 0; i < 91; ++i)
        tovik.real.push_back(1.0 + 0.1 * i);
    tovik.rows = 1;
    tovik.columns = 91;
    r.rec->variables["tovik"] = tovik;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(GraphOn::UnitTestOn(r.graph, recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << out;
    EXPECT_NE(out.find("SUCCESS  :MGraph :Plot"), std::string::npos) << out;

    const std::vector<std::string>& c = r.rec->commands;
    ASSERT_EQ(c.size(), 19u);
    EXPECT_EQ(c[0], "figure(1);");
    EXPECT_EQ(c[10], "title('MGraph self-test','HorizontalAlignment','left','Color','blue');");
    EXPECT_EQ(c[12], "f1t = reshape(f1,1,50);");
    EXPECT_EQ(c[13], "plot(real(f1), imag(f1), '*-'); grid on; zoom on;");
    EXPECT_EQ(c[14], "title('VELA VecCplx32 Matlab visualization demo, Sin()','FontSize',13,'Color','red');");
    EXPECT_EQ(c[15], "xlabel('x, deg','FontSize',12,'FontWeight','bold');");
    EXPECT_EQ(c[16], "ylabel('sin(x)','FontSize',12,'FontWeight','bold');");
    EXPECT_EQ(c[17], "tovik = 1:.1:10");
    EXPECT_EQ(c[18], "tovikSize=size(tovik);");
    // The demo: 50 points, x = (2 * 3.14156 / 50) i, real part in degrees, imaginary part sin(x).
    const Recording::Matrix& f1 = r.rec->variables["f1"];
    ASSERT_TRUE(f1.complex);
    ASSERT_EQ(f1.rows, 50u);
    ASSERT_EQ(f1.columns, 1u);
    for (int i = 0; i < 50; ++i) {
        const double x = 2 * 3.14156 * i / 50;
        EXPECT_NEAR(f1.real[static_cast<size_t>(i)], 180 * x / 3.14156, 1e-4) << i;
        EXPECT_NEAR(f1.imaginary[static_cast<size_t>(i)], std::sin(x), 1e-6) << i;
    }
    EXPECT_NEAR(f1.real[49], 352.8, 1e-4);

    // Without the variable to read back, the record is a failure.
    Recorded none("MGraph self-test");
    UnitTestRecorder second;
    testing::internal::CaptureStdout();
    GraphOn::UnitTestOn(none.graph, second);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(second.GetFailedTests(), 1);
}

TEST(MGraph, TimeStampForm) {
    std::tm t{};
    t.tm_year = 2026 - 1900;
    t.tm_mon = 10;  // November
    t.tm_mday = 5;
    t.tm_hour = 21;
    t.tm_min = 5;
    t.tm_sec = 7;
    EXPECT_EQ(internal::FormatTimeStamp(t), "[5-Nov-26 @ 9:05:07pm]");
    t.tm_hour = 9;
    EXPECT_EQ(internal::FormatTimeStamp(t), "[5-Nov-26 @ 9:05:07am]");
    t.tm_hour = 0;
    t.tm_min = 30;
    t.tm_mday = 15;
    EXPECT_EQ(internal::FormatTimeStamp(t), "[15-Nov-26 @ 12:30:07am]");
    t.tm_hour = 12;
    t.tm_mon = 0;
    t.tm_year = 2009 - 1900;
    EXPECT_EQ(internal::FormatTimeStamp(t), "[15-Jan-09 @ 12:30:07pm]");
}

// ---------------------------------------------------------------- through Octave

namespace {

bool HaveOctave() {
    static const bool have = std::system("command -v octave-cli >/dev/null 2>&1") == 0;
    return have;
}

#define REQUIRE_OCTAVE() \
    if (!HaveOctave()) GTEST_FAIL() << "octave-cli is not on PATH (scripts/install-deps.sh installs it)"

}  // namespace

TEST(MGraphOctave, PlotOfAVectorMakesAPngShowingTheCurve) {
    REQUIRE_OCTAVE();
    ScopedWorkDir dir;
    MGraph graph("Corvane MGraph test: sin(x)/x");
    const int n = 200;
    VecReal32 v(n);
    for (int i = 0; i < n; ++i) {
        const double x = (i - 100) * 0.15;
        v[i] = static_cast<float>(x == 0 ? 1.0 : std::sin(x) / x);
    }
    graph.Plot(v, 0, "sin(x)/x, 200 points", "sample", "value");
    ASSERT_TRUE(graph.SaveFigure(1, "plot.png"));
    RgbImage img;
    std::string why;
    ASSERT_TRUE(ReadPng("plot.png", img, why)) << why;
    EXPECT_GE(img.width, 300);
    EXPECT_GE(img.height, 200);
    // The curve is drawn in the first colour of the default order, [0 0.447 0.741]: find its pixels,
    // column by column, and follow their height.
    auto isCurve = [](const uint8_t* p) {
        return p[0] < 60 && std::abs(p[1] - 114) < 45 && std::abs(p[2] - 189) < 45;
    };
    std::vector<double> top(static_cast<size_t>(img.width), -1);
    int columns = 0;
    for (int x = 0; x < img.width; ++x)
        for (int y = 0; y < img.height; ++y)
            if (isCurve(img.At(x, y))) {
                top[static_cast<size_t>(x)] = y;
                ++columns;
                break;
            }
    ASSERT_GT(columns, img.width / 3) << "too few columns carry the curve";
    // sin(x)/x peaks in the middle: the highest curve pixel (smallest row) lies near the centre of the
    // columns that carry the curve, and both ends sit far lower.
    int first = 0, last = img.width - 1;
    while (top[static_cast<size_t>(first)] < 0)
        ++first;
    while (top[static_cast<size_t>(last)] < 0)
        --last;
    int peak = first;
    for (int x = first; x <= last; ++x)
        if (top[static_cast<size_t>(x)] >= 0 && top[static_cast<size_t>(x)] < top[static_cast<size_t>(peak)])
            peak = x;
    const double middle = (first + last) / 2.0;
    EXPECT_NEAR(peak, middle, (last - first) * 0.05);
    EXPECT_GT(top[static_cast<size_t>(first)] - top[static_cast<size_t>(peak)], img.height / 4.0);
    EXPECT_GT(top[static_cast<size_t>(last)] - top[static_cast<size_t>(peak)], img.height / 4.0);
    // Keep the picture when asked (the documentation copy is made this way).
    if (const char* keep = std::getenv("CORVANE_KEEP_PLOT"))
        std::filesystem::copy_file("plot.png", keep, std::filesystem::copy_options::overwrite_existing);
}

// The gnuplot toolkit centres axes titles, so the print draws the footer's corner titles as aligned
// texts for the moment; the figure must come out of it as it was, and print again the same way.
TEST(MGraphOctave, SavingAFigureLeavesItAsItWas) {
    REQUIRE_OCTAVE();
    ScopedWorkDir dir;
    MGraph graph("left_corner");
    graph.Plot(Ramp(30), 3);
    auto readText = [&](const char* expression) {
        graph.Say((std::string("probe = double(") + expression + ");").c_str());
        VecCplx32 v;
        graph.GetVecCplx32("probe", v, nullptr);
        std::string text;
        for (int i = 0; i < v.GetSize(); ++i)
            text += static_cast<char>(v[i].re);
        return text;
    };
    auto countTexts = [&] {
        graph.Say("probe = numel(findall(3, 'type', 'text'));");
        VecCplx32 v;
        graph.GetVecCplx32("probe", v, nullptr);
        return v.GetSize() == 1 ? static_cast<int>(v[0].re) : -1;
    };
    const int texts = countTexts();
    ASSERT_GT(texts, 0);
    const std::string stamp = readText("get(get(ax3, 'Title'), 'String')");
    EXPECT_TRUE(std::regex_match(stamp, kStamp)) << stamp;
    EXPECT_EQ(readText("get(get(fax3, 'Title'), 'String')"), "left\\_corner");
    for (const char* file : {"a.png", "b.png"}) {
        ASSERT_TRUE(graph.SaveFigure(3, file)) << file;
        EXPECT_EQ(countTexts(), texts) << file;
        EXPECT_EQ(readText("get(get(ax3, 'Title'), 'String')"), stamp) << file;
        EXPECT_EQ(readText("get(get(fax3, 'Title'), 'String')"), "left\\_corner") << file;
        EXPECT_EQ(readText("get(get(fax3, 'Title'), 'HorizontalAlignment')"), "left") << file;
    }
    // Both footers are drawn in blue, near the bottom corners.
    RgbImage img;
    std::string why;
    ASSERT_TRUE(ReadPng("b.png", img, why)) << why;
    auto bluePixels = [&](int x0, int x1) {
        int n = 0;
        for (int y = img.height * 9 / 10; y < img.height; ++y)
            for (int x = x0; x < x1; ++x) {
                const uint8_t* p = img.At(x, y);
                n += p[0] < 80 && p[1] < 80 && p[2] > 180;
            }
        return n;
    };
    EXPECT_GT(bluePixels(0, img.width / 5), 50);
    EXPECT_GT(bluePixels(img.width * 4 / 5, img.width), 50);
    // A figure that does not exist writes nothing.
    EXPECT_FALSE(graph.SaveFigure(7, "none.png"));
    EXPECT_FALSE(std::filesystem::exists("none.png"));
}

TEST(MGraphOctave, GetVecCplx32ReadsBackWhatWasSent) {
    REQUIRE_OCTAVE();
    MGraph graph("roundtrip");
    VecCplx32 sent(1000);
    const std::vector<double> u = Uniform(2000, 301, -1e3, 1e3);
    for (int i = 0; i < 1000; ++i)
        sent[i] = Cplx32{static_cast<float>(u[2 * static_cast<size_t>(i)]),
                         static_cast<float>(u[2 * static_cast<size_t>(i) + 1])};
    sent[3] = Cplx32{NAN, INFINITY};
    sent[4] = Cplx32{-0.0f, 1e-40f};
    EXPECT_EQ(graph.Send("sent", sent), 1000);
    VecCplx32 back;
    graph.GetVecCplx32("sent", back, nullptr);
    ASSERT_EQ(back.GetSize(), 1000);
    EXPECT_EQ(std::memcmp(back.Data(), sent.Data(), sizeof(Cplx32) * 1000), 0);
    // The row copy made by Send is there too, with the same values.
    graph.GetVecCplx32("sentt", back, nullptr);
    ASSERT_EQ(back.GetSize(), 1000);
    EXPECT_EQ(std::memcmp(back.Data(), sent.Data(), sizeof(Cplx32) * 1000), 0);
    // A real variable made by the server: imaginary parts exactly 0.
    graph.Say("tovik = 1:.1:10");
    graph.GetVecCplx32("tovik", back, nullptr);
    ASSERT_EQ(back.GetSize(), 91);
    for (int i = 0; i < 91; ++i) {
        EXPECT_NEAR(back[i].re, 1.0 + 0.1 * i, 1e-6);
        EXPECT_EQ(back[i].im, 0.0f);
    }
    // A two-column array comes back column after column.
    EXPECT_EQ(graph.Send("pair", MakeReal64({1, 2, 3}), MakeReal64({4, 5, 6})), 3);
    graph.GetVecCplx32("pair", back, nullptr);
    EXPECT_EQ(ToDoubles(back), (std::vector<double>{1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0}));
    graph.GetVecCplx32("no_such_variable", back, nullptr);
    EXPECT_EQ(back.GetSize(), 0);
    graph.Say("txt = 'abc';");
    graph.GetVecCplx32("txt", back, nullptr);
    EXPECT_EQ(back.GetSize(), 0);
}

TEST(MGraphOctave, KillingTheServerMidSessionFailsCleanly) {
    REQUIRE_OCTAVE();
    auto* engine = new CMatlabEngine(false);
    ASSERT_TRUE(engine->IsConnected());
    GraphOn graph("doomed", engine);
    graph.Plot(Ramp(20), 0);
    const pid_t server = engine->GetServerProcessId();
    ASSERT_GT(server, 0);
    ASSERT_EQ(kill(server, SIGKILL), 0);
    // Silent from here on, and quick.
    const auto start = std::chrono::steady_clock::now();
    graph.Plot(Ramp(20), 0);
    graph.Say("x = 1;");
    VecCplx32 back(5);
    graph.GetVecCplx32("f1", back, nullptr);
    EXPECT_EQ(back.GetSize(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    // The dead server was reaped by the engine: it is no longer a child of this process.
    EXPECT_EQ(waitpid(server, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
    EXPECT_EQ(engine->GetServerProcessId(), -1);
    EXPECT_FALSE(graph.SaveFigure(1, "nothing.png"));
}

TEST(MGraphOctave, WithoutOctaveOnPathTheConstructorThrows) {
    ScopedWorkDir dir;
    const char* old = std::getenv("PATH");
    const std::string saved = old ? old : "";
    setenv("PATH", dir.Path().c_str(), 1);
    bool threw = false;
    try {
        MGraph graph("none");
    } catch (const VELAException& e) {
        threw = true;
        EXPECT_EQ(e.code, VELAErrorMatlabAccess);
        EXPECT_STREQ(e.message, "MATLAB access error");
    }
    // The self-test makes its graph the same way, and throws the same.
    UnitTestRecorder recorder;
    bool selfTestThrew = false;
    try {
        MGraph::UnitTest(recorder);
    } catch (const VELAException& e) {
        selfTestThrew = e.code == VELAErrorMatlabAccess;
    }
    setenv("PATH", saved.c_str(), 1);
    EXPECT_TRUE(threw);
    EXPECT_TRUE(selfTestThrew);
    EXPECT_EQ(recorder.GetTotalTests(), 0);
}

TEST(MGraphOctave, SelfTestPlotsForReal) {
    REQUIRE_OCTAVE();
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(MGraph::UnitTest(recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << out;
    EXPECT_NE(out.find("SUCCESS  :MGraph :Plot"), std::string::npos) << out;
}
