// The scene-detection record as the camera's stages lay it out: the fields that have names, and the
// two blocks that are kept whole.
//
// The tool knows the record from outside, like any other client, and so its check of a replay does
// not lean on what it checks.
#pragma once

#include "tools/WellKnownTags.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

enum class SceneFieldType { kUnsigned, kSigned, kFloat, kUnsigned64 };

/// A named field; little-endian.
struct SceneField {
    size_t offset;
    SceneFieldType type;
    const char* path;  ///< its element in iSceneInfo.xml, below the root

    constexpr size_t bytes() const { return type == SceneFieldType::kUnsigned64 ? 8 : 4; }
};

constexpr SceneField kSceneFields[] = {
    {400, SceneFieldType::kUnsigned, "cap_info/postproc_type"},
    {404, SceneFieldType::kSigned, "cap_info/normal_num"},
    {408, SceneFieldType::kSigned, "cap_info/total_num"},
    {464, SceneFieldType::kUnsigned, "cap_info/detect_out/postproc_type"},
    {520, SceneFieldType::kSigned, "cap_info/detect_out/total_num"},
    {524, SceneFieldType::kSigned, "cap_info/detect_out/normal_num"},
    {528, SceneFieldType::kFloat, "cap_info/detect_out/hdr_detect_out/ev0"},
    {532, SceneFieldType::kFloat, "cap_info/detect_out/hdr_detect_out/ev1"},
    {536, SceneFieldType::kFloat, "cap_info/detect_out/hdr_detect_out/ev2"},
    {7060, SceneFieldType::kFloat, "threeA_info/ae_info/cur_ev"},
    {7132, SceneFieldType::kUnsigned, "threeA_info/ae_info/total_gain"},
    {7160, SceneFieldType::kUnsigned64, "threeA_info/ae_info/exp_time"},
    {8452, SceneFieldType::kUnsigned, "threeA_info/af_info/af_roi_regoin/sx"},
    {8456, SceneFieldType::kUnsigned, "threeA_info/af_info/af_roi_regoin/sy"},
    {8460, SceneFieldType::kUnsigned, "threeA_info/af_info/af_roi_regoin/ex"},
    {8464, SceneFieldType::kUnsigned, "threeA_info/af_info/af_roi_regoin/ey"},
};

/// A block that is dumped as a file of its own.
struct SceneBlock {
    size_t offset;
    size_t bytes;
    const char* fileName;
};

constexpr SceneBlock kSceneBlocks[] = {
    {464, 4904, "ISCENE_CAP_INFO_DETECT_OUT.bin"},
    {5368, 824, "ISCENE_CAP_INFO_HDR_DETECT_OUT.bin"},
};

constexpr const char* kSceneXmlName = "iSceneInfo.xml";

/// The value of `field` in `record`, which holds kSceneRecordBytes bytes, as the XML shows it.
std::string sceneValue(const SceneField& field, const std::vector<uint8_t>& record);

/// Stores a field's value, given as the bits of a number of the field's type, in `record`, which
/// holds kSceneRecordBytes bytes. `path` must be that of a named field.
void setSceneField(std::vector<uint8_t>& record, std::string_view path, uint64_t bits);

}  // namespace tyksim
