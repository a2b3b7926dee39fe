// The tags that the library itself writes or reads by id, with their names for trees without a tag
// table. Constants, for any thread.
#pragma once

#include "records/MfnrTuning.h"
#include "records/SceneLayout.h"
#include "replay/FixedOverrides.h"

#include <cstdint>

namespace tyktags {

/// A fixed-size tag with a place in the library.
struct KnownTag {
    const char* name;
    uint32_t id;
    int32_t size;  ///< bytes
};

constexpr KnownTag kKnownTags[] = {
    {kSceneTagName, kSceneTag, kSceneRecordBytes},
    {"KELV_TAG_MFNR_XML_LIST", kMfnrTag, static_cast<int32_t>(kMfnrTableBytes)},
    {"KELV_TAG_STREAM_SIZE", kOverrideSizeTag, static_cast<int32_t>(sizeof(kOverrideSize))},
    {"KELV_TAG_STREAM_QUALITY", kOverrideByteTag, static_cast<int32_t>(sizeof(kOverrideByte))},
};

}  // namespace tyktags
