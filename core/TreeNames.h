// Every name of the dump tree: made here, and read here as a replay reads it.
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

/// How far the year in a task folder's stamp runs ahead: 2026 reads 2116. Trees have been written
/// that way from the start, and one year set right would sort before all of them.
constexpr int kStampYearsAhead = 90;

/// Task folder in `pipeFolder`, stamped with the local time `now`.
std::string taskFolderPath(const std::string& pipeFolder, const timeval& now, int taskIndex);

/// Frame folder in `taskFolder`, stamped with the local time `now` (no year).
std::string frameFolderPath(const std::string& taskFolder, const timeval& now, int reqId,
                            int sofId);

/// Image file in `frameFolder`; width and height in pixels.
std::string imageFilePath(const std::string& frameFolder, int sofId, int camId, int width,
                          int height);

/// A terminated path of bounded length; what does not fit is cut off.
using ParamFilePath = std::array<char, 1024>;

/// How parameter files' names begin.
constexpr std::string_view kParamFileStart = "FCPDT";

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

/// A decimal number as atoi() reads it, from a piece of a name; saturates where atoi() is
/// undefined.
int readNumber(std::string_view text);

/// Bytes of an NV21 image as 32-bit arithmetic has them: (width x height x 3) / 2, the product
/// wrapped to 32 bits as two's complement does. Negative where that is.
int nv21Bytes(int width, int height);
