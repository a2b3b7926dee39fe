// What the benchmark consists of, and what its parts share.
#pragma once

#include "bench/Frame.h"
#include "bench/WorkFolder.h"

#include <benchmark/benchmark.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The four kinds of frame that have a goal: the library's time as a multiple of the floor's.
struct Regime {
    const char* name;
    Shape shape;
    double dumpGoal;
    double replayGoal;
    int rounds;  ///< of a full run; a short one makes do with an eighth
};

constexpr std::array<Regime, 4> kRegimes{{
    {"full18", {64, 4096, 8, 65536, 4000, 3000}, 1.03, 1.04, 80},
    {"full75", {64, 4096, 8, 65536, 8640, 5760}, 1.02, 1.02, 40},
    {"small", {64, 4096, 8, 65536, 0, 0}, 1.15, 1.35, 400},
    {"tiny1000", {1000, 256, 0, 0, 0, 0}, 1.15, 1.35, 120},
}};

/// One run of the benchmark.
struct Run {
    const WorkFolder& folder;
    bool isShort;
    int passed = 0;
    int failed = 0;

    /// Counts one check and prints how it went.
    void check(bool holds, const std::string& what);
};

/// One part of the benchmark.
class Chapter {
public:
    explicit Chapter(Run& run) : run_(run) {}
    virtual ~Chapter() = default;
    Chapter(const Chapter&) = delete;
    Chapter& operator=(const Chapter&) = delete;

    /// Registers what is to be measured.
    virtual void registerAll() = 0;

    /// Prints what was measured, as Markdown, and checks it.
    virtual void report() = 0;

protected:
    /// Registers a benchmark that times itself. What it throws is printed and fails the run.
    benchmark::internal::Benchmark* add(const std::string& name,
                                        std::function<void(benchmark::State&)> measure);

    Run& run_;
};

std::unique_ptr<Chapter> makeRegimes(Run& run);
std::unique_ptr<Chapter> makeGrowth(Run& run);
std::unique_ptr<Chapter> makeMemory(Run& run);

/// Seconds that `step` takes. Files in memory cost nothing but processor time, so in a tmpfs folder
/// this is the processor time of the thread and of the processes that it waited for: what else the
/// machine is busy with does not show in it, nor would a library that slept. In another folder it
/// is the time that passes.
double secondsOf(const WorkFolder& folder, const std::function<void()>& step);

/// The value below which `fraction` of `values` lie; 0 for none.
double quantile(std::vector<double> values, double fraction);
