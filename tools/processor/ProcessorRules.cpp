#include "tools/processor/ProcessorRules.h"

#include "core/PipelineSimulation.h"
#include "core/TreeNames.h"
#include "tools/console/Console.h"
#include "tools/picture/Picture.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <string>
#include <utility>

namespace tyksim {

namespace {

using tyktags::Problem;
using tyktags::Status;

/// The rows of a plane that has `bytes` bytes in an image file; the last row may be incomplete.
struct Rows {
    uint64_t rowBytes;
    uint64_t stride;
    uint64_t bytes;

    /// The distance from the beginning of the first row to the end of the last byte, of which there
    /// must be one.
    uint64_t extent() const { return (bytes - 1) / rowBytes * stride + (bytes - 1) % rowBytes + 1; }

    void pack(const uint8_t* from, uint8_t* to) const {
        const uint64_t step = stride == rowBytes ? bytes : rowBytes;
        uint64_t at = 0;
        for (uint64_t done = 0; done < bytes; done += step, at += stride) {
            std::memcpy(to + done, from + at, std::min(step, bytes - done));
        }
    }
};

/// Luma and chroma of a picture; the chroma rows begin `chromaAt` bytes after the luma rows.
struct Planes {
    explicit Planes(const tyksim_picture& picture) {
        const PictureLayout layout{picture.width, picture.height, picture.stride};
        const PictureLayout packed{picture.width, picture.height};
        luma = {packed.lumaStride(), layout.lumaStride(), packed.lumaBytes()};
        chroma = {packed.chromaStride(), layout.chromaStride(),
                  packed.dumpedBytes() - packed.lumaBytes()};
        chromaAt = layout.lumaBytes();
    }

    uint64_t extent() const {
        return chroma.bytes == 0 ? luma.extent() : chromaAt + chroma.extent();
    }

    Rows luma{};
    Rows chroma{};
    uint64_t chromaAt = 0;
};

Problem because(std::string reason) {
    return tyktags::flaw("", "", std::move(reason));
}

}  // namespace

Status checkValue(const tyksim_frame& frame, uint32_t tag, uint64_t bytes) {
    const auto* const end = frame.parameters + frame.parameter_count;
    const auto* const found =
        std::find_if(frame.parameters, end,
                     [tag](const tyksim_parameter& parameter) { return parameter.tag == tag; });
    const std::string returned = fmt::format("returned {} bytes for tag {}", bytes, tag);
    if (found == end) return because(returned + ", which the frame does not have");
    if (found->is_block == 0) {
        if (bytes == found->size) return {};
        return because(fmt::format("{}, which has {} bytes", returned, found->size));
    }
    // A replay accepts neither as a block.
    if (bytes == 0) return because(returned + "; a block has at least one");
    if (bytes <= INT32_MAX) return {};
    return because(fmt::format("{}; a block has at most {}", returned, INT32_MAX));
}

uint64_t packedBytes(int32_t width, int32_t height) {
    if (width < 1 || height < 1 || width > kMaxWidth || height > kMaxHeight) return 0;
    return static_cast<uint64_t>(nv21Bytes(width, height));
}

Status checkPicture(const tyksim_picture& picture) {
    const std::string size =
        fmt::format("returned a picture of {}x{}", picture.width, picture.height);
    if (packedBytes(picture.width, picture.height) == 0) {
        return because(fmt::format("{}; expected 1x1 to {}x{}", size, kMaxWidth, kMaxHeight));
    }
    if (!picture.pixels) return because(size + " at a null pointer");
    if (picture.stride != 0 && picture.stride < picture.width) {
        return because(fmt::format("{} with a stride of {} bytes; expected at least {}", size,
                                   picture.stride, picture.width));
    }
    const uint64_t expected = Planes(picture).extent();
    if (picture.size >= expected) return {};
    return because(
        fmt::format("{} in {} bytes; expected at least {}", size, picture.size, expected));
}

void packPicture(const tyksim_picture& picture, uint8_t* to) {
    const Planes planes(picture);
    planes.luma.pack(picture.pixels, to);
    if (planes.chroma.bytes == 0) return;
    planes.chroma.pack(picture.pixels + planes.chromaAt, to + planes.luma.bytes);
}

}  // namespace tyksim
