// Reads bare pictures as frames.
#include "tools/camera/FrameConverter.h"
#include "tools/camera/FrameSource.h"
#include "tools/console/Interruption.h"
#include "tools/files/InputStream.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <libyuv/planar_functions.h>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

/// The layout of the samples of a bare picture.
class RawLayout {
public:
    explicit RawLayout(const RawFormat& format)
        : format_(format), pairs_(chromaLength(format.width)), rows_(chromaLength(format.height)) {
        stride_ = std::max(format.stride, format.width);
        chromaStride_ = isI420() ? chromaLength(stride_) : std::max(stride_, 2 * pairs_);
    }

    /// Bytes of all rows with their gaps.
    size_t bytes() const {
        return product(stride_, format_.height) +
               product(chromaStride_, rows_) * (isI420() ? 2 : 1);
    }

    /// Bytes up to the last sample, without the gap after the last row.
    size_t usedBytes() const {
        return bytes() - static_cast<size_t>(chromaStride_ - (isI420() ? pairs_ : 2 * pairs_));
    }

    /// The planes of the picture at `bytes`. `buffer` receives separated chroma.
    Picture planesOf(const uint8_t* bytes, SampleBuffer& buffer) const {
        const uint8_t* const chroma = bytes + product(stride_, format_.height);
        const Plane y{bytes, stride_, format_.width, format_.height};
        if (isI420()) {
            return {y,
                    {chroma, chromaStride_, pairs_, rows_},
                    {chroma + product(chromaStride_, rows_), chromaStride_, pairs_, rows_}};
        }
        uint8_t* const first = buffer.reserve(2 * product(pairs_, rows_));
        uint8_t* const second = first + product(pairs_, rows_);
        libyuv::SplitUVPlane(chroma, chromaStride_, first, pairs_, second, pairs_, pairs_, rows_);
        const Plane one{first, pairs_, pairs_, rows_};
        const Plane other{second, pairs_, pairs_, rows_};
        const bool uFirst = format_.planes == RawFormat::Planes::kNv12;
        return {y, uFirst ? one : other, uFirst ? other : one};
    }

private:
    bool isI420() const { return format_.planes == RawFormat::Planes::kI420; }

    RawFormat format_;
    int pairs_;  ///< chroma samples of one kind in a row
    int rows_;   ///< chroma rows
    int stride_ = 0;
    int chromaStride_ = 0;
};

const char* nameOf(RawFormat::Planes planes) {
    if (planes == RawFormat::Planes::kI420) return "I420";
    return planes == RawFormat::Planes::kNv21 ? "NV21" : "NV12";
}

ColourRule ruleOf(const GivenSamples& given) {
    return {given.matrix, given.range.value_or(SampleRange::kFull)};
}

class RawSource : public FrameSource {
public:
    RawSource(std::vector<std::string> paths, const RawFormat& format, const GivenSamples& given)
        : paths_(std::move(paths)),
          format_(format),
          rule_(ruleOf(given)),
          layout_(format),
          converter_(rule_),
          bytes_(layout_.bytes()) {
        // Opens later files too, so that a failure is reported before recording begins; but not a
        // FIFO, whose writer would lose its reader.
        for (const std::string& path : paths_) {
            if (std::filesystem::is_fifo(path)) continue;
            const InputStream probe(path);
        }
        input_ = std::make_unique<InputStream>(paths_.front());
    }

    const Photo* next() override {
        while (input_) {
            if (takeFrame()) return &photo_;
            if (interruption() != 0) return nullptr;
            ++file_;
            number_ = 0;
            input_.reset();
            if (file_ < paths_.size()) input_ = std::make_unique<InputStream>(paths_[file_]);
        }
        return nullptr;
    }

    std::string description() const override {
        return fmt::format(
            "{}: {}x{} {}, {}, {}", inputName(paths_.front()), format_.width, format_.height,
            nameOf(format_.planes),
            rule_.matrix == ColourMatrix::kBt601 ? "BT.601" : "BT.709 converted to BT.601",
            rule_.range == SampleRange::kFull ? "full range" : "limited range converted to full");
    }

private:
    /// Returns false at the end of the file.
    bool takeFrame() {
        const size_t count = input_->read(bytes_.data(), bytes_.size());
        if (interruption() != 0) return false;
        if (!input_->status().ok()) {
            addProblem(input_->status().problem());
            return false;
        }
        if (count < layout_.usedBytes()) {
            if (count > 0 || number_ == 0) reportCut(count);
            return false;
        }
        ++number_;
        converter_.convert(layout_.planesOf(bytes_.data(), chroma_), photo_.image);
        return true;
    }

    void reportCut(size_t count) {
        addProblem({input_->name(), fmt::format("{} bytes", layout_.usedBytes()),
                    fmt::format("{}", count), "", fmt::format("picture {}", number_ + 1)});
    }

    const std::vector<std::string> paths_;
    const RawFormat format_;
    const ColourRule rule_;
    const RawLayout layout_;
    FrameConverter converter_;
    std::vector<uint8_t> bytes_;  ///< a picture as stored in its file
    SampleBuffer chroma_;
    std::unique_ptr<InputStream> input_;
    size_t file_ = 0;  ///< index in paths_ of the file of input_
    int number_ = 0;   ///< pictures read from it so far
    Photo photo_;
};

}  // namespace

std::unique_ptr<FrameSource> makeRawSource(std::vector<std::string> paths, const RawFormat& format,
                                           const GivenSamples& given) {
    return std::make_unique<RawSource>(std::move(paths), format, given);
}

}  // namespace tyksim
