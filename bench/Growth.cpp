// How the cost grows with what a frame, a folder or a configuration holds.
#include "bench/Chapter.h"
#include "bench/Pairs.h"
#include "bench/Sides.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace {

struct Point {
    int size;
    double seconds = 0;  ///< 0: not measured
    double ratio = 0;    ///< to the floor; 0: it has none
};

/// One cost that grows: the sizes at which it is measured, and how.
struct Series {
    const char* name;
    const char* item;
    double itemsPerSize;
    std::vector<int> sizes;
    int largestOfShortRun;
    std::function<Point(benchmark::State&, const WorkFolder&, int)> measure;
    std::vector<Point> points;
};

/// Frames of a shape that depends on the size, beside the floor.
auto frames(Direction direction, Shape (*shapeOf)(int)) {
    return [=](benchmark::State& state, const WorkFolder& folder, int size) {
        const PairResult result = measurePairs(state, folder, shapeOf(size), direction);
        return Point{size, result.seconds, result.ratio};
    };
}

Shape parameters(int count) {
    return {count, 256, 0, 0, 0, 0};
}

Shape blocks(int count) {
    return {0, 0, count, 256, 0, 0};
}

Shape megapixels(int count) {
    return {0, 0, 0, 0, 1000, 1000 * count};
}

/// Times `step` once per iteration of `state`, `cleanUp` outside the measured time.
template <typename Step, typename CleanUp>
double medianSeconds(benchmark::State& state, const WorkFolder& folder, Step step,
                     CleanUp cleanUp) {
    std::vector<double> seconds;
    for ([[maybe_unused]] const auto& iteration : state) {
        seconds.push_back(secondsOf(folder, step));
        cleanUp();
        state.SetIterationTime(seconds.back());
    }
    return quantile(seconds, 0.5);
}

void requireCount(const char* what, size_t expected, size_t found) {
    if (found == expected) return;
    throw std::runtime_error(std::string(what) + ": expected " + std::to_string(expected) +
                             ", found " + std::to_string(found));
}

Point listFrames(benchmark::State& state, const WorkFolder& folder, int count) {
    Frame frame({});
    const WorkFolder own(folder.path());
    for (int i = 0; i < count; ++i) {
        makeFolder(own.path() + "/" + std::to_string(1000000000000 + i) + "_reqID_" +
                   std::to_string(i) + "_sofID_" + std::to_string(i));
    }
    LibrarySide library(frame, own.path());
    library.openTask(own.path());
    PipelineSimulation& simulation = library.simulation();
    requireCount("frames", static_cast<size_t>(count), simulation.frameList.size());
    const auto stop = [&simulation] {
        simulation.stop();
        simulation.taskIndex = 0;
    };
    stop();
    return {count, medianSeconds(
                       state, folder, [&simulation] { simulation.start(); }, stop)};
}

Point parseConfiguration(benchmark::State& state, const WorkFolder& folder, int count) {
    Frame frame(parameters(count));
    const WorkFolder own(folder.path());
    LibrarySide library(frame, own.path() + "/library");
    PipelineSimulation& simulation = library.simulation();
    const auto check = [&] {
        requireCount("tags", static_cast<size_t>(count), simulation.dumpTagList.size());
    };
    const auto parse = [&simulation] {
        simulation.parseConfig(simulation.configPath.c_str(), simulation.dumpTagList);
    };
    return {count, medianSeconds(state, folder, parse, check)};
}

const std::vector<int> kTens{10, 100, 1000, 10000};

std::vector<Series> allSeries() {
    const std::vector<int> fromOne{1, 10, 100, 1000, 10000};
    const std::vector<int> images{1, 10, 50, 100, 200};
    constexpr double kKibibytesPerMegapixel = 1.5e6 / 1024;
    return {
        {"dump-parameters", "file", 1, fromOne, 1000, frames(Direction::kDump, parameters), {}},
        {"replay-parameters", "file", 1, fromOne, 1000, frames(Direction::kReplay, parameters), {}},
        {"dump-megapixels",
         "KiB",
         kKibibytesPerMegapixel,
         images,
         10,
         frames(Direction::kDump, megapixels),
         {}},
        {"replay-megapixels",
         "KiB",
         kKibibytesPerMegapixel,
         images,
         10,
         frames(Direction::kReplay, megapixels),
         {}},
        {"replay-blocks-11-frames-queued",
         "block",
         1,
         kTens,
         1000,
         frames(Direction::kReplay, blocks),
         {}},
        {"list-and-sort-frames", "frame", 1, kTens, 1000, listFrames, {}},
        {"parse-configuration", "tag", 1, kTens, 1000, parseConfiguration, {}},
    };
}

/// From one size to the next the time may grow as n log n does, twice over for what the caches and
/// a busy machine add. Growth with the square of n over a factor of ten is far beyond that.
bool growsGently(const Point& from, const Point& to) {
    const auto allowance = [](const Point& at) { return at.size * std::log2(at.size + 1.0); };
    return to.seconds / from.seconds <= 2 * allowance(to) / allowance(from);
}

class Growth : public Chapter {
public:
    using Chapter::Chapter;

    void registerAll() override {
        for (Series& series : series_) {
            for (const int size : series.sizes) {
                if (run_.isShort && size > series.largestOfShortRun) continue;
                const std::string name =
                    std::string("growth/") + series.name + "/" + std::to_string(size);
                add(name, [this, size, &series](benchmark::State& state) {
                    series.points.push_back(series.measure(state, run_.folder, size));
                })->Iterations(rounds(series, size));
            }
        }
    }

    void report() override {
        std::printf(
            "\nNanoseconds per item, and the ratio to the bare system calls, as the number n of "
            "items grows\n\n| what | item | n: ns (ratio) |\n| --- | --- | --- |\n");
        for (const Series& series : series_) {
            if (series.points.empty()) continue;
            std::printf("| %s | %s |", series.name, series.item);
            for (const Point& at : series.points) {
                const double items = at.size * series.itemsPerSize;
                std::printf(" %.0f: %.0f", items, at.seconds / items * 1e9);
                if (at.ratio > 0) std::printf(" (%.2f)", at.ratio);
                std::printf("%s", &at == &series.points.back() ? " |\n" : ";");
            }
        }
        for (const Series& series : series_) {
            const auto& points = series.points;
            const auto steep = std::adjacent_find(
                points.begin(), points.end(),
                [](const Point& from, const Point& to) { return !growsGently(from, to); });
            if (points.size() < 2) continue;
            run_.check(steep == points.end(),
                       std::string(series.name) + ": nothing worse than n log n");
        }
    }

private:
    /// The more there is to do, the fewer rounds are needed for a steady median.
    int rounds(const Series& series, int size) const {
        const double items = size * series.itemsPerSize;
        const int wanted = static_cast<int>(std::clamp(40000 / items, 5.0, 100.0));
        return run_.isShort ? std::max(wanted / 4, 5) : wanted;
    }

    std::vector<Series> series_ = allSeries();
};

}  // namespace

std::unique_ptr<Chapter> makeGrowth(Run& run) {
    return std::make_unique<Growth>(run);
}
