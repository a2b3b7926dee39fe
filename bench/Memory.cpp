// Measures the library's allocations per frame. The executable replaces malloc(), calloc(),
// realloc() and free() by functions that count and forward to the C library's: glibc only.
#include "bench/Run.h"
#include "bench/Sides.h"
#include "core/Limits.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <malloc.h>
#include <memory>

// The C library's own functions, under the names that it offers for this purpose.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(size_t size) noexcept;
void* __libc_calloc(size_t count, size_t size) noexcept;
void* __libc_realloc(void* memory, size_t size) noexcept;
void __libc_free(void* memory) noexcept;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

struct AllocationCount {
    long calls = 0;  ///< allocations made
    long bytes = 0;  ///< sum of the requested bytes
    long held = 0;   ///< bytes in use minus those at the start, rounded by the allocator
    long peak = 0;   ///< maximum of `held`
};

bool isCounting = false;
AllocationCount counted;

void* noteTaken(void* memory, size_t size) {
    if (isCounting && memory) {
        ++counted.calls;
        counted.bytes += static_cast<long>(size);
        counted.held += static_cast<long>(malloc_usable_size(memory));
        counted.peak = std::max(counted.peak, counted.held);
    }
    return memory;
}

void noteGiven(void* memory) {
    if (isCounting && memory) counted.held -= static_cast<long>(malloc_usable_size(memory));
}

}  // namespace

void* malloc(size_t size) noexcept {
    return noteTaken(__libc_malloc(size), size);
}

void* calloc(size_t count, size_t size) noexcept {
    return noteTaken(__libc_calloc(count, size), count * size);
}

void* realloc(void* memory, size_t size) noexcept {
    noteGiven(memory);
    return noteTaken(__libc_realloc(memory, size), size);
}

void free(void* memory) noexcept {
    noteGiven(memory);
    __libc_free(memory);
}

namespace {

/// Allowance for the listing of the folder, and for the name of each file.
constexpr long kFolderBytes = 48L * 1024;
constexpr long kNameBytes = 256;

/// Allowance for the record of a queued frame, and for the owner of each block.
constexpr long kRecordBytes = 4096;
constexpr long kOwnerBytes = 96;

struct Measured {
    const Regime& regime;
    AllocationCount dump = {};
    AllocationCount replay = {};
};

/// Counts the allocations of `step` only.
template <typename Step>
AllocationCount countAllocations(Step step) {
    counted = {};
    isCounting = true;
    step();
    isCounting = false;
    return counted;
}

void measure(benchmark::State& state, const WorkFolder& work, Measured& at) {
    Frame frame(at.regime.shape);
    const WorkFolder own(work.path());
    LibrarySide library(frame, own, "library");
    for ([[maybe_unused]] const auto& iteration : state) {
        // Counts each operation the second time, after the allocations that are made only once.
        library.dump();
        own.remove("library", frame.shape.files() + 2);
        own.make("library");
        at.dump = countAllocations([&library] { library.dump(); });
        library.openTask(own.path() + "/library");
        library.replay();
        at.replay = countAllocations([&library] { library.replay(); });
        state.SetIterationTime(1e-9);
    }
}

void report(Run& run, const Measured& at) {
    const std::string name = at.regime.name;
    const Shape& shape = at.regime.shape;
    const long blocks = shape.allBlocks();
    const AllocationCount& dump = at.dump;
    const AllocationCount& replay = at.replay;
    fmt::print("| {} | {} | {} | {} | {} | {} | {} | {} | {} |\n", name, dump.calls,
               dump.bytes >> 10, dump.peak >> 10, replay.calls, replay.bytes >> 10,
               replay.peak >> 10, replay.held >> 10, blocks >> 10);
    run.check(dump.peak <= kMaxFixedBytes + kRecordBytes &&
                  dump.bytes <= kMaxFixedBytes + 2 * kRecordBytes,
              name + " dump: the scratch buffer and little else");
    run.check(replay.peak <= blocks + kMaxFixedBytes + kFolderBytes + kNameBytes * shape.files(),
              name + " replay: nothing is held twice");
    run.check(replay.held >= blocks &&
                  replay.held <= blocks + kRecordBytes + kOwnerBytes * shape.blockCount,
              name + " replay: a queued frame keeps its blocks and little else");
}

}  // namespace

void addMemory(Run& run) {
    const auto all = std::make_shared<std::vector<Measured>>();
    for (const Regime& regime : kRegimes) all->push_back({regime});
    for (Measured& at : *all) {
        run.add(std::string("memory/") + at.regime.name, 1,
                [&run, &at](benchmark::State& state) { measure(state, run.folder, at); });
    }
    run.conclude([&run, all] {
        fmt::print(
            "\nAllocations per frame (KiB; held: what a queued frame keeps)\n\n"
            "| regime | dump calls | bytes | peak | replay calls | bytes | peak | held | blocks |\n"
            "| --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
        for (const Measured& at : *all) {
            if (at.dump.calls > 0) report(run, at);
        }
    });
}
