// Whether a frame was dumped completely.
//
// The library tells nobody about a write that failed, so that a full disk never holds up the
// camera; who needs the files must look at them.
#pragma once

#include "core/PipelineSimulation.h"
#include "tools/Console.h"
#include "tools/LiveValues.h"

#include <cstdint>
#include <string>

namespace tyksim {

/// Looks after each frame whether the files that the dump list promises are there.
class DumpCheck {
public:
    /// The references must outlive the object.
    DumpCheck(PipelineSimulation& simulation, const LiveValues& values, Findings& findings);

    /// Checks the frame that was dumped last; what is missing or short becomes a finding.
    void checkFrame(const PipelineSimulation::imageInfo& frame);

    uint64_t files() const { return files_; }  ///< complete files so far
    uint64_t bytes() const { return bytes_; }  ///< bytes in them

private:
    void checkParameters(const PipelineSimulation::imageInfo& frame);
    void checkScene();
    void checkTuning();
    void checkFile(const std::string& devicePath, uint64_t expected);
    void count(uint64_t bytes);

    PipelineSimulation& simulation_;
    const LiveValues& values_;
    Findings& findings_;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

}  // namespace tyksim
