// tykbench: compares the library with the file system, and the tool with other tools.
#include "bench/Run.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <fmt/format.h>

namespace {

constexpr const char* kFooter =
    "Options --benchmark_* are Google Benchmark's; --benchmark_filter=REGEX chooses what is\n"
    "measured. A run that is interrupted leaves tykbench.* behind in its folder.\n"
    "\n"
    "Exit status: 0; 1 when a goal is missed, a cost grows faster than n log n, more is allocated\n"
    "than should be, or a measurement fails; 2 on wrong usage.";

/// Passes the other options to Google Benchmark; returns the exit status, or -1 to go on.
int readOptions(int argc, char** argv, std::string& folder, bool& isShort) {
    CLI::App app{
        "Measures dump and replay against the bare system calls that the same files need, and the "
        "tool against other tools"};
    app.add_option("--folder", folder,
                   "Where to work; should be a tmpfs with 4 GiB of room (--short: 1)")
        ->capture_default_str();
    app.add_flag("--short", isShort,
                 "Fewer rounds and smaller sizes, under 20 seconds; the tool runs, uncompared");
    app.footer(kFooter);
    app.allow_extras();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    std::vector<std::string> others = app.remaining();
    std::vector<char*> raw{argv[0]};
    for (std::string& other : others) raw.push_back(other.data());
    int count = static_cast<int>(raw.size());
    raw.push_back(nullptr);
    benchmark::Initialize(&count, raw.data());
    return benchmark::ReportUnrecognizedArguments(count, raw.data()) ? 2 : -1;
}

/// One measurement, in the form of Google Benchmark.
struct Measurement : benchmark::internal::Benchmark {
    Measurement(const char* name, std::function<void(benchmark::State&)> measure)
        : Benchmark(name), measure_(std::move(measure)) {}
    void Run(benchmark::State& state) override { measure_(state); }
    const std::function<void(benchmark::State&)> measure_;
};

}  // namespace

void Run::add(const std::string& name, int rounds, std::function<void(benchmark::State&)> measure) {
    const auto guarded = [this, name, measure](benchmark::State& state) {
        try {
            measure(state);
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
            check(false, name + ": " + error.what());
        }
    };
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the library takes ownership
    benchmark::internal::RegisterBenchmarkInternal(new Measurement(name.c_str(), guarded))
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond)
        ->Iterations(rounds);
}

void Run::check(bool holds, const std::string& what) {
    (holds ? passed_ : failed_).push_back(what);
}

bool Run::execute() {
    fmt::print("folder: {} ({})\n", folder.path(),
               folder.isTmpfs() ? "tmpfs" : "NOT tmpfs: the ratios depend on its device too");
    benchmark::RunSpecifiedBenchmarks();
    for (const auto& report : reports_) report();
    fmt::print("\n");
    for (const std::string& what : passed_) fmt::print("passed: {}\n", what);
    for (const std::string& what : failed_) fmt::print("FAILED: {}\n", what);
    fmt::print("\n{} checks passed, {} failed\n", passed_.size(), failed_.size());
    return failed_.empty() && !passed_.empty();
}

double quantile(std::vector<double> values, double fraction) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(fraction * static_cast<double>(values.size() - 1))];
}

int main(int argc, char** argv) {
    std::string folder = "/dev/shm";
    bool isShort = false;
    const int status = readOptions(argc, argv, folder, isShort);
    if (status >= 0) return status;
    try {
        Run run(folder, isShort);
        for (const auto addChapter : {addTool, addRegimes, addGrowth, addMemory}) addChapter(run);
        return run.execute() ? 0 : 1;
    } catch (const std::exception& error) {
        fmt::print(stderr, "tykbench: {}\n", error.what());
        return 1;
    }
}
