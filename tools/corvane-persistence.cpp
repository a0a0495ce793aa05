// A persistence display of a generated signal, drawn the way an instrument draws one, written to PNG.
//
// Usage: corvane-persistence [output.png] [zoom.png]
//
// Frames of IQ samples hold a steady tone, a tone that hops between three frequencies, a slow chirp
// that sweeps the band, a burst that appears in one frame out of eight, and noise. Each frame is
// windowed and transformed; each of 801 trace points takes the peak of its bins, and the connected
// trace marks the cells of an 801 x 256 density grid (frequency across, level up) that it passes
// through, as the FPGA's persistence block counts them. The counts go through the
// display path of the library: NormalizeDensity to a probability per cell, MapDensityDataToColorRange
// onto colour indices, a colour table, and StretchBitmap (bicubic) to a 1024 x 768 display. Rare events
// show dim and blue, steady ones bright and red.
//
// The second picture zooms the display 4 times about a fixed point, by nearest neighbour and bicubic,
// and shows the same crop of the display and of both zooms side by side, so that the geometry can be
// checked by eye: what lies under the marked fixed point stays where it is.
#include <corvane/corvane.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace VELA;

namespace {

constexpr int kFftOrder = 10;
constexpr int kFft = 1 << kFftOrder;
constexpr int kColumns = 801;  // trace points
constexpr int kRows = 256;     // level cells
constexpr int kFrames = 3000;
constexpr double kTopDb = 0.0, kBottomDb = -110.0;
constexpr int kDisplayW = 1024, kDisplayH = 768;

// PNG, 8-bit RGBA, zlib-compressed.
bool WritePng(const std::string& path, const std::vector<uint8_t>& rgba, int w, int h, int step) {
    std::vector<uint8_t> raw;
    raw.reserve(static_cast<size_t>(h) * (4 * w + 1));
    for (int y = 0; y < h; ++y) {
        raw.push_back(0);  // no filter
        raw.insert(raw.end(), rgba.begin() + static_cast<long>(y) * step,
                   rgba.begin() + static_cast<long>(y) * step + 4 * w);
    }
    uLongf zsize = compressBound(static_cast<uLong>(raw.size()));
    std::vector<uint8_t> z(zsize);
    if (compress2(z.data(), &zsize, raw.data(), static_cast<uLong>(raw.size()), 9) != Z_OK) return false;
    z.resize(zsize);
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    auto be32 = [](uint8_t* p, uint32_t v) {
        p[0] = static_cast<uint8_t>(v >> 24);
        p[1] = static_cast<uint8_t>(v >> 16);
        p[2] = static_cast<uint8_t>(v >> 8);
        p[3] = static_cast<uint8_t>(v);
    };
    auto chunk = [&](const char* type, const uint8_t* data, size_t n) {
        uint8_t head[8];
        be32(head, static_cast<uint32_t>(n));
        std::memcpy(head + 4, type, 4);
        uLong crc = crc32(0, head + 4, 4);
        if (n) crc = crc32(crc, data, static_cast<uInt>(n));
        uint8_t tail[4];
        be32(tail, static_cast<uint32_t>(crc));
        std::fwrite(head, 1, 8, f);
        if (n) std::fwrite(data, 1, n, f);
        std::fwrite(tail, 1, 4, f);
    };
    const uint8_t sig[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::fwrite(sig, 1, 8, f);
    uint8_t ihdr[13];
    be32(ihdr, static_cast<uint32_t>(w));
    be32(ihdr + 4, static_cast<uint32_t>(h));
    ihdr[8] = 8;   // bits per channel
    ihdr[9] = 6;   // RGBA
    ihdr[10] = 0;  // deflate
    ihdr[11] = 0;  // adaptive filtering
    ihdr[12] = 0;  // no interlace
    chunk("IHDR", ihdr, 13);
    chunk("IDAT", z.data(), z.size());
    chunk("IEND", nullptr, 0);
    return std::fclose(f) == 0;
}

// Colour of an index: black at 0, then blue, cyan, green, yellow, red and white up the range.
void Colour(unsigned short index, uint8_t* px) {
    if (index == 0) {
        px[0] = px[1] = px[2] = 0;
        px[3] = 255;
        return;
    }
    static const double stops[][3] = {{0, 0, 80},    {0, 0, 255}, {0, 220, 255},  {0, 230, 0},
                                      {255, 255, 0}, {255, 0, 0}, {255, 255, 255}};
    const double t = std::sqrt(index / 65535.0) * 6.0;  // square root: rare cells still visible
    const int k = t >= 6.0 ? 5 : static_cast<int>(t);
    const double u = t - k;
    for (int c = 0; c < 3; ++c)
        px[c] = static_cast<uint8_t>(std::lround(stops[k][c] + u * (stops[k + 1][c] - stops[k][c])));
    px[3] = 255;
}

// One frame of IQ samples.
void Frame(VecCplx32& x, int frame, std::mt19937& gen) {
    std::normal_distribution<float> noise(0.0f, 1.5e-4f);
    const double twoPi = 2 * M_PI;
    const double hop[3] = {-0.31, -0.12, 0.27};                  // cycles per sample
    const double chirp = -0.45 + 0.9 * ((frame % 600) / 600.0);  // swept across the band
    const bool burst = frame % 8 == 3;
    const double burstFreq = 0.05 + 0.02 * std::sin(frame * 0.01);
    for (int n = 0; n < kFft; ++n) {
        double re = noise(gen), im = noise(gen);
        auto add = [&](double amp, double f, double phase) {
            re += amp * std::cos(twoPi * f * n + phase);
            im += amp * std::sin(twoPi * f * n + phase);
        };
        add(0.5, 0.1, 0.3);                                                    // steady tone
        add(0.1, hop[(frame / 37) % 3], 1.0);                                  // hopping tone
        add(0.02 * (1.0 + 0.5 * std::sin(frame * 0.05)), chirp, frame * 0.7);  // chirp, wandering level
        if (burst) add(0.003, burstFreq, 2.0);                                 // intermittent, weak
        x[n] = {static_cast<float>(re), static_cast<float>(im)};
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string outPath = argc > 1 ? argv[1] : "persistence-display.png";
    const std::string zoomPath = argc > 2 ? argv[2] : "persistence-zoom.png";
    try {
        std::mt19937 gen(20240611);
        HannWindow window(kFft);
        FFT fft(kFftOrder);
        VecCplx32 x(kFft), spectrum;
        std::vector<float> density(static_cast<size_t>(kColumns) * kRows, 0.0f);
        for (int frame = 0; frame < kFrames; ++frame) {
            Frame(x, frame, gen);
            window.Apply(x);
            fft.Forward(spectrum, x);
            // Each column shows the peak of the bins it covers (frequency from -0.5 to 0.5 cycles per
            // sample, bins in FFT order), and the trace is drawn connected: a column marks every cell
            // between the previous column's level and its own, as a vector display draws it.
            int previous = -1;
            for (int col = 0; col < kColumns; ++col) {
                const int first = col * kFft / kColumns,
                          last = std::max(first, (col + 1) * kFft / kColumns - 1);
                double p = 0;
                for (int k = first; k <= last; ++k) {
                    const Cplx32 v = spectrum[(k + kFft / 2) % kFft];
                    p = std::max(p, double(v.re) * v.re + double(v.im) * v.im);
                }
                const double db = 10 * std::log10(p + 1e-30);
                const int row =
                    std::clamp(static_cast<int>((kTopDb - db) / (kTopDb - kBottomDb) * kRows), 0, kRows - 1);
                const int from = previous < 0 ? row : std::min(previous, row);
                const int to = previous < 0 ? row : std::max(previous, row);
                for (int r = from; r <= to; ++r)
                    density[static_cast<size_t>(r) * kColumns + col] += 1.0f;
                previous = row;
            }
        }
        const int cells = kColumns * kRows;
        if (NormalizeDensity(1.0f / kFrames, density.data(), cells) != 0) return 1;
        // The colour range spans probabilities 0 to 1 per cell.
        std::vector<unsigned short> colour(static_cast<size_t>(cells));
        if (MapDensityDataToColorRange(density.data(), 0.0f, 1.0f, colour.data(), cells) != 0) return 1;
        std::vector<uint8_t> bitmap(static_cast<size_t>(cells) * 4);
        for (int i = 0; i < cells; ++i)
            Colour(colour[i], &bitmap[4 * static_cast<size_t>(i)]);

        const int step = 4 * kDisplayW;
        std::vector<uint8_t> display(static_cast<size_t>(step) * kDisplayH, 0);
        const int status = StretchBitmap(bitmap.data(), IppiSize{kColumns, kRows}, 4 * kColumns,
                                         IppiRect{0, 0, kColumns, kRows}, display.data(), step,
                                         IppiSize{kDisplayW, kDisplayH}, double(kDisplayW) / kColumns,
                                         double(kDisplayH) / kRows, 0.0, 0.0, StretchCubic);
        if (status != 0) {
            std::fprintf(stderr, "StretchBitmap: status %d\n", status);
            return 1;
        }
        if (!WritePng(outPath, display, kDisplayW, kDisplayH, step)) return 1;

        // Zoom 4 times about a fixed point on the steady tone's skirt near the noise floor, full size,
        // nearest and bicubic.
        // The picture puts three crops of 512 x 384 around the fixed point side by side: the display,
        // the nearest zoom and the bicubic zoom, each with the fixed point marked by a white cross. What
        // lies under the cross must be the same in all three.
        const double toneColumn = (0.1 + 0.5) * kColumns;
        const double skirtRow = (kTopDb - (-90.0)) / (kTopDb - kBottomDb) * kRows;
        const int cy = static_cast<int>(std::lround(skirtRow * kDisplayH / kRows));
        // On that row, the reddest pixel of the tone's right skirt: a feature that can be recognised in
        // the zooms, where a point in the black gap under the tone would show nothing.
        const int toneX = static_cast<int>(std::lround(toneColumn * kDisplayW / kColumns));
        int cx = toneX;
        for (int x = toneX; x < toneX + 40; ++x)
            if (display[static_cast<size_t>(cy) * step + 4 * x] >
                display[static_cast<size_t>(cy) * step + 4 * cx])
                cx = x;
        std::vector<uint8_t> zoomed[2];
        for (int side = 0; side < 2; ++side) {
            zoomed[side].assign(display.size(), 0);
            const int st = StretchBitmap(display.data(), IppiSize{kDisplayW, kDisplayH}, step,
                                         IppiRect{0, 0, kDisplayW, kDisplayH}, zoomed[side].data(), step,
                                         IppiSize{kDisplayW, kDisplayH}, 4.0, 4.0, cx, cy,
                                         side == 0 ? StretchNearest : StretchCubic);
            if (st != 0) return 1;
        }
        const int cropW = 512, cropH = 384;
        const int x0 = std::min(std::max(cx - cropW / 2, 0), kDisplayW - cropW);
        const int y0 = std::min(std::max(cy - cropH / 2, 0), kDisplayH - cropH);
        const int zoomStep = 4 * 3 * cropW;
        std::vector<uint8_t> zoom(static_cast<size_t>(zoomStep) * cropH, 0);
        const std::vector<uint8_t>* panels[3] = {&display, &zoomed[0], &zoomed[1]};
        for (int p = 0; p < 3; ++p) {
            for (int y = 0; y < cropH; ++y)
                std::memcpy(&zoom[static_cast<size_t>(y) * zoomStep + 4 * p * cropW],
                            &(*panels[p])[static_cast<size_t>(y0 + y) * step + 4 * x0], 4 * cropW);
            const int mx = p * cropW + (cx - x0), my = cy - y0;
            for (int d = -10; d <= 10; ++d) {
                if (d > -3 && d < 3) continue;  // leave the pixel under the centre visible
                for (int c = 0; c < 3; ++c) {
                    zoom[static_cast<size_t>(my) * zoomStep + 4 * (mx + d) + c] = 255;
                    zoom[static_cast<size_t>(my + d) * zoomStep + 4 * mx + c] = 255;
                }
            }
        }
        if (!WritePng(zoomPath, zoom, 3 * cropW, cropH, zoomStep)) return 1;
        std::printf("wrote %s (%d x %d) and %s\n", outPath.c_str(), kDisplayW, kDisplayH, zoomPath.c_str());
    } catch (const VELAException& e) {
        e.Print();
        return 1;
    }
    return 0;
}
