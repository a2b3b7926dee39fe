// Runs a user's processing, which replaces the pipeline, in a process of its own: a shared object
// with the interface of tyksim_processor.h, or a file in Python.
#pragma once

#include "tools/processor/ProcessorProcess.h"
#include "tools/processor/tyksim_processor.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// A picture that a processor returned, rows tightly packed: the bytes of an image file.
struct ProcessedPicture {
    int width = 0;
    int height = 0;
    const uint8_t* bytes = nullptr;
};

/// A value that a processor returned.
struct ProcessedValue {
    const void* data = nullptr;
    size_t size = 0;
};

/// A processor's result for a frame. Pointers are valid until the next call of the processor.
struct Processed {
    std::optional<ProcessedPicture> picture;
    std::map<uint32_t, ProcessedValue> parameters;  ///< by tag
    std::string error;                              ///< "": the frame was processed
};

/// A processor's process, from construction to destruction. All operations except close() throw
/// Failure, with the path and how the process ended, when it ends early. They throw Interrupted
/// when a signal is noted while they wait; the process is then killed. Threads: one.
class Processor {
public:
    /// Starts the process for the processor at `path`, without loading it. tyksim must have only
    /// one thread at that time. The program `python` runs a file whose name ends in ".py". Throws
    /// Failure when the system refuses a process.
    Processor(std::string path, const std::string& python);

    /// Loads and opens the processor. Throws Failure, with the path and the reason, when it cannot
    /// be loaded, has not all functions, was built for another version, or refuses to open;
    /// WrongUsage when it reports wrong options. `tagTable` is the path of the tag table, or "".
    void open(const std::vector<std::string>& options, const std::string& tagTable);

    /// Memory for the pixels of the next frame's picture, shared with the process, so that they are
    /// not copied. Valid until process() is called.
    uint8_t* pictureRoom(uint64_t bytes);

    /// Processes one frame. The pixels of its picture, if it has one, must be in pictureRoom().
    Processed process(const tyksim_frame& frame);

    /// Closes the processor after the last frame and waits for the end of the process. Returns "",
    /// or the problem with the end. Throws Interrupted when a signal is noted.
    std::string close();

    const std::string& path() const { return path_; }

private:
    std::string ask(MessageKind request, const std::string& when);
    void ask(MessageKind request, const std::vector<std::string>& texts, const std::string& when);
    void give(const tyksim_frame& frame);
    std::optional<Processed> taken(const tyksim_frame& frame);

    std::string path_;
    ProcessorProcess process_;
    Piece pixels_{};  ///< of the current frame, in the given memory
};

}  // namespace tyksim
