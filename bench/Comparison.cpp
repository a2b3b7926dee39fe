#include "bench/Sides.h"

#include <array>
#include <ctime>

namespace {

constexpr size_t kSides = 3;
using Seconds = std::array<double, kSides>;

// All names have the same length, because the system's work on a path grows with it.
constexpr std::array<const char*, kSides> kNames{"library", "by-path", "by-name"};

/// The sides, each with a folder, which is removed at the end.
class Contest {
public:
    Contest(const WorkFolder& folder, const Shape& shape, Direction direction)
        : frame_(shape),
          own_(folder.path(), shape.bytes() * 7 / 2 + (int64_t{8} << 20)),
          library_(frame_, own_, kNames[0]),
          byPath_(frame_, own_, kNames[1], false),
          byName_(frame_, own_, kNames[2], true),
          direction_(direction) {
        if (direction == Direction::kDump) {
            checkDumps();
        } else {
            checkReplays();
        }
        runRound(0);  // warms up
    }

    /// Two frames of each side, in turn from `first` on and then in reverse.
    Seconds runRound(size_t first) {
        Seconds seconds{};
        for (const size_t step : {0U, 1U, 2U, 2U, 1U, 0U}) {
            const size_t at = (first + step) % kSides;
            Side& side = *sides_[at];
            if (direction_ == Direction::kReplay) {
                seconds[at] += secondsOf(own_, [&side] { side.replay(); });
            } else {
                seconds[at] += secondsOf(own_, [&side] { side.dump(); });
                removeDump(at);
            }
        }
        return seconds;
    }

private:
    /// Removes a side's dump: its folder, the frame's folder and the files.
    void removeDump(size_t side) {
        own_.remove(kNames[side], frame_.shape.files() + 2);
        own_.make(kNames[side]);
    }

    void checkDumps() {
        for (Side* const side : sides_) side->dump();
        own_.run("diff -r library/* by-path/*; diff -r library/* by-name/*");
        for (size_t i = 0; i < kSides; ++i) removeDump(i);
    }

    /// Checks the replays and leaves the frames alive that each side should keep.
    void checkReplays() {
        byPath_.dump();
        for (size_t i = 0; i < kSides; ++i) {
            sides_[i]->openTask(own_.path() + "/" + kNames[1]);
            frame_.clearPublished();
            sides_[i]->replay();
            frame_.requirePublished(kNames[i]);
            for (size_t more = 0; more < kFramesAlive; ++more) sides_[i]->replay();
        }
    }

    Frame frame_;
    WorkFolder own_;
    LibrarySide library_;
    FloorSide byPath_;
    FloorSide byName_;
    const std::array<Side*, kSides> sides_{&library_, &byPath_, &byName_};
    const Direction direction_;
};

double now(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

}  // namespace

Comparison compareSides(benchmark::State& state, const WorkFolder& folder, const Shape& shape,
                        Direction direction) {
    Contest contest(folder, shape, direction);
    Comparison result;
    for ([[maybe_unused]] const auto& iteration : state) {
        const auto [library, byPath, byName] = contest.runRound(result.seconds.size() % kSides);
        result.toFullPath.push_back(library / byPath);
        result.toByName.push_back(library / byName);
        result.seconds.push_back(library / 2);
        state.SetIterationTime(library / 2);
    }
    return result;
}

double secondsOf(const WorkFolder& folder, const std::function<void()>& step) {
    const clockid_t clock = folder.isTmpfs() ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC;
    const double start = now(clock);
    step();
    return now(clock) - start;
}
