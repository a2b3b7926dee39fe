// Every name of the dump tree: made here and read back here, nowhere else.
//
//   <root>/pipe<id>_dumpConfig.xml
//   <root>/pipe_<id>/<17-digit stamp>_task_<index>/<13-digit stamp>_reqID_<id>_sofID_<id>/
//       FCPDT_<sof>_<cam>_<pipe>_<dump type>_<tag name>.bin
//       FCWH_<sof>_<cam>_<width>_<height>_nv21.yuv
//
// Threads: any. Errors: the operations that return strings let std::bad_alloc through; those that
// read names never fail on what a name holds.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <sys/time.h>

/// The dump root on the device.
constexpr const char* kDumpRoot = "/data/vendor/cameraserver/tykdump";

/// What a parameter file holds, the fourth number of its name: the tag's fixed-size value, or the
/// block that the parameter-set service pointed to. Replay takes every number but 0 for a block.
constexpr int kFixedSizeDump = 0;
constexpr int kBlockDump = 1;

/// Folder of a pipe: root + "/pipe_" + id.
std::string pipeFolderPath(const char* root, int pipeId);

/// Dump configuration of a pipe: root + "/pipe" + id + "_dumpConfig.xml". No underscore before the
/// id, unlike the pipe's folder beside it: devices carry files of this name.
std::string configFilePath(const char* root, int pipeId);

/// Task folder in `pipeFolder`, stamped with the local time `now`. The stamp's year runs 90 years
/// ahead (2026 reads 2116): trees have been written that way from the start, and one year set right
/// would sort before all of them.
std::string taskFolderPath(const std::string& pipeFolder, const timeval& now, int taskIndex);

/// Frame folder in `taskFolder`, stamped with the local time `now` (no year).
std::string frameFolderPath(const std::string& taskFolder, const timeval& now, int reqId,
                            int sofId);

/// Image file in `frameFolder`; width and height in pixels.
std::string imageFilePath(const std::string& frameFolder, int sofId, int camId, int width,
                          int height);

/// A terminated path of bounded length; what does not fit is cut off.
using ParamFilePath = std::array<char, 1024>;

/// How parameter and image files' names begin.
constexpr std::string_view kParamFileStart = "FCPDT";
constexpr std::string_view kImageFileStart = "FCWH";

/// Parameter file in `frameFolder`. Allocates nothing.
void makeParamFilePath(ParamFilePath& path, std::string_view frameFolder, int sofId, int camId,
                       int pipe, int dumpType, std::string_view tagName);

/// What a parameter file's name says. `tagName` points into the name.
struct ParamFileName {
    int sofId;
    int camId;
    int pipe;
    int dumpType;
    std::string_view tagName;
};

/// Reads a parameter file's name. Returns false, `out` unchanged, for a name that does not begin
/// with "FCPDT" or lacks a piece. Underscores in the tag name belong to it; it ends at the first
/// dot.
bool readParamFileName(std::string_view name, ParamFileName& out);

/// What an image file's name says; pixels.
struct ImageFileName {
    int sofId;
    int camId;
    int width;
    int height;
};

/// Reads an image file's name. Returns false, `out` unchanged, for a name that does not end in
/// ".yuv" or lacks a piece. How it begins does not matter.
bool readImageFileName(std::string_view name, ImageFileName& out);

/// Whether an image file's name is one that imageFilePath() makes. readImageFileName() also takes
/// names that say of another pixel format, which a replay then reads as NV21 all the same.
bool namesNv21(std::string_view name);

// Readers of the folders' and the configuration's names. Unlike those above, which take what a
// replay takes, they accept exactly what the operations above make: "pipe_01" is not the folder of
// pipe 1. They take the bare name and return false, `out` unchanged, for any other.

bool readPipeFolderName(std::string_view name, int& pipeId);
bool readConfigFileName(std::string_view name, int& pipeId);

/// The local time in a folder's name, as its digits have it: whether there is such a time is not
/// looked at.
struct Stamp {
    int year;   ///< the real one, without the names' 90 years; 0 where the name has none
    int month;  ///< from 1
    int day;
    int hour;
    int minute;
    int second;
    int millisecond;
};

struct TaskFolderName {
    Stamp stamp;
    int taskIndex;
};

bool readTaskFolderName(std::string_view name, TaskFolderName& out);

/// The stamp has no year.
struct FrameFolderName {
    Stamp stamp;
    int requestId;
    int sofId;
};

bool readFrameFolderName(std::string_view name, FrameFolderName& out);

/// A decimal number as atoi() reads it, from a piece of a name; saturates where atoi() is
/// undefined.
int readNumber(std::string_view text);

/// Bytes of an NV21 image as 32-bit arithmetic has them: (width x height x 3) / 2, the product
/// wrapped to 32 bits as two's complement does. Negative where that is.
int nv21Bytes(int width, int height);
