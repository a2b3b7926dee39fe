// The tags that the library treats by themselves, as its clients see them.
#pragma once

#include <cstdint>

namespace tyksim {

constexpr uint32_t kSceneTag = 2118;  ///< scene-detection record
constexpr const char* kSceneTagName = "KELV_TAG_ISCENE_INFO";
constexpr int32_t kSceneRecordBytes = 8512;

constexpr uint32_t kMfnrTag = 65622;  ///< table of tuning file names
constexpr const char* kMfnrTagName = "KELV_TAG_MFNR_XML_LIST";
constexpr int32_t kMfnrNameBytes = 128;
constexpr int32_t kMfnrNames = 32;
constexpr int32_t kMfnrTableBytes = kMfnrNames * kMfnrNameBytes;

constexpr uint32_t kStreamSizeTag = 8208;     ///< two 32-bit numbers; a folder replay sets it
constexpr uint32_t kStreamQualityTag = 8198;  ///< one byte; a folder replay sets it

/// Pipe on which the scene record is dumped, and in whose folder the tuning file lies.
constexpr int kSnapshotPipe = 1;

}  // namespace tyksim
