#include "tools/picture/PictureFile.h"

#include "tree/read/Escape.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <libyuv/planar_functions.h>
#include <unistd.h>
#include <utility>

namespace tyksim {

namespace {

constexpr uint8_t kBlack = 0;
constexpr uint8_t kNoColour = 128;

}  // namespace

NoPicture::NoPicture(const std::string& path, const std::string& reason)
    : Failure(tyktree::escaped(path) + ": " + reason), path_(path), reason_(reason) {}

tyktags::Status checkPictureSize(int width, int height) {
    if (width >= 1 && width <= kMaxWidth && height >= 1 && height <= kMaxHeight) return {};
    return tyktags::flaw("", "",
                         fmt::format("pictures have 1x1 to {}x{} pixels, this one {}x{}", kMaxWidth,
                                     kMaxHeight, width, height));
}

PictureFile::PictureFile(std::string path, const PictureLayout& layout)
    : path_(std::move(path)), layout_(layout), file_(path_) {
    const tyktags::Status size = checkPictureSize(layout_.width, layout_.height);
    if (!size.ok()) throw NoPicture(path_, size.problem().reason);
    if (file_.status().ok()) return;
    const std::string& reason = file_.status().problem().reason;
    throw NoPicture(path_, reason == tyktree::kNotRegular ? "it is not a regular file"
                                                          : "cannot be opened: " + reason);
}

void PictureFile::requireSamples() const {
    if (bytes() == 0) throw NoPicture(path_, "the file is empty");
}

uint64_t PictureFile::notDumped() const {
    const uint64_t used = layout_.usedBytes();
    const uint64_t had = std::max<uint64_t>(bytes(), layout_.dumpedBytes());
    return used > had ? used - had : 0;
}

PictureSource PictureFile::source() {
    return {layout_.width, layout_.height,
            [this](int first, int rows) { return this->rows(first, rows); }};
}

Picture PictureFile::whole() {
    return rows(0, layout_.height);
}

StoredRows PictureFile::storedRows(int first, int rows, WantedPlanes wanted) {
    const size_t lumaStride = layout_.lumaStride();
    const size_t chromaStride = layout_.chromaStride();
    const size_t lumaBytes = wanted.luma ? lumaStride * static_cast<size_t>(rows) : 0;
    const size_t chromaBytes =
        wanted.chroma ? chromaStride * static_cast<size_t>(chromaLength(rows)) : 0;
    uint8_t* const luma = stored_.reserve(lumaBytes + chromaBytes);
    uint8_t* const chroma = luma + lumaBytes;
    const size_t chromaFrom = layout_.lumaBytes() + chromaStride * static_cast<size_t>(first / 2);
    const size_t lumaRead = read(luma, lumaBytes, lumaStride * static_cast<size_t>(first));
    const size_t chromaRead = read(chroma, chromaBytes, chromaFrom);
    std::fill(luma + lumaRead, luma + lumaBytes, kBlack);
    std::fill(chroma + chromaRead, chroma + chromaBytes, kNoColour);
    return {luma, chroma, lumaRead, chromaRead};
}

Picture PictureFile::rows(int first, int rows, WantedPlanes wanted) {
    const StoredRows stored = storedRows(first, rows, wanted);
    const Plane luma{stored.luma, static_cast<int>(layout_.lumaStride()), layout_.width,
                     wanted.luma ? rows : 0};
    if (!wanted.chroma) return {luma, {}, {}};
    const int pairs = chromaLength(layout_.width);
    const int chromaRows = chromaLength(rows);
    const size_t planeBytes = static_cast<size_t>(pairs) * static_cast<size_t>(chromaRows);
    uint8_t* const one = chroma_.reserve(2 * planeBytes);
    uint8_t* const other = one + planeBytes;
    libyuv::SplitUVPlane(stored.chroma, static_cast<int>(layout_.chromaStride()), one, pairs, other,
                         pairs, pairs, chromaRows);
    const bool uFirst = layout_.order == ChromaOrder::kNv12;
    return {luma,
            {uFirst ? one : other, pairs, pairs, chromaRows},
            {uFirst ? other : one, pairs, pairs, chromaRows}};
}

size_t PictureFile::read(uint8_t* out, size_t size, uint64_t offset) const {
    size_t done = 0;
    while (done < size && offset + done < bytes()) {
        const ssize_t count =
            ::pread(file_.descriptor(), out + done, size - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw NoPicture(path_, "cannot be read: " + tyktags::systemReason(errno));
        if (count == 0) break;
        done += static_cast<size_t>(count);
    }
    return done;
}

}  // namespace tyksim
