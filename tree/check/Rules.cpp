#include "tree/check/Rules.h"

#include <iterator>

namespace tyktree {

namespace {

constexpr Severity kNote = Severity::kNote;
constexpr Severity kWarning = Severity::kWarning;
constexpr Severity kError = Severity::kError;

constexpr const char* kCopyAgain = "Copy the tree from the device again.";

// clang-format off
constexpr Rule kRules[] = {
    // folders
    {RuleId::kFolderUnlisted, kError, "folder-unlisted",
     "A folder cannot be listed, so its contents are unknown.",
     "Correct its permissions, or copy the tree again."},
    {RuleId::kEntryTypeUnknown, kError, "entry-type-unknown",
     "The file system does not tell folders from files in a listing; the library sees no frames.",
     "Copy the tree to another file system."},
    {RuleId::kLinkedFolder, kNote, "linked-folder",
     "A pipe's folder is a symbolic link; the check follows it, as the library does.", ""},
    {RuleId::kNotAFolder, kError, "not-a-folder",
     "An entry in the place of a pipe, task or frame folder is not a folder; a replay ignores it.",
     "Put the folder in its place."},
    {RuleId::kForeignFile, kNote, "foreign-file",
     "A file is foreign to a dump tree; in a frame, a replay with images takes it for an image of 0x0.",
     "Move it out of the tree."},
    {RuleId::kForeignFolder, kWarning, "foreign-folder",
     "A folder is foreign to a dump tree; a replay does not look into it.",
     "Move it out of the tree, or correct its name."},
    {RuleId::kNoFrames, kWarning, "no-frames",
     "A tree, pipe or task has no frames.", ""},
    {RuleId::kFrameEmpty, kWarning, "frame-empty",
     "A frame folder has no files.", kCopyAgain},
    {RuleId::kFrameName, kWarning, "frame-name",
     "A recording does not make a frame folder of this name; a replay accepts it.", ""},
    {RuleId::kFrameTorn, kWarning, "frame-torn",
     "The last frame of a task is incomplete, as after a recording that was killed.",
     "Remove the frame's folder if you do not need it; the frames before it are complete."},
    {RuleId::kFrameOrder, kWarning, "frame-order",
     "A frame's name sorts after that of a later request; a replay follows the names.",
     "The device's clock was set back, or a folder was renamed."},
    {RuleId::kFrameRepeated, kWarning, "frame-repeated",
     "Two frames of a task have the same request id and sof id; a replay publishes both.", ""},
    {RuleId::kSofRepeated, kWarning, "sof-repeated",
     "Frames of two requests have the same camera and sof id; a replay publishes both under this id.",
     "A folder was copied or renamed: an exposure belongs to one request."},
    {RuleId::kFrameIds, kWarning, "frame-ids",
     "Files of a frame have another sof id than its folder.",
     "The folder was renamed, or files of another frame lie in it."},
    {RuleId::kTaskName, kWarning, "task-name",
     "A folder with frames has a name that a recording does not give to a task.", ""},
    {RuleId::kNameTime, kWarning, "name-time",
     "The time in a task's or frame's name is impossible.",
     "A folder was renamed; a replay follows the names anyway."},
    // parameter files
    {RuleId::kParameterName, kError, "parameter-name",
     "A file's name begins like a parameter file's, but a recording does not make such a name.",
     "The format is FCPDT_<sof>_<camera>_<pipe type>_<dump type>_<tag>.bin."},
    {RuleId::kParameterEmpty, kError, "parameter-empty",
     "A parameter file has no bytes; a replay abandons the frame or skips the file.",
     "The block had no data when it was dumped, or the file was cut off later."},
    {RuleId::kParameterTooLarge, kError, "parameter-too-large",
     "A parameter file is too large for the library; sizes are signed 32-bit numbers.",
     ""},
    {RuleId::kParameterSize, kError, "parameter-size",
     "The size of a parameter file differs from its tag's size in the tag table.",
     "The file was cut or changed, or the table belongs to another device."},
    {RuleId::kParameterSizeVaries, kWarning, "parameter-size-varies",
     "The size of a fixed-size parameter differs from that in the task's other frames.",
     kCopyAgain},
    {RuleId::kParameterUnknownTag, kError, "parameter-unknown-tag",
     "A parameter's tag is not in the tag table; a replay does not publish its value.",
     "Give the device's own table with --tags."},
    {RuleId::kParameterDumpType, kError, "parameter-dump-type",
     "A parameter's dump type is neither 0 nor 1, or does not fit its tag's kind.",
     "Use 0 for tags of kind fixed, 1 for tags of kind block."},
    {RuleId::kParameterMissing, kWarning, "parameter-missing",
     "A parameter is missing that the task's other frames or the dump configuration have.",
     kCopyAgain},
    {RuleId::kParameterRepeated, kError, "parameter-repeated",
     "A frame has the same parameter twice; a replay publishes both, and the last one counts.",
     ""},
    // images
    {RuleId::kImageMissing, kWarning, "image-missing",
     "A frame has no image.", kCopyAgain},
    {RuleId::kImageShort, kError, "image-short",
     "An image is shorter than its size in pixels needs; a replay leaves the rest of the buffer.",
     kCopyAgain},
    {RuleId::kImageLong, kError, "image-long",
     "An image is longer than its size in pixels needs; a replay ignores the rest.", ""},
    {RuleId::kImageOdd, kNote, "image-odd",
     "An image has an odd width or height; a dump omits the end of its chroma.", ""},
    {RuleId::kImageRepeated, kError, "image-repeated",
     "A frame has several images; a replay uses the last one in the system's order.", ""},
    {RuleId::kImageName, kError, "image-name",
     "A file's name looks like an image's, but a recording does not make such a name.",
     "The format is FCWH_<sof>_<camera>_<width>_<height>_nv21.yuv."},
    {RuleId::kImageCamera, kWarning, "image-camera",
     "A frame's image has another camera than all of its parameters.",
     "The image was renamed, or belongs to another frame."},
    {RuleId::kImageSizeVaries, kNote, "image-size-varies",
     "The size of the images changes within a task.", ""},
    {RuleId::kImageUniform, kWarning, "image-uniform",
     "All pixels of an image have the same value.", "The buffer was probably never filled."},
    // scene record
    {RuleId::kSceneXml, kError, "scene-xml",
     "The scene record's XML cannot be read; a replay does not publish the record.", ""},
    {RuleId::kSceneXmlExtra, kWarning, "scene-xml-extra",
     "The scene record's XML has content outside its root element, or an element twice; a replay "
     "ignores it.",
     ""},
    {RuleId::kSceneFieldMissing, kError, "scene-field-missing",
     "The scene record's XML has no value for a field; a replay uses 0 or the raw block's value.",
     ""},
    {RuleId::kSceneFieldRange, kError, "scene-field-range",
     "A field of the scene record's XML is not a number of its type; a replay changes it.", ""},
    {RuleId::kSceneFileMissing, kWarning, "scene-file-missing",
     "One of the scene record's three files is missing.", kCopyAgain},
    {RuleId::kSceneBlockSize, kError, "scene-block-size",
     "A raw block of the scene record has the wrong size; a replay uses zeros instead.",
     kCopyAgain},
    {RuleId::kSceneEdited, kNote, "scene-edited",
     "A field of the scene record's XML was edited; a replay publishes the edited value.", ""},
    {RuleId::kSceneDisagrees, kWarning, "scene-disagrees",
     "The scene record's raw blocks differ from its parameter file.", ""},
    // other files
    {RuleId::kTuningCopyEmpty, kWarning, "tuning-copy-empty",
     "The copy of the tuning file is empty.",
     "The device found no tuning file of its version, or could not write the copy."},
    {RuleId::kTuningCopyMissing, kWarning, "tuning-copy-missing",
     "Frames have the table of tuning files, but the tree has no copy of the file.",
     kCopyAgain},
    {RuleId::kFileKind, kError, "file-kind",
     "An entry in the place of a file is a folder, a FIFO, a device or a broken link.", ""},
    {RuleId::kFileLinked, kNote, "file-linked",
     "A file is a symbolic link; the check follows it, as the library does.", ""},
    {RuleId::kFileUnreadable, kError, "file-unreadable",
     "A file cannot be read.", "Correct its permissions, or copy it again."},
    {RuleId::kTreeChanged, kWarning, "tree-changed",
     "The tree changed while it was read.",
     "Run the command again when no program writes into the tree."},
    // dump configuration
    {RuleId::kConfigXml, kError, "config-xml",
     "A dump configuration is not XML or cannot be read; only images are dumped.", ""},
    {RuleId::kConfigRoot, kError, "config-root",
     "A dump configuration has no element dumpconfig, or an empty one; only images are dumped.",
     ""},
    {RuleId::kConfigTag, kError, "config-tag",
     "A configured tag is not in the tag table; the library does not dump it and logs nothing.",
     ""},
    {RuleId::kConfigPipe, kError, "config-pipe",
     "A configured pipe type is missing or unknown; the library takes PREVIEW_TYPE and logs nothing.",
     ""},
    {RuleId::kConfigFilterCase, kWarning, "config-filter-case",
     "The element sofid has no effect; the filter's name is sofID.", "Write sofID."},
    {RuleId::kConfigAttribute, kError, "config-attribute",
     "A tag's name is in the wrong attribute, so the entry names no tag.",
     "Use the attribute value below common, and name below a node."},
    {RuleId::kConfigDumpType, kError, "config-dump-type",
     "A dump type is missing, is neither 0 nor 1, or does not fit its tag's kind.",
     "Use 0 for tags of kind fixed, 1 for tags of kind block."},
    {RuleId::kConfigElement, kWarning, "config-element",
     "An element with another name is read as an entry, or an element is not read at all.", ""},
    {RuleId::kConfigRepeated, kWarning, "config-repeated",
     "Two entries write the same file.", "Remove one of them."},
    {RuleId::kConfigTooLarge, kError, "config-too-large",
     "A configured tag is too large for the library, which does not dump it.", ""},
    {RuleId::kConfigMissing, kNote, "config-missing",
     "A pipe has no dump configuration; missing files show only by comparison with other frames.",
     "Copy the whole dump root from the device."},
    // tag table
    {RuleId::kTagOpaque, kNote, "tag-opaque",
     "The tag table has no fields for a tag, so its values are only bytes.",
     "Describe the tag's structure with <field> elements."},
    {RuleId::kTableForm, kError, "table-form",
     "A tag table contains something that is not part of the format; every verb refuses it.", ""},
    {RuleId::kTableFieldBeyond, kError, "table-field-beyond",
     "A field ends after its tag's value; every verb refuses the table.",
     "The tag's size or the field belongs to another build."},
    {RuleId::kTableRepeated, kError, "table-repeated",
     "Two parts of a tag table have the same name or id; every verb refuses the table.", ""},
    {RuleId::kTableVersion, kWarning, "table-version",
     "A tag table has parts that only later versions of the program know; they are ignored.", ""},
    {RuleId::kTableVersionLow, kNote, "table-version-low",
     "A tag table has parts of a later version than that in its element <tags>.",
     "The attribute version of <tags> tells which programs can read the table."},
    {RuleId::kTableShadowed, kWarning, "table-shadowed",
     "A field has the name of another field's element; the name then means the field.", ""},
    {RuleId::kTableOverlap, kNote, "table-overlap",
     "Fields of a tag share bytes, as the members of a union do.", ""},
    {RuleId::kTableGap, kNote, "table-gap",
     "Some bytes of a tag lie in no field, as padding does.", ""},
    {RuleId::kTableEnumRange, kWarning, "table-enum-range",
     "A field cannot hold some of the numbers of its enum.", ""},
    {RuleId::kTableEnumUnused, kNote, "table-enum-unused",
     "No field uses an enum.", ""},
    // a replay or a recording
    {RuleId::kReplayAbandoned, kError, "replay-abandoned",
     "The library abandoned a frame.", ""},
    {RuleId::kReplayFailure, kError, "replay-failure",
     "The library reported a failure while it replayed a frame.", ""},
    {RuleId::kReplayLost, kError, "replay-lost",
     "A value or image of a frame did not arrive in a replay.", ""},
    {RuleId::kReplayDifferent, kError, "replay-different",
     "A value or image of a frame arrived changed in a replay.", ""},
    {RuleId::kRecordInput, kError, "record-input",
     "The input of a recording ends in the middle, or cannot be read any further.",
     "Make the video or the file of pictures again; the frames before it are recorded."},
    {RuleId::kRecordFailure, kError, "record-failure",
     "The library reported a failure while it recorded a frame.", ""},
    {RuleId::kRecordIncomplete, kError, "record-incomplete",
     "A file of a recorded frame is missing, or has another size or content.", ""},
};
// clang-format on

constexpr bool idsAreIndices() {
    size_t index = 0;
    for (const Rule& rule : kRules) {
        if (static_cast<size_t>(rule.id) != index++) return false;
    }
    return index == static_cast<size_t>(RuleId::kRecordIncomplete) + 1;
}
static_assert(idsAreIndices(), "the table is indexed by rule id");

}  // namespace

std::string_view nameOf(Severity severity) {
    switch (severity) {
        case Severity::kError:
            return "error";
        case Severity::kWarning:
            return "warning";
        case Severity::kNote:
            break;
    }
    return "note";
}

RuleTable rules() {
    return {std::begin(kRules), std::end(kRules)};
}

const Rule& ruleOf(RuleId id) {
    return kRules[static_cast<size_t>(id)];
}

}  // namespace tyktree
