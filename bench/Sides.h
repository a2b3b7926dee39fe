// The compared sides: the library and the two floors.
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

    /// Makes a frame folder in this side's folder, and writes the frame into it.
    virtual void dump() = 0;

    /// Prepares to replay the one frame folder below `task`.
    virtual void openTask(const std::string& task) = 0;

    /// Replays that frame once.
    virtual void replay() = 0;
};

/// The library, through its exported interface. Uses the default object, because the manager makes
/// no device folder for it, with its public fields set to `work`.
class LibrarySide : public Side {
public:
    /// Prepares to dump `frame` to the folder `name` in `work`, with a configuration beside it.
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

/// The floor: the system calls that the frame's files need, from and to resident memory. Names and
/// tags are prepared; nothing is parsed, looked up or logged.
class FloorSide : public Side {
public:
    /// Prepares to dump `frame` to the folder `name` in `work`. Opens files by their full paths, or
    /// if `byName` relative to a descriptor of their folder.
    FloorSide(Frame& frame, const WorkFolder& work, const char* name, bool byName);
    ~FloorSide() override;

    void dump() override;
    void openTask(const std::string& task) override;
    void replay() override;

private:
    /// The file of a tag; the file after that of the last tag is the image.
    struct File {
        std::string name;  ///< passed to open()
        size_t tag;
    };

    void addFile(const std::string& name, size_t tag);
    void writeFile(int folder, const File& file);
    void readFile(int folder, const File& file, std::vector<void*>& blocks);
    void retireOldest();

    Frame& frame_;
    const bool byName_;
    std::string frameFolder_;
    std::vector<File> files_;  ///< in the order of the tags, or of the folder's listing
    std::vector<unsigned char> resident_;
    std::deque<std::vector<void*>> alive_;  ///< blocks by frame, oldest first
};

/// The results of one measurement by round; empty if it did not run.
struct Comparison {
    std::vector<double> toFullPath;  ///< the library's time over that of the floor by full path
    std::vector<double> toByName;    ///< over that of the floor by name
    std::vector<double> seconds;     ///< the library's, per frame
};

/// Checks once that all sides do the same, byte for byte, then runs one round per iteration of
/// `state`: every side in turn and in reverse, the next round beginning with the next side, so that
/// a drift of the machine affects all alike. Removes dumps outside the measured time. Errors:
/// std::runtime_error.
Comparison compareSides(benchmark::State& state, const WorkFolder& folder, const Shape& shape,
                        Direction direction);

/// The duration of `step` in seconds. In a tmpfs folder this is the processor time of the thread,
/// which does not include other load of the machine (nor time in which the library sleeps). In
/// another folder it is the elapsed time.
double secondsOf(const WorkFolder& folder, const std::function<void()>& step);
