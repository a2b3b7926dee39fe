// The files of a frame folder as the library takes them.
#pragma once

#include "core/PipelineSimulation.h"
#include "tools/Console.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// The two ways to replay a frame folder.
enum class Entry { frame, folder };

/// Largest fixed-size value that the library carries, bytes.
constexpr uint64_t kMaxFixedBytes = 512000;

struct FrameFile {
    enum class Kind { parameter, image, other };

    std::string name;
    Kind kind = Kind::other;
    uint64_t size = 0;                      ///< bytes; 0 when it cannot be asked
    PipelineSimulation::tagInfo tag{};      ///< of a parameter file
    PipelineSimulation::imageInfo image{};  ///< of an image file; all 0 for another one
};

/// A frame folder about to be replayed.
struct FrameFolder {
    std::string name;
    std::string path;
    std::vector<FrameFile> files;  ///< in the order in which the library lists them
};

/// Lists a frame folder through the library.
FrameFolder listFrameFolder(PipelineSimulation& simulation, const std::string& task,
                            const std::string& name);

/// Bytes of an image as its name says; 0 when the numbers make none.
uint64_t imageBytes(const PipelineSimulation::imageInfo& image);

/// Whether a parameter file has a size that the library does not replay.
bool hasImpossibleSize(const FrameFile& file);

/// Whether `entry` hands this parameter file on to the parameter-set service.
bool isReplayed(const FrameFile& file, Entry entry);

/// Adds what can be told without a replay: no files, names that lack pieces, images whose size is
/// not the one in their name, and parameter files that `entry` passes over.
void inspectFrame(const FrameFolder& frame, Entry entry, bool images, Findings& findings);

}  // namespace tyksim
