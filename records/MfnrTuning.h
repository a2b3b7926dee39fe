// The multi-frame noise-reduction (MFNR) stage's tuning file, named by tag 65622.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t kMfnrTag = 65622;

/// The tag's value: a table of file names, ended by an empty one.
constexpr int kMfnrNames = 32;
constexpr size_t kMfnrNameBytes = 128;
constexpr size_t kMfnrTableBytes = kMfnrNames * kMfnrNameBytes;
static_assert(kMfnrTableBytes == 4096, "the table is shared with the pipeline");

/// What an MFNR version looks for in the table, and what the copy of the file it finds is called.
struct MfnrVersion {
    int number;
    const char* key;
    const char* copyName;
};

/// The system property with the version that the device runs, and the version where it is unset.
constexpr const char* kMfnrVersionProperty = "persist.vendor.cam.mfnr.version";
constexpr const char* kMfnrDefaultVersion = "5";

/// The copy of every version that is not in the table, and the name replayed where there is none.
constexpr const char* kMfnrDefaultCopyName = "mfnr5.2.xml";

constexpr MfnrVersion kMfnrVersions[] = {
    {3, "mfnr3", "mfnr3.xml"}, {4, "mfnr4", "mfnr4.xml"}, {5, "mfnr5.2", kMfnrDefaultCopyName}};

/// Where the table's names lie on the device.
constexpr const char* kFirmwareFolder = "/vendor/firmware/";

/// The pipe whose folder holds the copy, whichever pipe dumps: there is one tuning for all of them.
constexpr int kMfnrCopyPipe = 1;

/// A file of that folder is taken for the copy when its name contains this.
constexpr const char* kMfnrCopyMark = "mfnr";

/// What a replay puts before the copy's name.
constexpr const char* kMfnrReplayPrefix = "tyksimulation/";
