// Self-test of MGraph: plots for real, through the server.
#include <cmath>

#include "MGraph.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {

bool MGraph::UnitTest(UnitTestRecorder& recorder) {
    MGraph graph("MGraph self-test");
    return UnitTestOn(graph, recorder);
}

bool MGraph::UnitTestOn(MGraph& graph, UnitTestRecorder& recorder) {
    const int n = 50;
    VecCplx32 demo(n);
    for (int i = 0; i < n; ++i) {
        const double x = (2 * 3.14156 / n) * i;
        demo[i] = Cplx32{static_cast<float>(180 * x / 3.14156), static_cast<float>(std::sin(x))};
    }
    graph.Plot(demo, 1, "VELA VecCplx32 Matlab visualization demo, Sin()", "x, deg", "sin(x)", "*-");
    // A variable made by the server itself comes back: 1, 1.1, ..., 10.
    graph.Say("tovik = 1:.1:10");
    VecCplx32 back;
    graph.GetVecCplx32("tovik", back, nullptr);
    bool ok = back.GetSize() == 91;
    for (int i = 0; ok && i < 91; ++i)
        ok = std::fabs(back[i].re - (1.0 + 0.1 * i)) < 1e-5 && back[i].im == 0.0f;
    recorder.AddTestRecord("MGraph", "Plot", ok);
    return true;
}

}  // namespace VELA
