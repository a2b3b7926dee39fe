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
     "A folder cannot be listed, so nothing is known of what is in it.",
     "Mend its permissions, or copy the tree again."},
    {RuleId::kEntryTypeUnknown, kError, "entry-type-unknown",
     "The file system does not tell folders from files in a listing; the library sees no frames.",
     "Copy the tree to another file system."},
    {RuleId::kLinkedFolder, kNote, "linked-folder",
     "A pipe's folder is a symbolic link; it is followed, as the library follows it.", ""},
    {RuleId::kNotAFolder, kError, "not-a-folder",
     "Where a pipe, task or frame folder belongs stands something else, which a replay leaves out.",
     "Put the folder itself there."},
    {RuleId::kForeignFile, kNote, "foreign-file",
     "A file is no part of a dump tree; in a frame, a replay of images takes it for one of 0x0.",
     "Move it out of the tree."},
    {RuleId::kForeignFolder, kWarning, "foreign-folder",
     "A folder is no part of a dump tree, and no replay looks into it.",
     "Move it out of the tree, or give it the name that it should have."},
    {RuleId::kNoFrames, kWarning, "no-frames",
     "A tree, pipe or task has no frames.", ""},
    {RuleId::kFrameEmpty, kWarning, "frame-empty",
     "A frame folder has no files.", kCopyAgain},
    {RuleId::kFrameName, kWarning, "frame-name",
     "A frame folder's name is none that a recording makes; a replay takes it all the same.", ""},
    {RuleId::kFrameTorn, kWarning, "frame-torn",
     "The last frame of a task breaks off, as it does when the recording is killed.",
     "Remove the frame's folder if it is in the way; the frames before it are not concerned."},
    {RuleId::kFrameOrder, kWarning, "frame-order",
     "A frame's name sorts behind one of a later request; a replay follows the names.",
     "The device's clock was set back, or a folder was renamed."},
    {RuleId::kFrameRepeated, kWarning, "frame-repeated",
     "Two frames of a task have the same request id and sof id; a replay publishes both.", ""},
    {RuleId::kSofRepeated, kWarning, "sof-repeated",
     "Frames of two requests have the same camera and sof id; a replay publishes both under it.",
     "A folder was copied or renamed: an exposure belongs to one request."},
    {RuleId::kFrameIds, kWarning, "frame-ids",
     "Files of a frame bear another sof id than its folder.",
     "The folder was renamed, or files of another frame lie in it."},
    {RuleId::kTaskName, kWarning, "task-name",
     "A folder with frames in it has a name that no recording gives to a task.", ""},
    {RuleId::kNameTime, kWarning, "name-time",
     "A task's or frame's name has a time that no calendar or clock shows.",
     "A folder was renamed; a replay follows the names all the same."},
    // parameter files
    {RuleId::kParameterName, kError, "parameter-name",
     "A file begins like a parameter file and has another name than a recording would give it.",
     "The form is FCPDT_<sof>_<camera>_<pipe type>_<dump type>_<tag>.bin."},
    {RuleId::kParameterEmpty, kError, "parameter-empty",
     "A parameter file has no bytes; a replay abandons the frame or passes over the file.",
     "An empty file is written for a block that had no data, or was cut off later."},
    {RuleId::kParameterTooLarge, kError, "parameter-too-large",
     "A parameter file is larger than the library carries; sizes count as signed 32-bit numbers.",
     ""},
    {RuleId::kParameterSize, kError, "parameter-size",
     "A parameter file has another size than the tag table gives its tag.",
     "The file was cut or changed, or the table is another device's."},
    {RuleId::kParameterSizeVaries, kWarning, "parameter-size-varies",
     "A fixed-size parameter has another size than in the task's other frames.", kCopyAgain},
    {RuleId::kParameterUnknownTag, kError, "parameter-unknown-tag",
     "The tag table does not have a parameter's tag; its value is not replayed.",
     "Give the device's own table with --tags."},
    {RuleId::kParameterDumpType, kError, "parameter-dump-type",
     "A parameter's dump type is neither 0 nor 1, or not the one of its tag's kind.",
     "0 is for tags of kind fixed, 1 for tags of kind block."},
    {RuleId::kParameterMissing, kWarning, "parameter-missing",
     "A parameter is missing that the task's other frames have or the dump configuration names.",
     kCopyAgain},
    {RuleId::kParameterRepeated, kError, "parameter-repeated",
     "A frame has the same parameter twice; of a replay's two values the one listed last stays.",
     ""},
    // images
    {RuleId::kImageMissing, kWarning, "image-missing",
     "A frame has no image.", kCopyAgain},
    {RuleId::kImageShort, kError, "image-short",
     "An image has fewer bytes than its size in pixels takes; a replay leaves the rest as it was.",
     kCopyAgain},
    {RuleId::kImageLong, kError, "image-long",
     "An image has more bytes than its size in pixels takes; a replay leaves them out.", ""},
    {RuleId::kImageOdd, kNote, "image-odd",
     "An image has an odd side; a dump leaves out the last of its chroma.", ""},
    {RuleId::kImageRepeated, kError, "image-repeated",
     "A frame has several images; a replay hands on the one that is listed last.", ""},
    {RuleId::kImageName, kError, "image-name",
     "A file looks like an image and has another name than a recording would give it.",
     "The form is FCWH_<sof>_<camera>_<width>_<height>_nv21.yuv."},
    {RuleId::kImageCamera, kWarning, "image-camera",
     "A frame's image is of a camera that none of its parameters is of.",
     "The image was renamed, or lies in another frame's folder."},
    {RuleId::kImageSizeVaries, kNote, "image-size-varies",
     "The images' size in pixels changes within a task.", ""},
    {RuleId::kImageUniform, kWarning, "image-uniform",
     "All pixels of an image have one single value.", "The buffer was probably never filled."},
    // scene record
    {RuleId::kSceneXml, kError, "scene-xml",
     "The scene record's XML cannot be read; a replay does not publish the record.", ""},
    {RuleId::kSceneXmlExtra, kWarning, "scene-xml-extra",
     "The scene record's XML has something outside its root element, or an element twice; a replay "
     "passes over it.",
     ""},
    {RuleId::kSceneFieldMissing, kError, "scene-field-missing",
     "The scene record's XML lacks a field, which is replayed as 0 or as the raw block has it.",
     ""},
    {RuleId::kSceneFieldRange, kError, "scene-field-range",
     "A field of the scene record's XML is no number of its type; a replay changes it.", ""},
    {RuleId::kSceneFileMissing, kWarning, "scene-file-missing",
     "One of the scene record's three files is missing.", kCopyAgain},
    {RuleId::kSceneBlockSize, kError, "scene-block-size",
     "A raw block of the scene record has the wrong size; a replay takes zeros in its place.",
     kCopyAgain},
    {RuleId::kSceneEdited, kNote, "scene-edited",
     "A field of the scene record's XML was edited; the edited value is replayed.", ""},
    {RuleId::kSceneDisagrees, kWarning, "scene-disagrees",
     "The scene record's raw blocks and its parameter file disagree.", ""},
    // other files
    {RuleId::kTuningCopyEmpty, kWarning, "tuning-copy-empty",
     "The copy of the tuning file is empty.",
     "The device found no tuning file of its version, or could not write the copy."},
    {RuleId::kTuningCopyMissing, kWarning, "tuning-copy-missing",
     "Frames carry the table of tuning files and no copy of the file lies in the tree.",
     kCopyAgain},
    {RuleId::kFileKind, kError, "file-kind",
     "Where a file belongs stands a folder, a FIFO, a device or a link that leads nowhere.", ""},
    {RuleId::kFileLinked, kNote, "file-linked",
     "A file is a symbolic link; it is followed, as the library follows it.", ""},
    {RuleId::kFileUnreadable, kError, "file-unreadable",
     "A file cannot be read.", "Mend its permissions, or copy it again."},
    {RuleId::kTreeChanged, kWarning, "tree-changed",
     "The tree changed while it was read.", "Run it again when nothing writes into the tree."},
    // dump configuration
    {RuleId::kConfigXml, kError, "config-xml",
     "A dump configuration is no XML or cannot be read; nothing is dumped but images.", ""},
    {RuleId::kConfigRoot, kError, "config-root",
     "A dump configuration has no element dumpconfig, or nothing in it; only images are dumped.",
     ""},
    {RuleId::kConfigTag, kError, "config-tag",
     "A configured tag is not in the tag table; it is silently not dumped.", ""},
    {RuleId::kConfigPipe, kError, "config-pipe",
     "A configured pipe type is missing or unknown, which silently means PREVIEW_TYPE.", ""},
    {RuleId::kConfigFilterCase, kWarning, "config-filter-case",
     "The element sofid does nothing; the filter's name is sofID.", "Write sofID."},
    {RuleId::kConfigAttribute, kError, "config-attribute",
     "A tag's name stands in the wrong attribute, so that the entry names no tag.",
     "The attribute is value below common, and name below a node."},
    {RuleId::kConfigDumpType, kError, "config-dump-type",
     "A dump type is missing, is neither 0 nor 1, or is not the one of its tag's kind.",
     "0 is for tags of kind fixed, 1 for tags of kind block."},
    {RuleId::kConfigElement, kWarning, "config-element",
     "An element is read as an entry although its name is another, or is not read at all.", ""},
    {RuleId::kConfigRepeated, kWarning, "config-repeated",
     "Two entries write the same file.", "Remove one of them."},
    {RuleId::kConfigTooLarge, kError, "config-too-large",
     "A configured tag is larger than the library carries; it is not dumped.", ""},
    {RuleId::kConfigMissing, kNote, "config-missing",
     "A pipe has no dump configuration beside it, so that only other frames tell what is missing.",
     "Copy the whole dump root from the device."},
    // a replay or a recording
    {RuleId::kReplayAbandoned, kError, "replay-abandoned",
     "The library abandoned a frame.", ""},
    {RuleId::kReplayFailure, kError, "replay-failure",
     "The library reported a failure while it replayed a frame.", ""},
    {RuleId::kReplayLost, kError, "replay-lost",
     "What a frame holds did not arrive in a replay.", ""},
    {RuleId::kReplayDifferent, kError, "replay-different",
     "What a frame holds arrived changed in a replay.", ""},
    {RuleId::kRecordFailure, kError, "record-failure",
     "The library reported a failure while it recorded a frame.", ""},
    {RuleId::kRecordIncomplete, kError, "record-incomplete",
     "A recorded frame lacks a file, or has one of another size or content.", ""},
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
