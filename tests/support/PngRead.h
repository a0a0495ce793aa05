// A small PNG reader for the plotting tests: 8-bit grey, RGB or RGBA, not interlaced (what Octave's
// print writes). Decoding is independent of the program that wrote the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace corvane_test {

struct RgbImage {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;  // row by row, 3 bytes a pixel
    const uint8_t* At(int x, int y) const { return &rgb[3 * (static_cast<size_t>(y) * width + x)]; }
};

// False (with `why` set) for files it cannot read.
bool ReadPng(const std::string& path, RgbImage& image, std::string& why);

}  // namespace corvane_test
