#include "tools/picture/Histogram.h"

#include <algorithm>

namespace tyksim {

namespace {

constexpr int kRowsAtOnce = 64;

/// Counts the first `left` samples of the plane, and reduces `left` by the samples of the plane.
void addPlane(const Plane& plane, uint64_t& left, Histogram& histogram) {
    histogram.addRows(plane, left);
    left -=
        std::min(left, static_cast<uint64_t>(plane.width) * static_cast<uint64_t>(plane.height));
}

}  // namespace

void Histogram::addRows(const Plane& plane, uint64_t held, int first, int every) {
    const auto width = static_cast<uint64_t>(plane.width);
    for (int row = first; row < plane.height; row += every) {
        const uint64_t before = static_cast<uint64_t>(row) * width;
        if (before >= held) return;
        add(plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride),
            static_cast<size_t>(std::min(width, held - before)));
    }
}

void Histogram::add(const uint8_t* first, size_t samples) {
    size_t i = 0;
    for (; i + 1 < samples; i += 2) {
        ++even_[first[i]];
        ++odd_[first[i + 1]];
    }
    if (i < samples) ++even_[first[i]];
}

uint64_t Histogram::total() const {
    uint64_t sum = 0;
    for (size_t value = 0; value < kValues; ++value) sum += count(value);
    return sum;
}

double Histogram::mean() const {
    const uint64_t samples = total();
    if (samples == 0) return 0;
    double sum = 0;
    for (size_t value = 0; value < kValues; ++value) {
        sum += static_cast<double>(count(value)) * static_cast<double>(value);
    }
    return sum / static_cast<double>(samples);
}

int Histogram::least() const {
    for (size_t value = 0; value < kValues; ++value) {
        if (count(value) > 0) return static_cast<int>(value);
    }
    return 0;
}

int Histogram::most() const {
    for (size_t value = kValues; value-- > 0;) {
        if (count(value) > 0) return static_cast<int>(value);
    }
    return 0;
}

PlaneHistograms histogramsOf(PictureFile& file) {
    PlaneHistograms result;
    const PictureSource source = file.source();
    SampleCounts left = file.samples();
    for (int row = 0; row < source.height && left.y > 0; row += kRowsAtOnce) {
        const Picture strip = source.rows(row, std::min(kRowsAtOnce, source.height - row));
        addPlane(strip.y, left.y, result.y);
        addPlane(strip.u, left.u, result.u);
        addPlane(strip.v, left.v, result.v);
    }
    return result;
}

}  // namespace tyksim
