// Whether a frame was dumped completely.
//
// The library tells nobody about a write that failed, so that a full disk never holds up the
// camera; who needs the files must look at them.
#pragma once

#include "core/PipelineSimulation.h"
#include "tree/check/Finding.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tyksim {

/// Bytes of the value that an entry of the dump list finds in the parameter-set service; none for
/// one that the library does not carry.
using DumpedSize = std::function<std::optional<uint64_t>(const PipelineSimulation::tagInfo& entry)>;

/// Looks after each frame whether the files that the dump list promises are there.
class DumpCheck {
public:
    /// The references must outlive the object, and so must what `sizeOf` refers to.
    DumpCheck(PipelineSimulation& simulation, DumpedSize sizeOf, tyktree::FindingSink& findings);

    /// Leaves out the tuning copy, for a recording that sees to it itself.
    void leaveTuningOut() { tuningIsChecked_ = false; }

    /// Checks the frame that was dumped last; what is missing or short becomes a finding with the
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
    bool tuningLacks_ = false;  ///< the copy of the tuning file was missing once
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

/// Why a file or folder of a recording is not there, or lacks `lacking` bytes: in the system's
/// words, as far as room, permissions and limits tell. Nothing is written for it.
std::string reasonFor(const std::string& path, uint64_t lacking);

}  // namespace tyksim
