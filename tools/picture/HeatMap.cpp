#include "tools/picture/PictureDiff.h"

#include <algorithm>
#include <array>

namespace tyksim {

namespace {

// Numbers below are greys of the picture, darkened; the others are differences.
constexpr int kGreys = 64;
constexpr int kHeats = 256 - kGreys;

struct Colour {
    int red;
    int green;
    int blue;
};

// Differences are small more often than not, so the scale is not linear: a difference of 1 is
// seen, and those above 64 are all hot.
constexpr int kHottest = 64;
constexpr std::array<Colour, 4> kHeatSteps = {Colour{120, 0, 0}, Colour{230, 40, 0},
                                              Colour{255, 200, 0}, Colour{255, 255, 255}};

int between(int from, int to, int part, int whole) {
    return from + (to - from) * part / whole;
}

Colour heatColour(int heat) {
    constexpr int steps = static_cast<int>(kHeatSteps.size()) - 1;
    constexpr int length = (kHeats - 1 + steps - 1) / steps;
    const auto step = static_cast<size_t>(heat / length);
    const Colour& a = kHeatSteps[step];
    const Colour& b = kHeatSteps[std::min(step + 1, kHeatSteps.size() - 1)];
    const int part = heat % length;
    return {between(a.red, b.red, part, length), between(a.green, b.green, part, length),
            between(a.blue, b.blue, part, length)};
}

/// The number of the colour for every difference.
std::array<uint8_t, 256> heatNumbers() {
    std::array<uint8_t, 256> numbers{};
    for (int apart = 0; apart < 256; ++apart) {
        const int heat = std::min(apart, kHottest) * (kHeats - 1) / kHottest;
        numbers[static_cast<size_t>(apart)] = static_cast<uint8_t>(kGreys + heat);
    }
    return numbers;
}

const uint8_t* rowOf(const Plane& plane, int row) {
    return plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride);
}

int apart(uint8_t a, uint8_t b) {
    return a > b ? a - b : b - a;
}

}  // namespace

std::vector<uint8_t> heatPalette() {
    std::vector<uint8_t> palette;
    const auto add = [&palette](const Colour& colour) {
        for (const int part : {colour.red, colour.green, colour.blue}) {
            palette.push_back(static_cast<uint8_t>(part));
        }
    };
    for (int grey = 0; grey < kGreys; ++grey) add({2 * grey, 2 * grey, 2 * grey});
    for (int heat = 0; heat < kHeats; ++heat) add(heatColour(heat));
    return palette;
}

void drawHeatMap(const Picture& a, const Picture& b, int tolerance, uint8_t* out) {
    static const std::array<uint8_t, 256> heat = heatNumbers();
    for (int row = 0; row < a.height(); ++row) {
        const uint8_t* const yA = rowOf(a.y, row);
        const uint8_t* const yB = rowOf(b.y, row);
        const uint8_t* const uA = rowOf(a.u, row / 2);
        const uint8_t* const uB = rowOf(b.u, row / 2);
        const uint8_t* const vA = rowOf(a.v, row / 2);
        const uint8_t* const vB = rowOf(b.v, row / 2);
        for (int x = 0; x < a.width(); ++x, ++out) {
            const int most = std::max(
                {apart(yA[x], yB[x]), apart(uA[x / 2], uB[x / 2]), apart(vA[x / 2], vB[x / 2])});
            *out = most > tolerance ? heat[static_cast<size_t>(most)]
                                    : static_cast<uint8_t>(yA[x] / (256 / kGreys));
        }
    }
}

}  // namespace tyksim
