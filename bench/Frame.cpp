#include "bench/Frame.h"

#include "bench/Platform.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

/// Bytes that repeat nowhere near, the same in every run.
std::vector<unsigned char> scatteredBytes(size_t size, uint64_t seed) {
    std::vector<unsigned char> bytes(size);
    uint64_t state = seed * 2 + 1;
    for (unsigned char& byte : bytes) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        byte = static_cast<unsigned char>(state >> 56);
    }
    return bytes;
}

void addTags(const char* prefix, bool areBlocks, int count, int bytes) {
    auto& tags = framework().tags;
    for (int i = 0; i < count; ++i) {
        const auto size = static_cast<size_t>(bytes);
        tags.push_back({prefix + std::to_string(i), areBlocks, scatteredBytes(size, tags.size()),
                        std::vector<unsigned char>(areBlocks ? 0 : size), BlockParamDesc{}});
    }
}

bool wasPublished(const Tag& tag) {
    if (!tag.isBlock) return tag.published == tag.value;
    return tag.publishedBlock.size == tag.value.size() &&
           std::memcmp(tag.publishedBlock.data, tag.value.data(), tag.value.size()) == 0;
}

}  // namespace

Frame::Frame(const Shape& shape)
    : shape_(shape),
      image_(scatteredBytes(
          static_cast<size_t>(shape.width) * static_cast<size_t>(shape.height) * 3 / 2, 1)) {
    framework().tags.clear();
    addTags("BENCH_TAG_FIXED_VALUE_", false, shape.fixedCount, shape.fixedBytes);
    addTags("BENCH_TAG_BLOCK_", true, shape.blockCount, shape.blockBytes);
    framework().pixels.assign(image_.size(), 0);
}

int64_t Frame::bytes() const {
    return int64_t{shape_.fixedCount} * shape_.fixedBytes + blockBytes() +
           static_cast<int64_t>(image_.size());
}

std::vector<std::string> Frame::fileNames() const {
    std::vector<std::string> names;
    const auto join = [](std::initializer_list<int> numbers) {
        std::string text;
        for (const int number : numbers) text += "_" + std::to_string(number);
        return text;
    };
    for (const Tag& tag : framework().tags) {
        const int dumpType = tag.isBlock ? 1 : 0;
        names.push_back("FCPDT" + join({kSofId, kCamId, kPipe, dumpType}) + "_" + tag.name +
                        ".bin");
    }
    if (hasImage()) {
        names.push_back("FCWH" + join({kSofId, kCamId, shape_.width, shape_.height}) + "_nv21.yuv");
    }
    return names;
}

std::string Frame::configuration() {
    std::string text = "<dumpconfig>\n <common>\n";
    for (const Tag& tag : framework().tags) {
        text += "  <tag value=\"" + tag.name + "\"><pipe>" + kPipeName + "</pipe><dumpType>" +
                (tag.isBlock ? "1" : "0") + "</dumpType></tag>\n";
    }
    return text + " </common>\n</dumpconfig>\n";
}

void Frame::clearPublished() {
    for (Tag& tag : framework().tags) {
        std::fill(tag.published.begin(), tag.published.end(), static_cast<unsigned char>(0));
        tag.publishedBlock = {};
    }
    auto& pixels = framework().pixels;
    std::fill(pixels.begin(), pixels.end(), static_cast<unsigned char>(0));
}

void Frame::requirePublished(const char* side) const {
    for (const Tag& tag : framework().tags) {
        if (wasPublished(tag)) continue;
        throw std::runtime_error(std::string(side) + " did not publish " + tag.name + " whole");
    }
    if (framework().pixels != image_) {
        throw std::runtime_error(std::string(side) + " did not read the whole image");
    }
}
