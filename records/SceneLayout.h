// The scene-detection record, the value of tag 2118: 8512 bytes, little-endian, shared with the
// pipeline. The library knows the fields and blocks below. It does not dump the other bytes, and a
// replay sets them to zero.
#pragma once

#include "core/FieldType.h"

#include <cstdint>
#include <string_view>

constexpr uint32_t kSceneTag = 2118;
constexpr const char* kSceneTagName = "KELV_TAG_ISCENE_INFO";
constexpr int kSceneRecordBytes = 8512;

/// Pipe type on which a dump entry of kSceneTag writes the record's files.
constexpr int kScenePipe = 1;

/// What replay does with a field whose parent element is missing: it stores zero, or keeps the
/// value from the raw block.
enum class SceneDefault { kZero, kKeep };

/// One field of the XML file: a single number.
struct SceneField {
    int offset;  ///< in the record, bytes
    FieldType type;
    SceneDefault missing;
    const char* path;  ///< element below "iSceneInfo"; the last piece holds the value

    constexpr int width() const { return static_cast<int>(bytesOf(type)); }  ///< bytes

    /// The path of the element that holds the value's element.
    constexpr std::string_view parentPath() const {
        return std::string_view(path).substr(0, std::string_view(path).rfind('/'));
    }

    /// The name of the value's element.
    constexpr std::string_view leafName() const {
        return std::string_view(path).substr(std::string_view(path).rfind('/') + 1);
    }
};

/// The named fields in document order.
///
/// Detection has total before normal (520, 524) and the capture has normal before total (404, 408);
/// the three exposure values lie in the detection block, not in the HDR block whose element names
/// them; and the AF region's name is misspelled in every file. All of this is part of the format.
inline constexpr SceneField kSceneFields[] = {
    // clang-format off
    {528, FieldType::f32, SceneDefault::kKeep, "cap_info/detect_out/hdr_detect_out/ev0"},
    {532, FieldType::f32, SceneDefault::kKeep, "cap_info/detect_out/hdr_detect_out/ev1"},
    {536, FieldType::f32, SceneDefault::kKeep, "cap_info/detect_out/hdr_detect_out/ev2"},
    {464, FieldType::u32, SceneDefault::kZero, "cap_info/detect_out/postproc_type"},
    {524, FieldType::i32, SceneDefault::kZero, "cap_info/detect_out/normal_num"},
    {520, FieldType::i32, SceneDefault::kZero, "cap_info/detect_out/total_num"},
    {400, FieldType::u32, SceneDefault::kZero, "cap_info/postproc_type"},
    {404, FieldType::i32, SceneDefault::kZero, "cap_info/normal_num"},
    {408, FieldType::i32, SceneDefault::kZero, "cap_info/total_num"},
    {7060, FieldType::f32, SceneDefault::kZero, "threeA_info/ae_info/cur_ev"},
    {7132, FieldType::u32, SceneDefault::kZero, "threeA_info/ae_info/total_gain"},
    {7160, FieldType::u64, SceneDefault::kZero, "threeA_info/ae_info/exp_time"},
    {8452, FieldType::u32, SceneDefault::kZero, "threeA_info/af_info/af_roi_regoin/sx"},
    {8456, FieldType::u32, SceneDefault::kZero, "threeA_info/af_info/af_roi_regoin/sy"},
    {8460, FieldType::u32, SceneDefault::kZero, "threeA_info/af_info/af_roi_regoin/ex"},
    {8464, FieldType::u32, SceneDefault::kZero, "threeA_info/af_info/af_roi_regoin/ey"},
    // clang-format on
};

/// One part of the record that has a raw file of its own.
struct SceneBlock {
    int offset;  ///< in the record, bytes
    int bytes;
    const char* fileName;
};

/// The raw blocks, in the order in which they are written and read.
inline constexpr SceneBlock kSceneBlocks[] = {
    {5368, 824, "ISCENE_CAP_INFO_HDR_DETECT_OUT.bin"},
    {464, 4904, "ISCENE_CAP_INFO_DETECT_OUT.bin"},
};

constexpr const char* kSceneXmlName = "iSceneInfo.xml";
constexpr const char* kSceneRootName = "iSceneInfo";  ///< the XML's document element

/// How many fields keep the value from the raw block: the exposure values.
constexpr int kSceneExposures = 3;

constexpr bool isSceneType(FieldType type) {
    return type == FieldType::u32 || type == FieldType::i32 || type == FieldType::f32 ||
           type == FieldType::u64;
}

constexpr bool sceneLayoutFits() {
    int exposures = 0;
    for (const SceneField& field : kSceneFields) {
        if (!isSceneType(field.type) || field.offset < 0) return false;
        if (field.offset + field.width() > kSceneRecordBytes) return false;
        if (field.missing == SceneDefault::kZero) continue;
        if (field.type != FieldType::f32) return false;
        ++exposures;
    }
    for (const SceneBlock& block : kSceneBlocks) {
        if (block.offset < 0 || block.offset + block.bytes > kSceneRecordBytes) return false;
    }
    return exposures == kSceneExposures;
}
static_assert(sceneLayoutFits(), "the record has a place for every field and block");
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the record is little-endian");
