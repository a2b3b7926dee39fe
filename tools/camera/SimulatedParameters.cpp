#include "tools/camera/SimulatedParameters.h"

#include "core/Limits.h"
#include "core/Unaligned.h"
#include "records/MfnrTuning.h"
#include "tags/FieldCodec.h"
#include "tools/camera/DefaultSetup.h"
#include "tools/console/Console.h"
#include "tools/files/Bytes.h"
#include "tree/read/SceneRecord.h"

#include <climits>

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace tyksim {

namespace {

using tyktags::TagEntry;
using tyktags::TagKind;
using Bytes = std::vector<uint8_t>;

/// Fills `bytes` with pseudo-random data that depend only on the tag and the frame.
void fillWithNoise(uint32_t tag, int number, Bytes& bytes) {
    uint32_t state = (tag * 2654435761U) ^ (static_cast<uint32_t>(number) * 40503U) ^ 0x9e3779b9U;
    for (uint8_t& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<uint8_t>(state >> 24);
    }
}

Bytes noise(uint32_t tag, int number, size_t size) {
    Bytes bytes(size);
    fillWithNoise(tag, number, bytes);
    return bytes;
}

/// A ratio that oscillates around 1 over the frames.
float swing(int number, int phase) {
    return 1.0F + static_cast<float>((number + phase) % 16 - 8) / 100.0F;
}

Bytes exposureTime(const SimulatedFrame& frame) {
    return packed(frame.exposureNs);
}

Bytes sensitivity(const SimulatedFrame& frame) {
    return packed(frame.iso);
}

Bytes exposureBias(const SimulatedFrame& frame) {
    return packed(frame.biasEv);
}

Bytes whiteBalance(const SimulatedFrame& frame) {
    return packed(1.9F * swing(frame.number, 0), 1.0F, 1.0F, 1.6F * swing(frame.number, 5));
}

Bytes focusPosition(const SimulatedFrame& frame) {
    return packed(200 + frame.number % 400);
}

Bytes colourMatrix(const SimulatedFrame& frame) {
    const float gain = 1.6F * swing(frame.number, 3);
    const float rest = (1.0F - gain) / 2.0F;
    return packed(gain, rest, rest, rest, gain, rest, rest, rest, gain);
}

Bytes blackLevel(const SimulatedFrame&) {
    return packed(64U, 64U, 64U, 64U);
}

/// For each of the four channels the variance per unit of signal and the constant variance; both
/// grow with gain.
Bytes noiseProfile(const SimulatedFrame& frame) {
    const auto gain = static_cast<float>(frame.iso) / 100.0F;
    Bytes bytes;
    for (int channel = 0; channel < 4; ++channel) {
        const Bytes pair = packed(2.0e-5F * gain, 1.0e-7F * gain * gain);
        bytes.insert(bytes.end(), pair.begin(), pair.end());
    }
    return bytes;
}

/// A face that wanders to the right, found by the accurate detector, and none now and then.
Bytes faceRegions(const SimulatedFrame& frame) {
    const int step = frame.number % 8;
    if (step == 7) return packed(0);
    const int left = frame.width * step / 16;
    const int top = frame.height / 4;
    return packed(1, 1, 0, 0, left, top, left + frame.width / 4, top + frame.height / 3);
}

Bytes streamSize(const SimulatedFrame& frame) {
    return packed(frame.width, frame.height);
}

Bytes streamQuality(const SimulatedFrame& frame) {
    return packed(static_cast<uint8_t>(90 + frame.number % 8));
}

/// A power curve whose exponent depends on the frame's number.
Bytes curve(const SimulatedFrame& frame, size_t size) {
    Bytes bytes(size);
    const size_t points = size / 2;
    for (size_t i = 0; i < points; ++i) {
        const size_t value = i * static_cast<size_t>(900 + frame.number % 124) / points;
        storeBits(bytes, 2 * i, 2, value);
    }
    return bytes;
}

Bytes gammaCurve(const SimulatedFrame& frame) {
    return curve(frame, 2048);
}

Bytes toneCurve(const SimulatedFrame& frame) {
    return curve(frame, 4096);
}

/// The scene record: named fields have values, the other bytes are noise.
Bytes sceneRecord(const SimulatedFrame& frame) {
    tyktree::SceneRecord record;
    const Bytes rest = noise(kSceneTag, frame.number, record.bytes.size());
    std::copy(rest.begin(), rest.end(), record.bytes.begin());
    const auto set = [&record](const std::string& path, auto value) {
        std::string number;
        if constexpr (std::is_same_v<decltype(value), float>) {
            number = tyktags::toText(tyktags::Value(static_cast<double>(value)));
        } else {
            number = fmt::to_string(value);
        }
        // This cannot fail: exposure values are finite and gains are clamped.
        static_cast<void>(setSceneField(*tyktree::findSceneField(path), number, record));
    };
    const int normal = 3 + frame.number % 3;
    for (const std::string level : {"cap_info/", "cap_info/detect_out/"}) {
        set(level + "postproc_type", 1 + frame.number % 4);
        set(level + "normal_num", normal);
        set(level + "total_num", normal + 2);
    }
    set("cap_info/detect_out/hdr_detect_out/ev0", frame.biasEv);
    set("cap_info/detect_out/hdr_detect_out/ev1", frame.biasEv - 2.0F);
    set("cap_info/detect_out/hdr_detect_out/ev2", frame.biasEv + 1.5F);
    set("threeA_info/ae_info/cur_ev", frame.biasEv);
    // A gain of 1 is 1024 and corresponds to ISO 100.
    set("threeA_info/ae_info/total_gain",
        std::min<uint64_t>(uint64_t{frame.iso} * 1024 / 100, INT_MAX));
    set("threeA_info/ae_info/exp_time", frame.exposureNs);
    const int left = frame.width * (frame.number % 8) / 16;
    const int top = frame.height * (frame.number % 8) / 16;
    set("threeA_info/af_info/af_roi_regoin/sx", left);
    set("threeA_info/af_info/af_roi_regoin/sy", top);
    set("threeA_info/af_info/af_roi_regoin/ex", left + frame.width / 4);
    set("threeA_info/af_info/af_roi_regoin/ey", top + frame.height / 4);
    return {record.bytes.begin(), record.bytes.end()};
}

Bytes tuningNames(const SimulatedFrame&) {
    Bytes table(kMfnrTableBytes);
    size_t at = 0;
    for (const TuningFile& file : tuningFiles()) {
        std::memcpy(table.data() + at, file.name, std::strlen(file.name));
        at += kMfnrNameBytes;
    }
    return table;
}

/// The functions that make the values of known tags; all other values are noise.
struct Maker {
    const char* tagName;
    Bytes (*make)(const SimulatedFrame&);
};

constexpr Maker kMakers[] = {
    {"KELV_TAG_EXPOSURE_TIME", exposureTime},   {"KELV_TAG_SENSITIVITY", sensitivity},
    {"KELV_TAG_EXPOSURE_BIAS", exposureBias},   {"KELV_TAG_WB_GAINS", whiteBalance},
    {"KELV_TAG_FOCUS_POSITION", focusPosition}, {"KELV_TAG_COLOR_MATRIX", colourMatrix},
    {"KELV_TAG_STREAM_SIZE", streamSize},       {"KELV_TAG_GAMMA_CURVE", gammaCurve},
    {"KELV_TAG_TONE_CURVE", toneCurve},         {"KELV_TAG_BLACK_LEVEL", blackLevel},
    {"KELV_TAG_NOISE_PROFILE", noiseProfile},   {"KELV_TAG_FACE_REGIONS", faceRegions},
    {"KELV_TAG_STREAM_QUALITY", streamQuality},
};

Bytes fixedValue(const TagEntry& tag, const SimulatedFrame& frame) {
    if (tag.id == kSceneTag) return sceneRecord(frame);
    if (tag.id == kMfnrTag) return tuningNames(frame);
    for (const Maker& maker : kMakers) {
        if (tag.name == maker.tagName) return maker.make(frame);
    }
    return noise(tag.id, frame.number, static_cast<size_t>(tag.size));
}

/// Stores `value` at `at`, where a block holds a number of that size, and moves behind it.
template <typename Number>
void put(Bytes& block, size_t& at, Number value) {
    storeNumber(block.data() + at, value);
    at += sizeof(Number);
}

/// Gains that rise towards the corners, of each of the four channels.
void makeShading(const SimulatedFrame& frame, Bytes& block) {
    size_t at = 0;
    for (uint32_t channel = 0; channel < 4; ++channel) {
        for (uint32_t row = 0; row < kShadingRows; ++row) {
            for (uint32_t column = 0; column < kShadingColumns; ++column) {
                const auto y = static_cast<int>(2 * row) - static_cast<int>(kShadingRows);
                const auto x = static_cast<int>(2 * column) - static_cast<int>(kShadingColumns);
                const int gain = 1024 + (x * x + y * y) * 2 + static_cast<int>(channel) * 16;
                put(block, at, static_cast<uint16_t>(gain + frame.number % 8));
            }
        }
    }
}

/// Histograms with a peak that wanders, and the brightness of zones.
void makeStatistics(const SimulatedFrame& frame, Bytes& block) {
    size_t at = 0;
    const int peak = 96 + frame.number % 64;
    for (int channel = 0; channel < 4; ++channel) {
        for (int bin = 0; bin < static_cast<int>(kHistogramBins); ++bin) {
            const int distance = bin - peak - 4 * channel;
            put(block, at, static_cast<uint32_t>(1000000 / (16 + distance * distance)));
        }
    }
    for (uint32_t zone = 0; zone < kZoneRows * kZoneColumns; ++zone) {
        put(block, at, static_cast<uint16_t>((zone / kZoneColumns + zone % kZoneColumns) * 8));
    }
}

/// A hand that trembles a little.
void makeGyro(const SimulatedFrame& frame, Bytes& block) {
    constexpr uint64_t kPeriod = 175000;  // of a frame at 30 Hz there are 190
    size_t at = 0;
    put(block, at, kGyroSamples);
    put(block, at, 0U);
    put(block, at, static_cast<uint64_t>(frame.number) * kPeriod * kGyroSamples);
    put(block, at, kPeriod);
    for (int sample = 0; sample < static_cast<int>(kGyroSamples); ++sample) {
        for (int axis = 0; axis < 3; ++axis) {
            const int phase = (sample + 7 * axis + frame.number) % 32 - 16;
            put(block, at, static_cast<float>(phase) / 1000.0F);
        }
    }
}

/// What begins the blocks of the tags that the tool knows; the rest, and all others, are noise.
struct BlockMaker {
    const char* tagName;
    int32_t size;  ///< of the tag
    void (*make)(const SimulatedFrame&, Bytes&);
};

constexpr BlockMaker kBlockMakers[] = {
    {"KELV_TAG_LENS_SHADING_MAP", 64 * 1024, makeShading},
    {"KELV_TAG_EXPOSURE_STATISTICS", 128 * 1024, makeStatistics},
    {"KELV_TAG_GYRO_SAMPLES", 4096, makeGyro},
};

/// Fills a block of the right size. If the user's table gives the tag another size, the parts do
/// not fit, and the whole block is noise.
void fillBlock(const TagEntry& tag, const SimulatedFrame& frame, Bytes& block) {
    fillWithNoise(tag.id, frame.number, block);
    for (const BlockMaker& maker : kBlockMakers) {
        if (tag.name == maker.tagName && tag.size == maker.size) maker.make(frame, block);
    }
}

/// Blocks shrink by a sixteenth per frame to a little over half, and start again.
size_t blockSize(const TagEntry& tag, int number) {
    const auto usual = static_cast<size_t>(tag.size);
    return std::max<size_t>(1, usual - usual / 16 * static_cast<size_t>(number % 8));
}

}  // namespace

ExifFacts overlaid(const ExifFacts& given, const ExifFacts& photo) {
    ExifFacts facts = photo;
    if (given.exposureNs) facts.exposureNs = given.exposureNs;
    if (given.iso) facts.iso = given.iso;
    if (given.biasEv) facts.biasEv = given.biasEv;
    return facts;
}

SimulatedFrame makeSimulatedFrame(int number, int width, int height, const ExifFacts& given) {
    const auto step = static_cast<unsigned int>(number % 8);
    return {number,
            width,
            height,
            given.exposureNs.value_or(10000000 + uint64_t{step} * 1250000),
            given.iso.value_or(100 + step * 50),
            given.biasEv.value_or(static_cast<float>(number % 5 - 2) / 2.0F)};
}

SimulatedParameters::SimulatedParameters(std::vector<TagEntry> tags, std::set<uint32_t> cameras)
    : tags_(std::move(tags)), cameras_(std::move(cameras)) {}

void SimulatedParameters::set(const SimulatedFrame& frame, const GivenValues* given) {
    for (const TagEntry& tag : tags_) {
        const bool isGiven = given && given->gives(tag.id);
        if (tag.kind == TagKind::block) {
            Bytes& block = blocks_[tag.id];
            block.resize(static_cast<size_t>(tag.size));
            fillBlock(tag, frame, block);
            // A table of values does not have a block's length. The block has its simulated length,
            // or more if a given value needs more.
            const size_t end = isGiven ? given->set(tag.id, block) : 0;
            block.resize(std::max(blockSize(tag, frame.number), end));
            setBlock(tag, block);
            continue;
        }
        if (tag.size > kMaxFixedBytes) continue;
        Bytes value = fixedValue(tag, frame);
        if (isGiven) {
            value.resize(static_cast<size_t>(tag.size));
            given->set(tag.id, value);
        }
        // The service pads or cuts a fixed-size value to the size of its tag.
        sizes_[tag.id] = static_cast<uint64_t>(tag.size);
        for (const uint32_t camera : cameras_) {
            if (tykhost::setLiveValue(camera, tag.id, value.data(), value.size())) continue;
            throw Failure(
                fmt::format("tag {}: the parameter-set service takes no value", tag.name));
        }
    }
}

void SimulatedParameters::setBlock(const TagEntry& tag, const Bytes& block) {
    sizes_[tag.id] = block.size();
    // The library only reads a block, but the descriptor has no const.
    const BlockParamDesc descriptor{const_cast<uint8_t*>(block.data()),
                                    static_cast<uint32_t>(block.size())};
    for (const uint32_t camera : cameras_) {
        if (tykhost::setLiveBlock(camera, tag.id, descriptor)) continue;
        throw Failure(fmt::format("tag {}: the parameter-set service takes no block", tag.name));
    }
}

std::optional<uint64_t> SimulatedParameters::size(uint32_t tag) const {
    const auto found = sizes_.find(tag);
    if (found == sizes_.end()) return std::nullopt;
    return found->second;
}

}  // namespace tyksim
