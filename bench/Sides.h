// What is compared: the library, and the two floors below it.
#pragma once

#include "bench/Frame.h"
#include "bench/Run.h"
#include "core/PipelineSimulation.h"

#include <deque>
#include <string>
#include <vector>

enum class Direction { kDump, kReplay };

/// Replayed frames whose blocks stay in memory, as the library keeps them for the pipeline.
constexpr size_t kFramesAlive = 11;

/// Dumps and replays one frame. Errors: std::runtime_error from every operation.
class Side {
public:
    Side() = default;
    virtual ~Side() = default;
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;

    /// Makes a frame folder in the folder this side dumps to, and writes the frame into it.
    virtual void dump() = 0;

    /// Prepares to replay the one frame folder below `task`.
    virtual void openTask(const std::string& task) = 0;

    /// Replays that frame, once more each time.
    virtual void replay() = 0;
};

/// The library, through its exported interface. Works on the default object, the only one for which
/// the manager touches no folder of the device's, with its public fields turned to `work`.
class LibrarySide : public Side {
public:
    /// Will dump `frame` to the folder `name` in `work`, by a configuration beside it.
    LibrarySide(Frame& frame, const WorkFolder& work, const char* name);
    ~LibrarySide() override { forgetAll(); }

    PipelineSimulation& simulation() { return simulation_; }
    void dump() override;
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
    /// Will dump `frame` to the folder `name` in `work`. Opens files by their full paths, or
    /// `byName` relative to a descriptor of their folder.
    FloorSide(Frame& frame, const WorkFolder& work, const char* name, bool byName);
    ~FloorSide() override;

    void dump() override;
    void openTask(const std::string& task) override;
    void replay() override;

private:
    /// The file of a tag, or behind the last tag that of the image.
    struct File {
        std::string name;  ///< as it is opened
        size_t tag;
    };

    void addFile(const std::string& name, size_t tag);
    void writeFile(int folder, const File& file);
    void readFile(int folder, const File& file, std::vector<void*>& blocks);
    void retireOldest();

    Frame& frame_;
    const bool byName_;
    std::string frameFolder_;
    std::vector<File> files_;  ///< in the order of the tags, or in which the folder lists them
    std::vector<unsigned char> resident_;
    std::deque<std::vector<void*>> alive_;  ///< blocks by frame, oldest first
};

/// What the rounds of one measurement gave; no round: it was not run.
struct Comparison {
    std::vector<double> toFullPath;  ///< the library's time over that of the floor by full path
    std::vector<double> toByName;    ///< over that of the floor by name
    std::vector<double> seconds;     ///< the library's, per frame
};

/// Checks once that all sides do the same, byte for byte, then runs one round per iteration of
/// `state`: every side in turn and back again, the next round beginning with the next side, so that
/// a drift of the machine hits all alike. What was dumped is removed outside the measured time.
/// Errors: std::runtime_error.
Comparison compareSides(benchmark::State& state, const WorkFolder& folder, const Shape& shape,
                        Direction direction);

/// Seconds that `step` takes. Files in memory cost nothing but processor time, so in a tmpfs folder
/// this is the processor time of the thread: what else the machine is busy with does not show in
/// it, nor would a library that slept. In another folder it is the time that passes.
double secondsOf(const WorkFolder& folder, const std::function<void()>& step);
