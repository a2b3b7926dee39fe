#include "tools/camera/TestPattern.h"

#include <algorithm>

namespace tyksim {

namespace {

struct Colour {
    uint8_t y, u, v;
};

// White, yellow, cyan, green, magenta, red, blue, black at full range.
constexpr Colour kBars[] = {{255, 128, 128}, {226, 1, 149}, {179, 171, 1},  {150, 44, 21},
                            {105, 212, 235}, {76, 85, 255}, {29, 255, 107}, {0, 128, 128}};
constexpr int kBarCount = 8;
constexpr int kFramesPerRound = 64;

/// The picture's column at `x` in frame `number`.
int wander(int x, int width, int number) {
    const int64_t shift = int64_t{number % kFramesPerRound} * width / kFramesPerRound;
    return static_cast<int>((x + shift) % width);
}

const Colour& barAt(int x, int width, int number) {
    return kBars[int64_t{wander(x, width, number)} * kBarCount / width];
}

}  // namespace

Nv21Image drawTestPattern(int width, int height, int number) {
    Nv21Image image(width, height);
    std::vector<uint8_t> bars, ramp;
    for (int x = 0; x < width; ++x) {
        bars.push_back(barAt(x, width, number).y);
        ramp.push_back(static_cast<uint8_t>(int64_t{wander(x, width, number)} * 256 / width));
    }
    std::vector<uint8_t> colours;
    for (int x = 0; x < chromaLength(width); ++x) {
        const Colour& colour = barAt(2 * x, width, number);
        colours.push_back(colour.v);
        colours.push_back(colour.u);
    }
    const std::vector<uint8_t> gray(colours.size(), 128);
    const int rampBegins = (height + 1) / 4 * 3;
    for (int y = 0; y < height; ++y) {
        const std::vector<uint8_t>& row = rampBegins > 0 && y >= rampBegins ? ramp : bars;
        std::copy(row.begin(), row.end(), image.lumaRow(y));
    }
    for (int y = 0; y < chromaLength(height); ++y) {
        const std::vector<uint8_t>& row = rampBegins > 0 && 2 * y >= rampBegins ? gray : colours;
        std::copy(row.begin(), row.end(), image.chromaRow(y));
    }
    return image;
}

}  // namespace tyksim
