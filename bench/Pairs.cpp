#include "bench/Pairs.h"

#include "bench/Sides.h"

namespace {

constexpr int kFramesAlive = 11;

/// Both sides with a folder each, gone with what is in them at the end.
class Contest {
public:
    Contest(const WorkFolder& folder, const Shape& shape, Direction direction)
        : frame_(shape),
          ownFolder_(folder.path()),
          // Names of one length: the system's work on a path grows with it.
          library_(frame_, makeSubfolder("library")),
          floor_(frame_, makeSubfolder("syscall")),
          direction_(direction) {
        folder.requireRoom(frame_.bytes() * 5 / 2 + (int64_t{8} << 20));
        if (direction == Direction::kDump) {
            checkDumps();
        } else {
            checkReplays();
        }
        double ignored[2];
        runRound(true, ignored[0], ignored[1]);  // warms up
    }

    /// Two frames of each side: the first, the second twice, the first again; seconds.
    void runRound(bool libraryFirst, double& library, double& floor) {
        library = 0;
        floor = 0;
        for (const bool isSecond : {false, true, true, false}) {
            if (isSecond == libraryFirst) {
                floor += run(floor_);
            } else {
                library += run(library_);
            }
        }
    }

private:
    /// One frame of one side; seconds.
    double run(Side& side) {
        if (direction_ == Direction::kReplay) {
            return secondsOf(ownFolder_, [&side] { side.replay(); });
        }
        const double seconds = secondsOf(ownFolder_, [&side] { side.dump(); });
        removeDump(side);
        return seconds;
    }

    std::string makeSubfolder(const char* name) {
        const std::string path = ownFolder_.path() + "/" + name;
        makeFolder(path);
        return path;
    }

    void removeDump(const Side& side) {
        removeFolder(side.dumpedFolder(), static_cast<uintmax_t>(frame_.fileCount()) + 1);
    }

    void checkDumps() {
        library_.dump();
        floor_.dump();
        requireSameFiles(library_.dumpedFolder(), floor_.dumpedFolder());
        removeDump(library_);
        removeDump(floor_);
    }

    /// Leaves the frames alive that each side is to keep.
    void checkReplays() {
        floor_.dump();
        const std::string task = ownFolder_.path() + "/syscall";
        for (Side* const side : {static_cast<Side*>(&library_), static_cast<Side*>(&floor_)}) {
            side->openTask(task);
            Frame::clearPublished();
            side->replay();
            frame_.requirePublished(side->name());
            for (int i = 0; i < kFramesAlive; ++i) side->replay();
        }
    }

    Frame frame_;
    WorkFolder ownFolder_;
    LibrarySide library_;
    FloorSide floor_;
    Direction direction_;
};

}  // namespace

PairResult measurePairs(benchmark::State& state, const WorkFolder& folder, const Shape& shape,
                        Direction direction) {
    Contest contest(folder, shape, direction);
    std::vector<double> ratios;
    std::vector<double> seconds;
    for ([[maybe_unused]] const auto& iteration : state) {
        double library = 0;
        double floor = 0;
        contest.runRound(ratios.size() % 2 == 0, library, floor);
        ratios.push_back(library / floor);
        seconds.push_back(library / 2);
        state.SetIterationTime(library / 2);
    }
    const PairResult result{static_cast<int>(ratios.size()), quantile(ratios, 0.5),
                            quantile(ratios, 0.25), quantile(ratios, 0.75), quantile(seconds, 0.5)};
    state.counters["ratio"] = result.ratio;
    state.counters["ratio_25"] = result.lowerQuartile;
    state.counters["ratio_75"] = result.upperQuartile;
    return result;
}
