#include "bench/Frame.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>

Frame* Frame::newest = nullptr;

namespace {

std::vector<unsigned char> scatteredBytes(int64_t size, uint64_t seed) {
    std::vector<unsigned char> bytes(static_cast<size_t>(size));
    uint64_t state = seed * 2 + 1;
    for (unsigned char& byte : bytes) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        byte = static_cast<unsigned char>(state >> 56);
    }
    return bytes;
}

bool wasPublished(const Tag& tag) {
    if (!tag.isBlock) return tag.published == tag.value;
    return tag.publishedBlock.size == tag.value.size() &&
           std::memcmp(tag.publishedBlock.data, tag.value.data(), tag.value.size()) == 0;
}

}  // namespace

Frame::Frame(const Shape& made)
    : shape(made), image(scatteredBytes(made.imageBytes(), 1)), pixels(image.size()) {
    newest = this;
    for (int i = 0; i < shape.fixedCount + shape.blockCount; ++i) {
        const bool isBlock = i >= shape.fixedCount;
        std::vector<unsigned char> value =
            scatteredBytes(isBlock ? shape.blockBytes : shape.fixedBytes, tags.size());
        const size_t room = isBlock ? 0 : value.size();
        tags.push_back(
            {(isBlock ? "BENCH_TAG_BLOCK_" : "BENCH_TAG_FIXED_VALUE_") + std::to_string(i),
             isBlock,
             std::move(value),
             std::vector<unsigned char>(room),
             {}});
    }
}

std::vector<std::string> Frame::fileNames() const {
    std::vector<std::string> names;
    for (const Tag& tag : tags) {
        names.push_back(fmt::format("FCPDT_{}_{}_{}_{:d}_{}.bin", kSofId, kCamId, kPipe,
                                    tag.isBlock, tag.name));
    }
    if (shape.width > 0) {
        names.push_back(
            fmt::format("FCWH_{}_{}_{}_{}_nv21.yuv", kSofId, kCamId, shape.width, shape.height));
    }
    return names;
}

std::string Frame::configuration() const {
    std::string text = "<dumpconfig><common>\n";
    for (const Tag& tag : tags) {
        text += fmt::format(
            "<tag value=\"{}\"><pipe>SNAPSHOT_TYPE</pipe><dumpType>{:d}</dumpType></tag>\n",
            tag.name, tag.isBlock);
    }
    return text + "</common></dumpconfig>\n";
}

void Frame::clearPublished() {
    for (Tag& tag : tags) {
        tag.published.assign(tag.published.size(), 0);
        tag.publishedBlock = {};
    }
    pixels.assign(pixels.size(), 0);
}

void Frame::requirePublished(const std::string& side) const {
    const auto missing = std::find_if_not(tags.begin(), tags.end(), wasPublished);
    if (missing == tags.end() && pixels == image) return;
    throw std::runtime_error(side + " did not bring back the whole of " +
                             (missing == tags.end() ? "the image" : missing->name));
}
