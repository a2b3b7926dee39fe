// What the library allocates per frame. The executable's own malloc(), calloc(), realloc() and
// free() stand before the C library's, which they forward to: glibc only.
#include "bench/Chapter.h"
#include "bench/Sides.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>

// The C library's own, under the names it offers for this purpose.
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
    size_t calls = 0;  ///< allocations made
    size_t bytes = 0;  ///< bytes asked for, all together
    long held = 0;     ///< bytes in use more than at the start (as the allocator rounds them)
    long peak = 0;     ///< the most that were held at one time
};

bool isCounting = false;
AllocationCount counted;

void* noteTaken(void* memory, size_t size) {
    if (isCounting && memory) {
        ++counted.calls;
        counted.bytes += size;
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

/// The one large buffer that a frame takes on its way.
constexpr long kScratchBytes = 512000;

/// Room for what a listing of the folder needs, and per file for its name.
constexpr long kFolderBytes = 48 * 1024;
constexpr long kNameBytes = 256;

/// Room for the record of a queued frame, and per block for its owner.
constexpr long kRecordBytes = 4096;
constexpr long kOwnerBytes = 96;

/// Counts what `step` allocates; everything else goes uncounted.
template <typename Step>
AllocationCount countAllocations(Step step) {
    counted = {};
    isCounting = true;
    step();
    isCounting = false;
    return counted;
}

struct Measured {
    bool done = false;
    AllocationCount dump;
    AllocationCount replay;
};

class Memory : public Chapter {
public:
    using Chapter::Chapter;

    void registerAll() override {
        for (size_t i = 0; i < kRegimes.size(); ++i) {
            Measured& measured = measured_[i];
            const Shape& shape = kRegimes[i].shape;
            add(std::string("memory/") + kRegimes[i].name, [this, &measured, &shape](auto& state) {
                measured = measure(state, shape);
            })->Iterations(1);
        }
    }

    void report() override {
        std::printf(
            "\nAllocations per frame (KiB; held: what a queued frame keeps)\n\n"
            "| regime | dump calls | bytes | peak | replay calls | bytes | peak | held | blocks |\n"
            "| --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
        for (size_t i = 0; i < kRegimes.size(); ++i) {
            const Measured& at = measured_[i];
            if (!at.done) continue;
            const auto& [calls, bytes, held, peak] = at.replay;
            std::printf("| %s | %zu | %zu | %ld | %zu | %zu | %ld | %ld | %ld |\n",
                        kRegimes[i].name, at.dump.calls, at.dump.bytes >> 10, at.dump.peak >> 10,
                        calls, bytes >> 10, peak >> 10, held >> 10,
                        blockBytes(kRegimes[i].shape) >> 10);
        }
        for (size_t i = 0; i < kRegimes.size(); ++i) check(kRegimes[i], measured_[i]);
    }

private:
    static long blockBytes(const Shape& shape) {
        return static_cast<long>(shape.blockCount) * shape.blockBytes;
    }

    Measured measure(benchmark::State& state, const Shape& shape) const {
        Frame frame(shape);
        const WorkFolder own(run_.folder.path());
        const std::string folder = own.path() + "/library";
        makeFolder(folder);
        LibrarySide library(frame, folder);
        Measured measured;
        for ([[maybe_unused]] const auto& iteration : state) {
            // Each is counted the second time, when what is made once and for all is there.
            library.dump();
            removeFolder(library.dumpedFolder(), static_cast<uintmax_t>(frame.fileCount()) + 1);
            measured.dump = countAllocations([&library] { library.dump(); });
            library.openTask(folder);
            library.replay();
            measured.replay = countAllocations([&library] { library.replay(); });
            state.SetIterationTime(1e-9);
        }
        measured.done = true;
        return measured;
    }

    void check(const Regime& regime, const Measured& measured) {
        if (!measured.done) return;
        const std::string name = regime.name;
        const Shape& shape = regime.shape;
        const long files = shape.fixedCount + shape.blockCount + (shape.width > 0 ? 1 : 0);
        const long blocks = blockBytes(shape);
        run_.check(measured.dump.peak <= kScratchBytes + kRecordBytes &&
                       static_cast<long>(measured.dump.bytes) <= kScratchBytes + 2 * kRecordBytes,
                   name + " dump: the scratch buffer and little else");
        run_.check(
            measured.replay.peak <= blocks + kScratchBytes + kFolderBytes + kNameBytes * files,
            name + " replay: nothing is held twice");
        run_.check(
            measured.replay.held >= blocks &&
                measured.replay.held <= blocks + kRecordBytes + kOwnerBytes * shape.blockCount,
            name + " replay: a queued frame keeps its blocks and little else");
    }

    std::array<Measured, kRegimes.size()> measured_;
};

}  // namespace

std::unique_ptr<Chapter> makeMemory(Run& run) {
    return std::make_unique<Memory>(run);
}
