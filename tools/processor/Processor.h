// A user's processing in the pipeline's place: a shared object with the interface of
// tyksim_processor.h, run in a process of its own.
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

/// A picture that a processor handed back, rows tightly packed: the bytes that an image file has.
struct ProcessedPicture {
    int width = 0;
    int height = 0;
    const uint8_t* bytes = nullptr;
};

/// A value that a processor handed back.
struct ProcessedValue {
    const void* data = nullptr;
    size_t size = 0;
};

/// What a processor made of a frame. Pointers are valid until the next call of the processor.
struct Processed {
    std::optional<ProcessedPicture> picture;
    std::map<uint32_t, ProcessedValue> parameters;  ///< by tag
    std::string error;                              ///< "": the frame was processed
};

/// A processor's process, from construction to destruction. All operations but close() throw
/// Failure, with the path and how the process ended, when it ends before its time, and Interrupted
/// when a signal is noted while they wait; the process is then ended without further ado. Threads:
/// one.
class Processor {
public:
    /// Starts the process for the processor at `path`, which is not loaded yet. tyksim must have
    /// one thread by then. Failure when the system refuses a process.
    explicit Processor(std::string path);

    /// Loads and opens the processor. Failure, with the path and the reason, when it cannot be
    /// loaded, lacks a function, was built for another version, or refuses to open.
    void open(const std::vector<std::string>& options);

    /// Room for the pixels of the next frame's picture, in the memory of the process: they are not
    /// copied. Valid until process() is called.
    uint8_t* pictureRoom(uint64_t bytes);

    /// Processes one frame. Its picture, where it has one, has its pixels in pictureRoom().
    Processed process(const tyksim_frame& frame);

    /// Closes the processor after the last frame and waits for the end of the process. Returns "",
    /// or what was wrong with that. Interrupted likewise.
    std::string close();

    const std::string& path() const { return path_; }

private:
    std::string ask(MessageKind request, const std::string& when);
    void ask(MessageKind request, const std::vector<std::string>& texts, const std::string& when);
    void give(const tyksim_frame& frame);
    std::optional<Processed> taken(const tyksim_frame& frame);

    std::string path_;
    ProcessorProcess process_;
    Piece pixels_{};  ///< of the frame at hand, in what is given
};

}  // namespace tyksim
