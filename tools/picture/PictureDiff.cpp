#include "tools/picture/PictureDiff.h"

#include "core/File.h"
#include "tools/console/Console.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <libyuv/compare.h>
#include <libyuv/planar_functions.h>
#include <limits>

namespace tyksim {

namespace {

// Both pieces stay in the processor's cache until they are compared.
constexpr size_t kPieceBytes = size_t{128} * 1024;

// So many differences add up in 16 bits, so many samples are counted in 8: the compiler makes
// instructions over many samples at once of it.
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

/// `count` fits an int.
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

/// One comparison: the files, read piece by piece side by side.
class Comparison {
public:
    Comparison(const std::string& pathA, const std::string& pathB, const PictureLayout& layout,
               int tolerance, SampleBuffer& pieces)
        : layout_(layout),
          tolerance_(tolerance),
          rowsInPiece_(std::max<size_t>(1, kPieceBytes / layout.chromaStride())),
          pieceBytes_(std::max(kPieceBytes, layout.chromaStride())),
          a_(pieces.reserve(4 * pieceBytes_)),
          b_(a_ + pieceBytes_),
          split_(b_ + pieceBytes_),
          fileA_(pathA.c_str()),
          fileB_(pathB.c_str()) {}

    PictureDifference run(const std::string& pathA, const std::string& pathB) {
        if (!fileA_.isOpen()) return problem(pathA);
        if (!fileB_.isOpen()) return problem(pathB);
        result_.bytesA = static_cast<uint64_t>(fileA_.size());
        result_.bytesB = static_cast<uint64_t>(fileB_.size());
        comparePicture();
        if (fileA_.failed()) return problem(pathA);
        if (fileB_.failed()) return problem(pathB);
        return result_;
    }

private:
    static PictureDifference problem(const std::string& path) {
        PictureDifference result;
        result.problem = text(tyktree::escaped(path), ": cannot be read: ", systemReason(errno));
        return result;
    }

    void comparePicture() {
        const auto luma = [this](const uint8_t* a, const uint8_t* b, size_t count, bool equal) {
            add(a, b, count, equal, result_.y);
        };
        const auto chroma = [this](const uint8_t* a, const uint8_t* b, size_t count, bool equal) {
            addPairs(a, b, count, equal);
        };
        const auto width = static_cast<size_t>(layout_.width);
        const auto pairs = static_cast<size_t>(chromaLength(layout_.width));
        if (!compareRows(layout_.lumaStride(), width, layout_.height, luma)) return;
        const int rows = chromaLength(layout_.height);
        if (!compareRows(layout_.chromaStride(), 2 * pairs, rows, chroma)) return;
        while (const size_t bytes = readPiece(kPieceBytes)) {
            result_.restDiffers = result_.restDiffers || std::memcmp(a_, b_, bytes) != 0;
        }
    }

    /// Reads `bytes` of both files and returns how many both have.
    size_t readPiece(size_t bytes) {
        const size_t a = fileA_.read(a_, bytes);
        return std::min(a, fileB_.read(b_, bytes));
    }

    /// Hands the samples of so many rows to `take`, and whether they are known to be equal. False
    /// when a file ends before.
    template <typename Take>
    bool compareRows(size_t stride, size_t rowBytes, int rows, Take take) {
        for (auto left = static_cast<size_t>(rows); left > 0;) {
            const size_t count = std::min(left, rowsInPiece_);
            const size_t bytes = readPiece(count * stride);
            const bool equal = std::memcmp(a_, b_, bytes) == 0;
            if (stride == rowBytes) {
                take(a_, b_, bytes, equal);
            } else {
                for (size_t at = 0; at < bytes; at += stride) {
                    take(a_ + at, b_ + at, std::min(rowBytes, bytes - at), equal);
                }
            }
            if (bytes < count * stride) return false;
            left -= count;
        }
        return true;
    }

    void add(const uint8_t* a, const uint8_t* b, size_t count, bool equal,
             PlaneDifference& plane) const {
        if (equal) {
            plane.samples += count;
        } else {
            addSamples(a, b, count, tolerance_, plane);
        }
    }

    /// Pairs of chroma samples; of the last one the second may be missing.
    void addPairs(const uint8_t* a, const uint8_t* b, size_t count, bool equal) {
        const bool uFirst = layout_.order == ChromaOrder::kNv12;
        PlaneDifference& first = uFirst ? result_.u : result_.v;
        PlaneDifference& second = uFirst ? result_.v : result_.u;
        const size_t pairs = count / 2;
        const size_t half = pieceBytes_ / 2;
        if (!equal) {
            splitPairs(a, pairs, split_, split_ + half);
            splitPairs(b, pairs, split_ + 2 * half, split_ + 3 * half);
        }
        add(split_, split_ + 2 * half, pairs, equal, first);
        add(split_ + half, split_ + 3 * half, pairs, equal, second);
        if (count % 2 != 0) add(a + count - 1, b + count - 1, 1, equal, first);
    }

    static void splitPairs(const uint8_t* pairs, size_t count, uint8_t* first, uint8_t* second) {
        const auto width = static_cast<int>(count);
        libyuv::SplitUVPlane(pairs, 2 * width, first, width, second, width, width, 1);
    }

    const PictureLayout& layout_;
    int tolerance_;
    size_t rowsInPiece_;
    size_t pieceBytes_;
    uint8_t* a_;
    uint8_t* b_;
    uint8_t* split_;  ///< the pieces' chroma: first and second of A, first and second of B
    InputFile fileA_;
    InputFile fileB_;
    PictureDifference result_;
};

}  // namespace

PictureDifference PictureComparer::compare(const std::string& pathA, const std::string& pathB,
                                           const PictureLayout& layout, int tolerance) {
    return Comparison(pathA, pathB, layout, tolerance, pieces_).run(pathA, pathB);
}

}  // namespace tyksim
