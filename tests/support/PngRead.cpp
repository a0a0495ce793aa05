#include "support/PngRead.h"

#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace corvane_test {

namespace {
uint32_t Be32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}
int Paeth(int a, int b, int c) {
    const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    return pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
}
}  // namespace

bool ReadPng(const std::string& path, RgbImage& image, std::string& why) {
    std::ifstream f(path, std::ios::binary);
    const std::vector<uint8_t> file((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    static const uint8_t kSignature[8] = {137, 80, 78, 71, 13, 10, 26, 10};
    if (file.size() < 8 || std::memcmp(file.data(), kSignature, 8) != 0) {
        why = "not a PNG file";
        return false;
    }
    int depth = 0, colour = -1, interlace = 0;
    std::vector<uint8_t> packed;
    for (size_t at = 8; at + 12 <= file.size();) {
        const uint32_t length = Be32(&file[at]);
        if (at + 12 + length > file.size()) break;
        const std::string type(reinterpret_cast<const char*>(&file[at + 4]), 4);
        const uint8_t* data = &file[at + 8];
        if (type == "IHDR") {
            image.width = static_cast<int>(Be32(data));
            image.height = static_cast<int>(Be32(data + 4));
            depth = data[8];
            colour = data[9];
            interlace = data[12];
        } else if (type == "IDAT") {
            packed.insert(packed.end(), data, data + length);
        } else if (type == "IEND") {
            break;
        }
        at += 12 + length;
    }
    const int channels = colour == 0 ? 1 : colour == 2 ? 3 : colour == 6 ? 4 : 0;
    if (depth != 8 || channels == 0 || interlace != 0 || image.width <= 0 || image.height <= 0) {
        why = "unsupported PNG (depth " + std::to_string(depth) + ", colour type " + std::to_string(colour) +
              ")";
        return false;
    }
    const size_t stride = static_cast<size_t>(image.width) * channels;
    std::vector<uint8_t> raw((stride + 1) * image.height);
    uLongf rawSize = raw.size();
    if (uncompress(raw.data(), &rawSize, packed.data(), packed.size()) != Z_OK || rawSize != raw.size()) {
        why = "corrupt image data";
        return false;
    }
    std::vector<uint8_t> pixels(stride * image.height), zero(stride, 0);
    for (int y = 0; y < image.height; ++y) {
        const uint8_t filter = raw[y * (stride + 1)];
        const uint8_t* in = &raw[y * (stride + 1) + 1];
        uint8_t* out = &pixels[y * stride];
        const uint8_t* up = y > 0 ? &pixels[(y - 1) * stride] : zero.data();
        for (size_t i = 0; i < stride; ++i) {
            const int a = i >= static_cast<size_t>(channels) ? out[i - channels] : 0;
            const int b = up[i];
            const int c = i >= static_cast<size_t>(channels) ? up[i - channels] : 0;
            int v = in[i];
            switch (filter) {
                case 0:
                    break;
                case 1:
                    v += a;
                    break;
                case 2:
                    v += b;
                    break;
                case 3:
                    v += (a + b) / 2;
                    break;
                case 4:
                    v += Paeth(a, b, c);
                    break;
                default:
                    why = "bad filter";
                    return false;
            }
            out[i] = static_cast<uint8_t>(v);
        }
    }
    image.rgb.resize(static_cast<size_t>(image.width) * image.height * 3);
    for (size_t p = 0; p < static_cast<size_t>(image.width) * image.height; ++p)
        for (int k = 0; k < 3; ++k)
            image.rgb[3 * p + k] = pixels[p * channels + (channels == 1 ? 0 : k)];
    return true;
}

}  // namespace corvane_test
