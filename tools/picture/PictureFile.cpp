#include "tools/picture/PictureFile.h"

#include "tree/read/Escape.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <libyuv/planar_functions.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tyksim {

namespace {

constexpr uint8_t kBlack = 0;
constexpr uint8_t kNoColour = 128;

}  // namespace

NoPicture::NoPicture(const std::string& path, const std::string& reason)
    : Failure(tyktree::escaped(path) + ": " + reason), reason_(reason) {}

std::string sizeProblem(int width, int height) {
    if (width >= 1 && width <= kMaxWidth && height >= 1 && height <= kMaxHeight) return "";
    return text("pictures have 1x1 to ", kMaxWidth, "x", kMaxHeight, " pixels, this one ", width,
                "x", height);
}

PictureFile::PictureFile(std::string path, const PictureLayout& layout)
    : path_(std::move(path)), layout_(layout) {
    const std::string problem = sizeProblem(layout_.width, layout_.height);
    if (!problem.empty()) throw NoPicture(path_, problem);
    descriptor_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor_ < 0) throw NoPicture(path_, "cannot be opened: " + systemReason(errno));
    struct stat status {};
    if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        bytes_ = static_cast<uint64_t>(status.st_size);
        return;
    }
    const bool empty = S_ISREG(status.st_mode);
    ::close(descriptor_);
    throw NoPicture(path_, empty ? "the file is empty" : "it is no regular file");
}

PictureFile::~PictureFile() {
    ::close(descriptor_);
}

uint64_t PictureFile::notDumped() const {
    const uint64_t used = layout_.usedBytes();
    const uint64_t had = std::max<uint64_t>(bytes_, layout_.dumpedBytes());
    return used > had ? used - had : 0;
}

PictureSource PictureFile::source() {
    return {layout_.width, layout_.height,
            [this](int first, int rows) { return this->rows(first, rows); }};
}

Picture PictureFile::whole() {
    return rows(0, layout_.height);
}

Picture PictureFile::rows(int first, int rows) {
    const int pairs = chromaLength(layout_.width);
    const int chromaRows = chromaLength(rows);
    const size_t lumaBytes = layout_.lumaStride() * static_cast<size_t>(rows);
    const size_t chromaBytes = layout_.chromaStride() * static_cast<size_t>(chromaRows);
    const size_t planeBytes = static_cast<size_t>(pairs) * static_cast<size_t>(chromaRows);
    uint8_t* const luma = buffer_.reserve(lumaBytes + chromaBytes + 2 * planeBytes);
    uint8_t* const chroma = luma + lumaBytes;
    uint8_t* const one = chroma + chromaBytes;
    uint8_t* const other = one + planeBytes;
    read(luma, lumaBytes, layout_.lumaStride() * static_cast<size_t>(first), kBlack);
    const size_t chromaFrom = layout_.chromaStride() * static_cast<size_t>(first / 2);
    read(chroma, chromaBytes, layout_.lumaBytes() + chromaFrom, kNoColour);
    libyuv::SplitUVPlane(chroma, static_cast<int>(layout_.chromaStride()), one, pairs, other, pairs,
                         pairs, chromaRows);
    const bool uFirst = layout_.order == ChromaOrder::kNv12;
    return {{luma, static_cast<int>(layout_.lumaStride()), layout_.width, rows},
            {uFirst ? one : other, pairs, pairs, chromaRows},
            {uFirst ? other : one, pairs, pairs, chromaRows}};
}

void PictureFile::read(uint8_t* out, size_t size, uint64_t offset, uint8_t filling) {
    while (size > 0) {
        const ssize_t count = ::pread(descriptor_, out, size, static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw NoPicture(path_, "cannot be read: " + systemReason(errno));
        if (count == 0) break;
        out += count;
        offset += static_cast<uint64_t>(count);
        size -= static_cast<size_t>(count);
    }
    std::fill_n(out, size, filling);
}

}  // namespace tyksim
