// Measures how the cost grows with the size of a frame, a folder or a configuration.
#include "bench/Run.h"
#include "bench/Sides.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

namespace {

struct Point {
    int size;
    double seconds = 0;
    double ratio = 0;  ///< to the floor by full path; 0: no ratio
};

using Measure = std::function<Point(benchmark::State&, const WorkFolder&, int size)>;

/// One growing cost: the sizes at which to measure it, and the measurement.
struct Series {
    const char* name;
    const char* item;
    double itemsPerSize;
    std::vector<int> sizes;
    int largestOfShortRun;
    Measure measure;
    std::vector<Point> points = {};
};

/// Measures frames of a shape that depends on the size, and the floor.
Measure frames(Direction direction, Shape (*shapeOf)(int)) {
    return [=](benchmark::State& state, const WorkFolder& folder, int size) {
        const Comparison found = compareSides(state, folder, shapeOf(size), direction);
        return Point{size, quantile(found.seconds, 0.5), quantile(found.toFullPath, 0.5)};
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

/// Times `step` once per iteration of `state`, without `cleanUp`.
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

void requireCount(int expected, size_t found) {
    if (found == static_cast<size_t>(expected)) return;
    throw std::runtime_error(fmt::format("expected {}, found {}", expected, found));
}

Point listFrames(benchmark::State& state, const WorkFolder& folder, int count) {
    Frame frame({});
    const WorkFolder own(folder.path());
    LibrarySide library(frame, own, "library");
    for (int i = 0; i < count; ++i) {
        own.make(fmt::format("library/{}_reqID_{}_sofID_{}", 1000000000000 + i, i, i));
    }
    library.openTask(own.path() + "/library");
    PipelineSimulation& simulation = library.simulation();
    const auto stop = [&simulation, count] {
        requireCount(count, simulation.frameList.size());
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
    LibrarySide library(frame, own, "library");
    PipelineSimulation& simulation = library.simulation();
    const auto parse = [&simulation] {
        simulation.parseConfig(simulation.configPath.c_str(), simulation.dumpTagList);
    };
    const auto check = [&] { requireCount(count, simulation.dumpTagList.size()); };
    return {count, medianSeconds(state, folder, parse, check)};
}

std::vector<Series> allSeries() {
    const std::vector<int> tens{10, 100, 1000, 10000};
    const std::vector<int> fromOne{1, 10, 100, 1000, 10000};
    const std::vector<int> images{1, 10, 50, 100, 200};
    constexpr double kKiB = 1.5e6 / 1024;  // of a megapixel
    constexpr Direction kDump = Direction::kDump;
    constexpr Direction kReplay = Direction::kReplay;
    return {
        {"dump of n parameters", "file", 1, fromOne, 1000, frames(kDump, parameters)},
        {"replay of n parameters", "file", 1, fromOne, 1000, frames(kReplay, parameters)},
        {"dump of n megapixels", "KiB", kKiB, images, 10, frames(kDump, megapixels)},
        {"replay of n megapixels", "KiB", kKiB, images, 10, frames(kReplay, megapixels)},
        {"11 queued frames of n blocks", "block", 1, tens, 1000, frames(kReplay, blocks)},
        {"listing and sorting n frames", "frame", 1, tens, 1000, listFrames},
        {"parsing a configuration of n tags", "tag", 1, tens, 1000, parseConfiguration},
    };
}

/// Larger sizes need fewer rounds for a steady median.
int rounds(bool isShort, double items) {
    const int wanted = static_cast<int>(std::clamp(40000 / items, 6.0, 100.0));
    return isShort ? std::max(wanted / 4, 6) : wanted;
}

/// From one size to the next the time may grow like n log n, times two for the effects of caches
/// and a busy machine. Growth with the square of n over a factor of ten is far beyond that.
bool isSteep(const Point& from, const Point& to) {
    const auto allowance = [](const Point& at) { return at.size * std::log2(at.size + 1.0); };
    return to.seconds / from.seconds > 2 * allowance(to) / allowance(from);
}

void print(const Series& series) {
    fmt::print("| {} | {} |", series.name, series.item);
    for (const Point& at : series.points) {
        fmt::print(" {}: {:.0f}", at.size, at.seconds / (at.size * series.itemsPerSize) * 1e9);
        if (at.ratio > 0) fmt::print(" ({:.2f})", at.ratio);
        fmt::print("{}", &at == &series.points.back() ? " |\n" : ";");
    }
}

}  // namespace

void addGrowth(Run& run) {
    const auto all = std::make_shared<std::vector<Series>>(allSeries());
    for (Series& series : *all) {
        for (const int size : series.sizes) {
            if (run.isShort && size > series.largestOfShortRun) continue;
            run.add(fmt::format("growth/{}/{}", series.name, size),
                    rounds(run.isShort, size * series.itemsPerSize),
                    [&run, &series, size](benchmark::State& state) {
                        series.points.push_back(series.measure(state, run.folder, size));
                    });
        }
    }
    run.conclude([&run, all] {
        fmt::print(
            "\nNanoseconds per item, and the ratio to the bare system calls on full paths\n\n"
            "| what | item | n: ns (ratio) |\n| --- | --- | --- |\n");
        for (const Series& series : *all) {
            const auto& points = series.points;
            if (points.empty()) continue;
            print(series);
            run.check(std::adjacent_find(points.begin(), points.end(), isSteep) == points.end(),
                      series.name + std::string(": nothing worse than n log n"));
        }
    });
}
