#include "tools/picture/PictureDiff.h"

#include "tools/picture/PictureFile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <libyuv/compare.h>
#include <libyuv/planar_functions.h>
#include <limits>

namespace tyksim {

namespace {

// Small enough for the strips of both files to stay in the processor's cache until they are
// compared.
constexpr size_t kStripBytes = size_t{128} * 1024;

// The differences of so many samples fit in 16 bits, and their count in 8, so the compiler can
// vectorise the loop.
constexpr size_t kBlock = 240;

uint8_t difference(uint8_t a, uint8_t b) {
    return static_cast<uint8_t>(a > b ? a - b : b - a);
}

template <size_t kCount>
void addBlock(const uint8_t* a, const uint8_t* b, uint8_t tolerance, PlaneDifference& result) {
    uint16_t sum = 0;
    uint8_t different = 0;
    uint8_t largest = 0;
    for (size_t i = 0; i < kCount; ++i) {
        const uint8_t apart = difference(a[i], b[i]);
        sum = static_cast<uint16_t>(sum + apart);
        different = static_cast<uint8_t>(different + (apart > tolerance ? 1 : 0));
        largest = std::max(largest, apart);
    }
    result.sum += sum;
    result.different += different;
    result.largest = std::max<int>(result.largest, largest);
}

/// `count` must fit an int.
void addSamples(const uint8_t* a, const uint8_t* b, size_t count, int tolerance,
                PlaneDifference& result) {
    result.samples += count;
    result.squares += libyuv::ComputeSumSquareError(a, b, static_cast<int>(count));
    const auto limit = static_cast<uint8_t>(tolerance);
    for (; count >= kBlock; count -= kBlock, a += kBlock, b += kBlock) {
        addBlock<kBlock>(a, b, limit, result);
    }
    for (; count > 0; --count, ++a, ++b) addBlock<1>(a, b, limit, result);
}

}  // namespace

double PlaneDifference::psnr() const {
    if (squares == 0) return std::numeric_limits<double>::infinity();
    const double mse = static_cast<double>(squares) / static_cast<double>(samples);
    return 10 * std::log10(255.0 * 255.0 / mse);
}

double PlaneDifference::mean() const {
    return samples == 0 ? 0 : static_cast<double>(sum) / static_cast<double>(samples);
}

void PlaneDifference::add(const PlaneDifference& other) {
    samples += other.samples;
    squares += other.squares;
    sum += other.sum;
    different += other.different;
    largest = std::max(largest, other.largest);
}

bool PictureDifference::same() const {
    return problem.empty() && bytesA == bytesB && !restDiffers && total().different == 0;
}

PlaneDifference PictureDifference::total() const {
    PlaneDifference sum = y;
    sum.add(u);
    sum.add(v);
    return sum;
}

namespace {

/// One comparison of two files, read strip by strip in parallel.
class Comparison {
public:
    /// Both files must have the same layout. The arguments must outlive the object.
    Comparison(PictureFile& a, PictureFile& b, int tolerance, SampleBuffer& memory)
        : a_(a), b_(b), layout_(a.layout()), tolerance_(tolerance), memory_(memory) {}

    PictureDifference run() {
        result_.bytesA = a_.bytes();
        result_.bytesB = b_.bytes();
        const auto rowBytes = static_cast<int>(layout_.chromaStride());
        const int rows = 2 * std::max(1, static_cast<int>(kStripBytes) / (3 * rowBytes));
        for (int first = 0; first < layout_.height; first += rows) {
            compareStrip(first, std::min(rows, layout_.height - first));
        }
        compareRest();
        return result_;
    }

private:
    void compareStrip(int first, int rows) {
        const StoredRows a = a_.storedRows(first, rows);
        const StoredRows b = b_.storedRows(first, rows);
        const auto luma = [this](const uint8_t* inA, const uint8_t* inB, size_t count, bool equal) {
            add(inA, inB, count, equal, result_.y);
        };
        const auto chroma = [this](const uint8_t* inA, const uint8_t* inB, size_t count,
                                   bool equal) { addPairs(inA, inB, count, equal); };
        const auto width = static_cast<size_t>(layout_.width);
        const auto pairs = static_cast<size_t>(chromaLength(layout_.width));
        compareRows(a.luma, b.luma, std::min(a.lumaBytes, b.lumaBytes), layout_.lumaStride(), width,
                    luma);
        compareRows(a.chroma, b.chroma, std::min(a.chromaBytes, b.chromaBytes),
                    layout_.chromaStride(), 2 * pairs, chroma);
    }

    /// Passes the samples in `bytes` bytes of rows to `take`, and whether they are known to be
    /// equal.
    template <typename Take>
    static void compareRows(const uint8_t* a, const uint8_t* b, size_t bytes, size_t stride,
                            size_t rowBytes, Take take) {
        const bool equal = std::memcmp(a, b, bytes) == 0;
        if (stride == rowBytes) {
            take(a, b, bytes, equal);
            return;
        }
        for (size_t at = 0; at < bytes; at += stride) {
            take(a + at, b + at, std::min(rowBytes, bytes - at), equal);
        }
    }

    void add(const uint8_t* a, const uint8_t* b, size_t count, bool equal,
             PlaneDifference& plane) const {
        if (equal) {
            plane.samples += count;
        } else {
            addSamples(a, b, count, tolerance_, plane);
        }
    }

    /// Adds pairs of chroma samples; the second sample of the last pair may be missing.
    void addPairs(const uint8_t* a, const uint8_t* b, size_t count, bool equal) {
        const bool uFirst = layout_.order == ChromaOrder::kNv12;
        PlaneDifference& first = uFirst ? result_.u : result_.v;
        PlaneDifference& second = uFirst ? result_.v : result_.u;
        const size_t pairs = count / 2;
        uint8_t* const inA = memory_.reserve(4 * pairs);
        uint8_t* const inB = inA + 2 * pairs;
        if (!equal) {
            splitPairs(a, pairs, inA, inA + pairs);
            splitPairs(b, pairs, inB, inB + pairs);
        }
        add(inA, inB, pairs, equal, first);
        add(inA + pairs, inB + pairs, pairs, equal, second);
        if (count % 2 != 0) add(a + count - 1, b + count - 1, 1, equal, first);
    }

    static void splitPairs(const uint8_t* pairs, size_t count, uint8_t* first, uint8_t* second) {
        const auto width = static_cast<int>(count);
        libyuv::SplitUVPlane(pairs, 2 * width, first, width, second, width, width, 1);
    }

    /// Compares the bytes after the picture.
    void compareRest() {
        uint8_t* const a = memory_.reserve(2 * kStripBytes);
        uint8_t* const b = a + kStripBytes;
        for (uint64_t at = layout_.bytes(); !result_.restDiffers; at += kStripBytes) {
            const size_t bytes = std::min(a_.read(a, kStripBytes, at), b_.read(b, kStripBytes, at));
            if (bytes == 0) return;
            result_.restDiffers = std::memcmp(a, b, bytes) != 0;
        }
    }

    PictureFile& a_;
    PictureFile& b_;
    const PictureLayout& layout_;
    int tolerance_;
    SampleBuffer& memory_;
    PictureDifference result_;
};

}  // namespace

PictureDifference PictureComparer::compare(const std::string& pathA, const std::string& pathB,
                                           const PictureLayout& layout, int tolerance) {
    try {
        PictureFile a(pathA, layout);
        PictureFile b(pathB, layout);
        return Comparison(a, b, tolerance, memory_).run();
    } catch (const NoPicture& problem) {
        PictureDifference result;
        result.problem = problem.what();
        return result;
    }
}

}  // namespace tyksim
