#include "tools/sheet/ReducedPicture.h"

#include "core/File.h"
#include "tools/console/Console.h"
#include "tools/picture/PictureFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>

namespace tyksim {

namespace {

// A band stays in the processor's cache until it is made small.
constexpr size_t kBandBytes = size_t{192} * 1024;

// So many samples tell the distribution of a picture's luma.
constexpr size_t kCountedSamples = size_t{128} * 1024;

// libyuv shrinks several times as fast as the exact mean. Up to this divisor it is at most 1 off,
// and the further above the darker. It has no blocks that are narrower than others.
constexpr int kMostQuickly = 16;

constexpr uint8_t kBlack = 0;
constexpr uint8_t kNoColour = 128;

size_t product(int a, int b) {
    return static_cast<size_t>(a) * static_cast<size_t>(b);
}

std::string unreadable(int error) {
    return "cannot be read: " + (error != 0 ? systemReason(error) : "not a regular file");
}

/// One file on its way into a small picture.
class Reduction {
public:
    Reduction(InputFile& file, SampleBuffer& band, PlaneShrinker& shrinker, ReducedPicture& result,
              int divisor)
        : file_(file), band_(band), shrinker_(shrinker), result_(result), divisor_(divisor) {}

    void run(int width, int height, const NewPicture& made) {
        rowsPerCount_ = 1 + static_cast<int>(product(width, height) / kCountedSamples);
        bands(width, height, kBlack, [&](const uint8_t* samples, int row, int rows) {
            count(samples, width, row, rows);
            shrink(samples, width, rows, made.picture.y, made.y, row);
        });
        const int pairs = chromaLength(width);
        bands(2 * pairs, chromaLength(height), kNoColour, [&](uint8_t* samples, int row, int rows) {
            uint8_t* const v = samples + bandBytes_;
            uint8_t* const u = v + bandBytes_ / 2;
            libyuv::SplitUVPlane(samples, 2 * pairs, v, pairs, u, pairs, pairs, rows);
            shrink(u, pairs, rows, made.picture.u, made.u, row);
            shrink(v, pairs, rows, made.picture.v, made.v, row);
        });
    }

private:
    /// Reads rows of `rowBytes` and hands them to `take` in bands of whole groups of `divisor_`
    /// rows; the last group may be smaller and comes alone.
    template <typename Take>
    void bands(int rowBytes, int rows, uint8_t rest, Take take) {
        const auto groups = static_cast<int>(kBandBytes / (product(rowBytes, divisor_) + 1));
        const int bandRows = std::max(1, groups) * divisor_;
        bandBytes_ = product(rowBytes, bandRows);
        uint8_t* const samples = band_.reserve(2 * bandBytes_);
        for (int row = 0; row < rows;) {
            int count = std::min(bandRows, rows - row);
            if (count > divisor_) count -= count % divisor_;
            const size_t wanted = product(rowBytes, count);
            bandRead_ = file_.read(samples, wanted);
            std::memset(samples + bandRead_, rest, wanted - bandRead_);
            take(samples, row, count);
            row += count;
        }
    }

    void shrink(const uint8_t* samples, int stride, int rows, const Plane& plane, uint8_t* out,
                int row) {
        const int blocks = divisor_ <= kMostQuickly ? stride / divisor_ : 0;
        const int columns = blocks * divisor_;
        out += product(row / divisor_, plane.stride);
        if (blocks > 0) {
            libyuv::ScalePlane(samples, stride, columns, rows, out, plane.stride, blocks,
                               shrunkLength(rows, divisor_), libyuv::kFilterBox);
        }
        const Plane rest{samples + columns, stride, stride - columns, rows};
        if (rest.width > 0) shrinker_.shrink(rest, divisor_, out + blocks, plane.stride);
    }

    /// Counts the samples of the evenly spread rows that were read.
    void count(const uint8_t* samples, int width, int row, int rows) {
        // Two tables, as equal neighbours would wait for each other in one.
        std::array<uint32_t, 256> odd{};
        const int past = row % rowsPerCount_;
        for (int y = past == 0 ? 0 : rowsPerCount_ - past; y < rows; y += rowsPerCount_) {
            const size_t from = product(y, width);
            if (from >= bandRead_) break;
            const uint8_t* const line = samples + from;
            const size_t length = std::min(static_cast<size_t>(width), bandRead_ - from);
            for (size_t x = 0; x + 1 < length; x += 2) {
                ++result_.luma[line[x]];
                ++odd[line[x + 1]];
            }
            if (length % 2 != 0) ++result_.luma[line[length - 1]];
        }
        for (size_t i = 0; i < odd.size(); ++i) result_.luma[i] += odd[i];
    }

    InputFile& file_;
    SampleBuffer& band_;
    PlaneShrinker& shrinker_;
    ReducedPicture& result_;
    int divisor_;
    int rowsPerCount_ = 1;
    size_t bandBytes_ = 0;
    size_t bandRead_ = 0;  ///< bytes of the band that the file has
};

}  // namespace

const ReducedPicture& ReducedPictureReader::read(const std::string& path, int width, int height,
                                                 int divisor) {
    result_ = {};
    result_.problem = sizeProblem(width, height);
    if (!result_.problem.empty()) return result_;
    errno = 0;
    InputFile file(path.c_str());
    if (!file.isOpen()) {
        result_.problem = unreadable(errno);
        return result_;
    }
    result_.bytes = static_cast<uint64_t>(file.size());
    const NewPicture made(samples_, shrunkLength(width, divisor), shrunkLength(height, divisor));
    Reduction(file, band_, shrinker_, result_, divisor).run(width, height, made);
    const auto& luma = result_.luma;
    if (file.failed()) {
        result_.problem = unreadable(errno);
    } else if (std::all_of(luma.begin(), luma.end(), [](uint32_t count) { return count == 0; })) {
        result_.problem = "the file is empty";
    }
    result_.picture = made.picture;
    return result_;
}

}  // namespace tyksim
