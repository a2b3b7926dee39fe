// The multi-frame noise-reduction (MFNR) stage's tuning file, named by tag 65622.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr uint32_t kMfnrTag = 65622;

/// The tag's value: a table of file names; an empty name ends it.
constexpr int kMfnrNames = 32;
constexpr size_t kMfnrNameBytes = 128;
constexpr size_t kMfnrTableBytes = kMfnrNames * kMfnrNameBytes;
static_assert(kMfnrTableBytes == 4096, "the table is shared with the pipeline");

/// The key that an MFNR version searches the table for, and the name of the copy of the file found.
struct MfnrVersion {
    int number;
    const char* key;
    const char* copyName;
};

/// The system property that holds the device's MFNR version, and its default.
constexpr const char* kMfnrVersionProperty = "persist.vendor.cam.mfnr.version";
constexpr const char* kMfnrDefaultVersion = "5";

/// The copy's name for every version that kMfnrVersions does not list, and the name that a replay
/// publishes when the tree has no copy.
constexpr const char* kMfnrDefaultCopyName = "mfnr5.2.xml";

constexpr MfnrVersion kMfnrVersions[] = {
    {3, "mfnr3", "mfnr3.xml"}, {4, "mfnr4", "mfnr4.xml"}, {5, "mfnr5.2", kMfnrDefaultCopyName}};

/// The folder of the table's files on the device.
constexpr const char* kFirmwareFolder = "/vendor/firmware/";

/// The pipe whose folder holds the copy, whichever pipe dumps: all pipes share one tuning.
constexpr int kMfnrCopyPipe = 1;

/// Whether a file of that folder is taken for the copy.
inline bool isMfnrCopyName(std::string_view name) {
    return name.find("mfnr") != std::string_view::npos;
}

/// A replay puts this before the copy's name.
constexpr const char* kMfnrReplayPrefix = "tyksimulation/";
