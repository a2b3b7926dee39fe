// The two that are compared: the library, and the floor below it.
#pragma once

#include "bench/Frame.h"
#include "core/PipelineSimulation.h"

#include <deque>
#include <string>
#include <vector>

/// Dumps and replays one frame. Errors: std::runtime_error from every operation.
class Side {
public:
    Side() = default;
    virtual ~Side() = default;
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;

    virtual const char* name() const = 0;

    /// Makes a frame folder in the folder this side dumps to, and writes the frame into it.
    virtual void dump() = 0;

    /// The folder that dump() made last.
    virtual std::string dumpedFolder() const = 0;

    /// Prepares to replay the one frame folder below `task`.
    virtual void openTask(const std::string& task) = 0;

    /// Replays that frame, once more each time; eleven frames stay alive.
    virtual void replay() = 0;
};

/// The library, through its exported interface. Works on the default object, the only one for which
/// the manager touches no folder of the device's, with its public fields turned to `folder`.
class LibrarySide : public Side {
public:
    /// Will dump `frame` to `folder`, by a configuration that is written beside it.
    LibrarySide(Frame& frame, const std::string& folder);
    ~LibrarySide() override;

    PipelineSimulation& simulation() { return simulation_; }
    const char* name() const override { return "the library"; }
    void dump() override;
    std::string dumpedFolder() const override { return simulation_.currentFramePath; }
    void openTask(const std::string& task) override;
    void replay() override;

private:
    void forgetAll();

    Frame& frame_;
    PipelineSimulation& simulation_;
};

/// The floor: the system calls that the frame's files need, from and into memory that is there. All
/// names are made beforehand, tags are known by heart, nothing is parsed, looked up or logged.
class FloorSide : public Side {
public:
    /// Will dump `frame` to `folder`.
    FloorSide(Frame& frame, const std::string& folder);
    ~FloorSide() override;

    const char* name() const override { return "the floor"; }
    void dump() override;
    std::string dumpedFolder() const override { return frameFolder_; }
    void openTask(const std::string& task) override;
    void replay() override;

private:
    /// The file of a tag, or behind the last tag that of the image.
    struct File {
        std::string path;
        size_t tag;
    };

    void retireOldest();
    void readParam(const File& file, int descriptor, size_t size, std::vector<void*>& blocks);

    Frame& frame_;
    std::string frameFolder_;
    std::string replayFolder_;
    std::vector<File> toWrite_;  ///< in the order of the tags
    std::vector<File> toRead_;   ///< in the order in which the folder lists them
    std::vector<unsigned char> resident_;
    std::deque<std::vector<void*>> alive_;  ///< blocks by frame, oldest first
};
