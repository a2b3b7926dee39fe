// tykbench: what the library costs beside the file system.
#include "bench/Chapter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr const char* kUsage =
    "usage: tykbench [--short] [--folder <folder>] [--benchmark_<option>...]\n"
    "\n"
    "Measures dump and replay against the bare system calls that the same files need.\n"
    "  --short            fewer rounds and smaller sizes, under 20 seconds\n"
    "  --folder <folder>  where to work; should be a tmpfs with 1 GiB of room.\n"
    "                     Default: /dev/shm, else $TMPDIR, else /tmp. A run that is\n"
    "                     interrupted leaves tykbench.* behind in it.\n"
    "\n"
    "Exit status: 0; 1 when a ratio is beyond twice its goal, a cost grows faster than\n"
    "n log n, more is allocated than should be, or a measurement fails; 2 on wrong usage.\n";

double clockSeconds(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double passedSeconds() {
    return clockSeconds(CLOCK_MONOTONIC);
}

double processorSeconds() {
    rusage children{};
    ::getrusage(RUSAGE_CHILDREN, &children);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(children.ru_utime) + seconds(children.ru_stime) +
           clockSeconds(CLOCK_THREAD_CPUTIME_ID);
}

struct Options {
    bool isShort = false;
    bool wantsHelp = false;
    std::string folder;
};

std::string defaultFolder() {
    if (::access("/dev/shm", W_OK | X_OK) == 0) return "/dev/shm";
    const char* const temporary = std::getenv("TMPDIR");
    return temporary && *temporary ? temporary : "/tmp";
}

/// Takes the options that are ours and leaves the others in `arguments`.
Options readOptions(std::vector<char*>& arguments) {
    Options options;
    options.folder = defaultFolder();
    std::vector<char*> others;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string argument = arguments[i];
        if (argument == "--short") {
            options.isShort = true;
        } else if (argument == "--help") {
            options.wantsHelp = true;
        } else if (argument == "--folder" && i + 1 < arguments.size()) {
            options.folder = arguments[++i];
        } else {
            others.push_back(arguments[i]);
        }
    }
    arguments = others;
    return options;
}

int runBenchmark(const Options& options) {
    const WorkFolder folder(options.folder);
    std::printf("folder: %s (%s)\n", folder.path().c_str(),
                folder.isTmpfs() ? "tmpfs" : "not tmpfs");
    if (!folder.isTmpfs()) {
        std::printf("WARNING: the ratios below are those of this file system's device as well\n");
    }
    Run run{folder, options.isShort};
    std::vector<std::unique_ptr<Chapter>> chapters;
    for (const auto make : {makeRegimes, makeGrowth, makeMemory}) chapters.push_back(make(run));
    for (const auto& chapter : chapters) chapter->registerAll();
    benchmark::RunSpecifiedBenchmarks();
    for (const auto& chapter : chapters) chapter->report();
    std::printf("\n%d checks passed, %d failed\n", run.passed, run.failed);
    return run.failed == 0 && run.passed > 0 ? 0 : 1;
}

}  // namespace

void Run::check(bool holds, const std::string& what) {
    ++(holds ? passed : failed);
    std::printf("%s: %s\n", holds ? "passed" : "FAILED", what.c_str());
}

benchmark::internal::Benchmark* Chapter::add(const std::string& name,
                                             std::function<void(benchmark::State&)> measure) {
    const auto guarded = [this, name, measure](benchmark::State& state) {
        try {
            measure(state);
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
            run_.check(false, name + ": " + error.what());
        }
    };
    return benchmark::RegisterBenchmark(name.c_str(), guarded)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

double secondsOf(const WorkFolder& folder, const std::function<void()>& step) {
    const auto now = folder.isTmpfs() ? processorSeconds : passedSeconds;
    const double start = now();
    step();
    return now() - start;
}

double quantile(std::vector<double> values, double fraction) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(fraction * static_cast<double>(values.size() - 1))];
}

int main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    const Options options = readOptions(arguments);
    if (options.wantsHelp) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (count > 1) {
        std::fprintf(stderr, "tykbench: unknown argument %s\n%s", arguments[1], kUsage);
        return 2;
    }
    try {
        return runBenchmark(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tykbench: %s\n", error.what());
        return 1;
    }
}
