#include "tools/picture/PictureMaker.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <libyuv/rotate.h>

namespace tyksim {

namespace {

// Pixels are rotated in tiles of this size, so that their rows and columns stay in the processor's
// cache.
constexpr int kTile = 32;

bool swapsSides(int degrees) {
    return degrees == 90 || degrees == 270;
}

size_t samplesOf(const Plane& plane) {
    return static_cast<size_t>(plane.width) * static_cast<size_t>(plane.height);
}

void turn(const Plane& plane, int degrees, uint8_t* out) {
    libyuv::RotatePlane(plane.samples, plane.stride, out,
                        swapsSides(degrees) ? plane.height : plane.width, plane.width, plane.height,
                        static_cast<libyuv::RotationMode>(degrees));
}

/// The distance from a pixel's chroma sample to that of its right or lower neighbour: 1 if two
/// pixels of a new sample had different ones, else 0.
struct Shift {
    int x;
    int y;
};

Shift shiftOf(const Picture& turned, int degrees) {
    const bool fromRight = degrees == 90 || degrees == 180;
    const bool fromBelow = degrees == 180 || degrees == 270;
    return {fromRight && turned.width() % 2 != 0 ? 1 : 0,
            fromBelow && turned.height() % 2 != 0 ? 1 : 0};
}

/// Moves chroma to the pixels' positions: each sample becomes the mean of itself and of its
/// neighbours at `shift`. Reading stays ahead of writing.
void moveChroma(const Plane& plane, const Shift& shift, uint8_t* samples) {
    if (shift.x == 0 && shift.y == 0) return;
    for (int y = 0; y < plane.height; ++y) {
        const int below = std::min(y + shift.y, plane.height - 1);
        uint8_t* const row = samples + static_cast<ptrdiff_t>(y) * plane.stride;
        const uint8_t* const next = samples + static_cast<ptrdiff_t>(below) * plane.stride;
        for (int x = 0; x < plane.width; ++x) {
            const int right = std::min(x + shift.x, plane.width - 1);
            // At the edges the same samples count twice, which does not change the mean.
            const int sum = row[x] + row[right] + next[x] + next[right];
            row[x] = static_cast<uint8_t>((sum + 2) / 4);
        }
    }
}

/// The new position of the first pixel, and the distances to its right and lower neighbours.
struct TurnedPlaces {
    ptrdiff_t first;
    ptrdiff_t right;
    ptrdiff_t down;
};

TurnedPlaces placesOf(ptrdiff_t width, ptrdiff_t height, int degrees) {
    switch (degrees) {
        case 90:
            return {height - 1, height, -1};
        case 180:
            return {width * height - 1, -1, -width};
        case 270:
            return {(width - 1) * height, -height, 1};
        default:
            return {0, 1, width};
    }
}

}  // namespace

Picture PictureMaker::scaled(const Picture& picture, int divisor) {
    if (divisor <= 1) return picture;
    const NewPicture made(scaled_, shrunkLength(picture.width(), divisor),
                          shrunkLength(picture.height(), divisor));
    // Halving and dividing a length, both rounded up, give the same result in either order.
    shrinker_.shrink(picture.y, divisor, made.y, made.picture.y.stride);
    shrinker_.shrink(picture.u, divisor, made.u, made.picture.u.stride);
    shrinker_.shrink(picture.v, divisor, made.v, made.picture.v.stride);
    return made.picture;
}

Plane PictureMaker::scaled(const Plane& plane, int divisor) {
    if (divisor <= 1) return plane;
    const int width = shrunkLength(plane.width, divisor);
    uint8_t* const samples = scaled_.reserve(samplesOf(plane));
    shrinker_.shrink(plane, divisor, samples, width);
    return {samples, width, width, shrunkLength(plane.height, divisor)};
}

Picture PictureMaker::turned(const Picture& picture, int degrees) {
    if (degrees == 0) return picture;
    const bool swaps = swapsSides(degrees);
    const NewPicture made(turned_, swaps ? picture.height() : picture.width(),
                          swaps ? picture.width() : picture.height());
    turn(picture.y, degrees, made.y);
    turn(picture.u, degrees, made.u);
    turn(picture.v, degrees, made.v);
    const Shift shift = shiftOf(made.picture, degrees);
    moveChroma(made.picture.u, shift, made.u);
    moveChroma(made.picture.v, shift, made.v);
    return made.picture;
}

Plane PictureMaker::turned(const Plane& plane, int degrees) {
    if (degrees == 0) return plane;
    uint8_t* const samples = turned_.reserve(samplesOf(plane));
    turn(plane, degrees, samples);
    if (!swapsSides(degrees)) return {samples, plane.width, plane.width, plane.height};
    return {samples, plane.height, plane.height, plane.width};
}

void turnRgb(const uint8_t* pixels, int width, int height, int degrees, uint8_t* out) {
    const TurnedPlaces places = placesOf(width, height, degrees);
    for (int top = 0; top < height; top += kTile) {
        for (int left = 0; left < width; left += kTile) {
            for (int y = top; y < std::min(top + kTile, height); ++y) {
                const uint8_t* from = pixels + 3 * (static_cast<ptrdiff_t>(y) * width + left);
                ptrdiff_t to = places.first + y * places.down + left * places.right;
                for (int x = left; x < std::min(left + kTile, width); ++x) {
                    std::memcpy(out + 3 * to, from, 3);
                    from += 3;
                    to += places.right;
                }
            }
        }
    }
}

}  // namespace tyksim
