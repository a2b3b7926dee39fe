#include "bench/Pairs.h"
#include "bench/Sides.h"

#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void runProcess(std::vector<std::string> arguments) {
    std::vector<char*> raw;
    for (std::string& argument : arguments) raw.push_back(argument.data());
    raw.push_back(nullptr);
    pid_t child = 0;
    errno = ::posix_spawnp(&child, raw[0], nullptr, nullptr, raw.data(), environ);
    if (errno != 0) failWithErrno("start", arguments[0]);
    int status = 0;
    if (::waitpid(child, &status, 0) != child) failWithErrno("wait for", arguments[0]);
    if (status != 0) {
        throw std::runtime_error(arguments[0] + ": expected status 0, found " +
                                 std::to_string(status));
    }
}

/// Dumps the frames below `folder`, each into a task folder of its own since they may all come
/// about in the same millisecond.
void dumpFrames(LibrarySide& library, const std::string& folder) {
    for (int i = 0; i < kOtherToolsFrames; ++i) {
        library.simulation().currentTask = folder + "/" + std::to_string(i);
        makeFolder(library.simulation().currentTask);
        library.dump();
    }
}

}  // namespace

OtherToolsResult measureOtherTools(benchmark::State& state, const WorkFolder& folder,
                                   const Shape& shape) {
    Frame frame(shape);
    const WorkFolder own(folder.path());
    folder.requireRoom(frame.bytes() * kOtherToolsFrames * 5 / 2 + (int64_t{8} << 20));
    const std::string frames = own.path() + "/frames";
    const std::string copy = own.path() + "/copy";
    const std::string archive = own.path() + "/frames.tar";
    makeFolder(frames);
    LibrarySide library(frame, frames);
    dumpFrames(library, frames);
    const auto entries = static_cast<uintmax_t>(1 + kOtherToolsFrames * (2 + frame.fileCount()));
    std::vector<double> copied;
    std::vector<double> packed;
    std::vector<double> unpacked;
    for ([[maybe_unused]] const auto& iteration : state) {
        copied.push_back(secondsOf(folder, [&] { runProcess({"cp", "-r", frames, copy}); }));
        removeFolder(copy, entries);
        packed.push_back(secondsOf(folder, [&] {
            runProcess({"tar", "-cf", archive, "-C", frames, "."});
        }));
        makeFolder(copy);
        unpacked.push_back(secondsOf(folder, [&] {
            runProcess({"tar", "-xf", archive, "-C", copy});
        }));
        removeFolder(copy, entries);
        removeFolder(archive, 1);
        state.SetIterationTime(copied.back());
    }
    return {quantile(copied, 0.5) / kOtherToolsFrames, quantile(packed, 0.5) / kOtherToolsFrames,
            quantile(unpacked, 0.5) / kOtherToolsFrames};
}
