// Checks whether a frame was dumped completely.
//
// The library does not report a failed write, so that a full disk does not delay the camera.
// Programs that need the files must check them.
#pragma once

#include "core/PipelineSimulation.h"
#include "tree/check/Finding.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tyksim {

/// The size in bytes of the value for an entry of the dump list; none if the library does not dump
/// it.
using DumpedSize = std::function<std::optional<uint64_t>(const PipelineSimulation::tagInfo& entry)>;

/// Checks after each frame whether the files of the dump list exist. One thread at a time uses an
/// object.
class DumpCheck {
public:
    /// The references, and the objects to which `sizeOf` refers, must outlive the object.
    DumpCheck(PipelineSimulation& simulation, DumpedSize sizeOf, tyktree::FindingSink& findings);

    /// Does not check the tuning copy, for a recording that handles it itself.
    void leaveTuningOut() { tuningIsChecked_ = false; }

    /// Checks the frame that was dumped last; a missing or short file becomes a finding with the
    /// system's reason. `position` counts frames from 1.
    void checkFrame(const PipelineSimulation::imageInfo& frame, uint32_t position);

    uint64_t files() const { return files_; }  ///< complete files so far
    uint64_t bytes() const { return bytes_; }  ///< bytes in them

private:
    void checkParameters(const PipelineSimulation::imageInfo& frame);
    void checkScene();
    void checkTuning();
    void checkFile(const std::string& devicePath, uint64_t expected);
    void report(const std::string& path, const std::string& expected, const std::string& found,
                uint64_t lacking);
    void count(uint64_t bytes);

    PipelineSimulation& simulation_;
    const DumpedSize sizeOf_;
    tyktree::FindingSink& findings_;
    uint32_t position_ = 0;
    bool tuningIsChecked_ = true;
    bool tuningLacks_ = false;  ///< the tuning copy was missing once
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

/// The system's reason why a file or folder of a recording is missing, or is `lacking` bytes too
/// short, as far as free space, permissions and limits tell. Writes nothing.
std::string reasonFor(const std::string& path, uint64_t lacking);

}  // namespace tyksim
