// Makes every name of the dump tree, and reads these names as a replay does.
//
//   <root>/pipe<id>_dumpConfig.xml
//   <root>/pipe_<id>/<17-digit stamp>_task_<index>/<13-digit stamp>_reqID_<id>_sofID_<id>/
//       FCPDT_<sof>_<cam>_<pipe>_<dump type>_<tag name>.bin
//       FCWH_<sof>_<cam>_<width>_<height>_nv21.yuv
//
// Threads: any. Errors: the operations that return strings throw std::bad_alloc; those that read
// names do not throw, whatever a name contains.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <sys/time.h>

/// The dump root on the device.
constexpr const char* kDumpRoot = "/data/vendor/cameraserver/tykdump";

/// The content of a parameter file, told by the fourth number of its name: the tag's fixed-size
/// value, or the block to which the parameter-set service pointed. Replay takes every number but 0
/// for a block.
constexpr int kFixedSizeDump = 0;
constexpr int kBlockDump = 1;

/// Folder of a pipe: root + "/pipe_" + id.
std::string pipeFolderPath(const char* root, int pipeId);

/// Dump configuration of a pipe: root + "/pipe" + id + "_dumpConfig.xml". Unlike the pipe's folder
/// it has no underscore before the id: devices hold files of this name.
std::string configFilePath(const char* root, int pipeId);

/// How far the year in a task folder's stamp runs ahead: 2026 reads 2116. All trees are written
/// this way, and a folder with the right year would sort before all others.
constexpr int kStampYearsAhead = 90;

/// Task folder in `pipeFolder`, stamped with the local time `now`.
std::string taskFolderPath(const std::string& pipeFolder, const timeval& now, int taskIndex);

/// Frame folder in `taskFolder`, stamped with the local time `now` (no year).
std::string frameFolderPath(const std::string& taskFolder, const timeval& now, int reqId,
                            int sofId);

/// Image file in `frameFolder`; width and height in pixels.
std::string imageFilePath(const std::string& frameFolder, int sofId, int camId, int width,
                          int height);

/// A terminated path of bounded length; a longer path is cut.
using ParamFilePath = std::array<char, 1024>;

/// Begins every parameter file's name.
constexpr std::string_view kParamFileStart = "FCPDT";

/// Parameter file in `frameFolder`. Allocates nothing.
void makeParamFilePath(ParamFilePath& path, std::string_view frameFolder, int sofId, int camId,
                       int pipe, int dumpType, std::string_view tagName);

/// The pieces of a parameter file's name. `tagName` points into the name.
struct ParamFileName {
    int sofId;
    int camId;
    int pipe;
    int dumpType;
    std::string_view tagName;
};

/// Reads a parameter file's name. Returns false, `out` unchanged, for a name that does not begin
/// with "FCPDT" or has too few pieces. The tag name may contain underscores; it ends at the first
/// dot.
bool readParamFileName(std::string_view name, ParamFileName& out);

/// The pieces of an image file's name; sizes in pixels.
struct ImageFileName {
    int sofId;
    int camId;
    int width;
    int height;
};

/// Reads an image file's name. Returns false, `out` unchanged, for a name that does not end in
/// ".yuv" or has too few pieces. It may begin with any text.
bool readImageFileName(std::string_view name, ImageFileName& out);

/// Reads a decimal number from a piece of a name as atoi() does; saturates where atoi() is
/// undefined.
int readNumber(std::string_view text);

/// Bytes of an NV21 image in 32-bit arithmetic: (width x height x 3) / 2, with the product wrapped
/// to 32 bits in two's complement. The result may be negative.
int nv21Bytes(int width, int height);
