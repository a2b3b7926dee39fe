// The rules for trees and dump configurations. Help, documentation and output all come from this
// table. Threads: any.
#pragma once

#include <cstdint>
#include <string_view>

namespace tyktree {

/// How serious a finding is.
enum class Severity : uint8_t {
    kNote,     ///< no data is lost
    kWarning,  ///< data is likely missing
    kError,    ///< a replay loses or changes data
};

/// "note", "warning", "error".
std::string_view nameOf(Severity severity);

// The identifiers, in the order of the table in Rules.cpp (which static_asserts it).
enum class RuleId : uint8_t {
    // folders
    kFolderUnlisted,
    kEntryTypeUnknown,
    kLinkedFolder,
    kNotAFolder,
    kForeignFile,
    kForeignFolder,
    kNoFrames,
    kFrameEmpty,
    kFrameName,
    kFrameTorn,
    kFrameOrder,
    kFrameRepeated,
    kSofRepeated,
    kFrameIds,
    kTaskName,
    kNameTime,
    // parameter files
    kParameterName,
    kParameterEmpty,
    kParameterTooLarge,
    kParameterSize,
    kParameterSizeVaries,
    kParameterUnknownTag,
    kParameterDumpType,
    kParameterMissing,
    kParameterRepeated,
    // images
    kImageMissing,
    kImageShort,
    kImageLong,
    kImageOdd,
    kImageRepeated,
    kImageName,
    kImageCamera,
    kImageSizeVaries,
    kImageUniform,
    // scene record
    kSceneXml,
    kSceneXmlExtra,
    kSceneFieldMissing,
    kSceneFieldRange,
    kSceneFileMissing,
    kSceneBlockSize,
    kSceneEdited,
    kSceneDisagrees,
    // other files
    kTuningCopyEmpty,
    kTuningCopyMissing,
    kFileKind,
    kFileLinked,
    kFileUnreadable,
    kTreeChanged,
    // dump configuration
    kConfigXml,
    kConfigRoot,
    kConfigTag,
    kConfigPipe,
    kConfigFilterCase,
    kConfigAttribute,
    kConfigDumpType,
    kConfigElement,
    kConfigRepeated,
    kConfigTooLarge,
    kConfigMissing,
    // tag table
    kTagOpaque,
    kTableForm,
    kTableFieldBeyond,
    kTableRepeated,
    kTableVersion,
    kTableVersionLow,
    kTableShadowed,
    kTableOverlap,
    kTableGap,
    kTableEnumRange,
    kTableEnumUnused,
    // a replay or a recording
    kReplayAbandoned,
    kReplayFailure,
    kReplayLost,
    kReplayDifferent,
    kRecordInput,
    kRecordFailure,
    kRecordIncomplete,
};

struct Rule {
    RuleId id;
    Severity severity;
    std::string_view name;     ///< stable identifier for scripts, e.g. "image-short"
    std::string_view summary;  ///< one sentence: what is wrong
    std::string_view hint;     ///< one sentence: what to do about it; may be ""
};

/// Every rule, in the order of RuleId.
struct RuleTable {
    const Rule* first;
    const Rule* last;
    const Rule* begin() const { return first; }
    const Rule* end() const { return last; }
};
RuleTable rules();

const Rule& ruleOf(RuleId id);

}  // namespace tyktree
