#include "tools/picture/PictureDiff.h"

#include <algorithm>
#include <array>

namespace tyksim {

namespace {

// Smaller indices are greys of the picture, darkened; the others are differences, except the last.
constexpr int kGreys = 64;
constexpr int kHeats = 191;
constexpr uint8_t kNotCompared = kGreys + kHeats;

struct Colour {
    int red;
    int green;
    int blue;
};

// Most differences are small, so the scale is not linear: a difference of 1 is visible, and all
// above 64 have the hottest colour.
constexpr int kHottest = 64;
constexpr std::array<Colour, 4> kHeatSteps = {Colour{120, 0, 0}, Colour{230, 40, 0},
                                              Colour{255, 200, 0}, Colour{255, 255, 255}};
constexpr Colour kNotComparedColour = {30, 70, 190};

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

/// The index of the colour for every difference.
std::array<uint8_t, 256> heatNumbers() {
    std::array<uint8_t, 256> numbers{};
    for (int apart = 0; apart < 256; ++apart) {
        const int heat = std::min(apart, kHottest) * (kHeats - 1) / kHottest;
        numbers[static_cast<size_t>(apart)] = static_cast<uint8_t>(kGreys + heat);
    }
    return numbers;
}

int apart(uint8_t a, uint8_t b) {
    return a > b ? a - b : b - a;
}

/// The compared part of a row in the planes of two pictures.
struct RowPair {
    RowPair(const Plane& planeA, const Plane& planeB, int row, uint64_t compared)
        : a(rowOf(planeA, row)), b(rowOf(planeB, row)) {
        const uint64_t before = static_cast<uint64_t>(row) * static_cast<uint64_t>(planeA.width);
        const uint64_t left = compared - std::min(compared, before);
        columns = static_cast<int>(std::min(left, static_cast<uint64_t>(planeA.width)));
    }

    static const uint8_t* rowOf(const Plane& plane, int row) {
        return plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride);
    }

    int difference(int x) const { return x < columns ? apart(a[x], b[x]) : 0; }

    const uint8_t* a;
    const uint8_t* b;
    int columns;
};

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
    add(kNotComparedColour);
    return palette;
}

void drawHeatMap(const Picture& a, const Picture& b, const SampleCounts& compared, int tolerance,
                 uint8_t* out) {
    static const std::array<uint8_t, 256> heat = heatNumbers();
    for (int row = 0; row < a.height(); ++row) {
        const RowPair y(a.y, b.y, row, compared.y);
        const RowPair u(a.u, b.u, row / 2, compared.u);
        const RowPair v(a.v, b.v, row / 2, compared.v);
        for (int x = 0; x < y.columns; ++x) {
            const int most = std::max({y.difference(x), u.difference(x / 2), v.difference(x / 2)});
            out[x] = most > tolerance ? heat[static_cast<size_t>(most)]
                                      : static_cast<uint8_t>(y.a[x] / (256 / kGreys));
        }
        std::fill(out + y.columns, out + a.width(), kNotCompared);
        out += a.width();
    }
}

}  // namespace tyksim
