// Converts planes to another colour rule, and to red, green and blue.
#include "tools/picture/Picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <libyuv/convert_argb.h>

namespace tyksim {

namespace {

/// The shares of red and blue in luma.
struct Shares {
    double red;
    double blue;
};

constexpr Shares kBt601Shares = {0.299, 0.114};
constexpr Shares kBt709Shares = {0.2126, 0.0722};
constexpr int kFractionBits = 16;

/// A luma from 0 (black) to 1 (white), and two colour differences from -0.5 to 0.5.
struct Signal {
    double y;
    double u;
    double v;
};

using Triple = std::array<double, 3>;

/// Red, green and blue of a signal.
Triple toColour(const Signal& signal, const Shares& shares) {
    const double red = signal.y + 2 * (1 - shares.red) * signal.v;
    const double blue = signal.y + 2 * (1 - shares.blue) * signal.u;
    const double rest = signal.y - shares.red * red - shares.blue * blue;
    return {red, rest / (1 - shares.red - shares.blue), blue};
}

/// Luma, U and V of red, green and blue by BT.601.
Triple toBt601(const Triple& colour) {
    const Shares& to = kBt601Shares;
    const double luma =
        to.red * colour[0] + (1 - to.red - to.blue) * colour[1] + to.blue * colour[2];
    return {luma, (colour[2] - luma) / (2 * (1 - to.blue)),
            (colour[0] - luma) / (2 * (1 - to.red))};
}

enum class Target { kJpegPlanes, kRgb };

/// Fixed-point factors: the effect of one step of luma, U and V on each of three results.
struct Factors {
    Factors(const ColourRule& rule, Target target) {
        const bool limited = rule.range == SampleRange::kLimited;
        const Shares& shares = rule.matrix == ColourMatrix::kBt709 ? kBt709Shares : kBt601Shares;
        black = limited ? 16 : 0;
        luma = fixed(255.0 / (limited ? 219.0 : 255.0));
        const auto results = [&](const Signal& signal) {
            const Triple colour = toColour(signal, shares);
            const Triple result = target == Target::kRgb ? colour : toBt601(colour);
            std::array<int32_t, 3> steps{};
            for (size_t i = 0; i < steps.size(); ++i) {
                steps[i] = fixed(result[i] * 255.0 / (limited ? 224.0 : 255.0));
            }
            return steps;
        };
        fromU = results({0, 1, 0});
        fromV = results({0, 0, 1});
    }

    static int32_t fixed(double factor) {
        return static_cast<int32_t>(std::lround(factor * (1 << kFractionBits)));
    }

    int32_t black;
    int32_t luma;
    std::array<int32_t, 3> fromU;
    std::array<int32_t, 3> fromV;
};

uint8_t sample(int32_t value) {
    constexpr int32_t half = 1 << (kFractionBits - 1);
    return static_cast<uint8_t>(std::clamp((value + half) >> kFractionBits, 0, 255));
}

/// A row of pixels with its row of chroma.
struct Row {
    const uint8_t* y;
    const uint8_t* u;
    const uint8_t* v;
};

void convertLuma(const Row& row, int width, const Factors& factors, uint8_t* out) {
    for (int x = 0; x < width; ++x) {
        const int32_t u = row.u[x / 2] - 128;
        const int32_t v = row.v[x / 2] - 128;
        out[x] = sample(factors.luma * (row.y[x] - factors.black) + factors.fromU[0] * u +
                        factors.fromV[0] * v);
    }
}

void convertChroma(const Row& row, int width, const Factors& factors, uint8_t* outU,
                   uint8_t* outV) {
    constexpr int32_t middle = 128 << kFractionBits;
    for (int x = 0; x < width; ++x) {
        const int32_t u = row.u[x] - 128;
        const int32_t v = row.v[x] - 128;
        outU[x] = sample(middle + factors.fromU[1] * u + factors.fromV[1] * v);
        outV[x] = sample(middle + factors.fromU[2] * u + factors.fromV[2] * v);
    }
}

void convertRgb(const Row& row, int width, const Factors& factors, uint8_t* out) {
    for (int x = 0; x < width; ++x) {
        const int32_t y = factors.luma * (row.y[x] - factors.black);
        const int32_t u = row.u[x / 2] - 128;
        const int32_t v = row.v[x / 2] - 128;
        for (size_t i = 0; i < 3; ++i) {
            *out++ = sample(y + factors.fromU[i] * u + factors.fromV[i] * v);
        }
    }
}

size_t offset(int row, int stride) {
    return static_cast<size_t>(row) * static_cast<size_t>(stride);
}

Row rowOf(const Picture& picture, int line) {
    return {picture.y.samples + offset(line, picture.y.stride),
            picture.u.samples + offset(line / 2, picture.u.stride),
            picture.v.samples + offset(line / 2, picture.v.stride)};
}

/// Between two such rules grey stays grey, so chroma depends on chroma alone. No conversion through
/// red, green and blue is needed, which would clip colours.
Picture convert(const Picture& picture, const Factors& factors, SampleBuffer& buffer) {
    const NewPicture made(buffer, picture.width(), picture.height());
    const int pairs = made.picture.u.width;
    for (int line = 0; line < picture.height(); ++line) {
        const Row row = rowOf(picture, line);
        convertLuma(row, picture.width(), factors, made.y + offset(line, picture.width()));
        if (line % 2 != 0) continue;
        const size_t at = offset(line / 2, pairs);
        convertChroma(row, pairs, factors, made.u + at, made.v + at);
    }
    return made.picture;
}

}  // namespace

PictureSource inJpegColours(const PictureSource& source, const ColourRule& rule) {
    if (rule.isJpegs()) return source;
    const auto buffer = std::make_shared<SampleBuffer>();
    return {source.width, source.height,
            [&source, buffer, factors = Factors(rule, Target::kJpegPlanes)](int first, int rows) {
                return convert(source.rows(first, rows), factors, *buffer);
            }};
}

void toRgb(const Picture& picture, const ColourRule& rule, uint8_t* out) {
    const bool full = rule.range == SampleRange::kFull;
    if (rule.matrix == ColourMatrix::kBt709 && !full) {
        // libyuv's factors end at 2.0; blue needs 2.11 here and would be wrong by up to 14.
        const Factors factors(rule, Target::kRgb);
        for (int line = 0; line < picture.height(); ++line) {
            convertRgb(rowOf(picture, line), picture.width(), factors,
                       out + 3 * offset(line, picture.width()));
        }
        return;
    }
    // libyuv's RGB24 begins with blue. With U and V swapped, both planes and factors, it begins
    // with red.
    const libyuv::YuvConstants& limited = libyuv::kYvuI601Constants;
    const libyuv::YuvConstants& constants = rule.matrix == ColourMatrix::kBt709
                                                ? libyuv::kYvuF709Constants
                                                : (full ? libyuv::kYvuJPEGConstants : limited);
    libyuv::I420ToRGB24Matrix(picture.y.samples, picture.y.stride, picture.v.samples,
                              picture.v.stride, picture.u.samples, picture.u.stride, out,
                              3 * picture.width(), &constants, picture.width(), picture.height());
}

}  // namespace tyksim
