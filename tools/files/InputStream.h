// Input that is read once and in order: a file, a FIFO or standard input.
#pragma once

#include "core/File.h"
#include "tags/Problem.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// Stands for standard input where a file to read is named.
constexpr const char* kStandardInput = "-";

/// What `path`, which may be kStandardInput, is called in messages.
std::string inputName(const std::string& path);

/// An open input. Memory does not grow with what is read. One object serves one thread.
class InputStream {
public:
    /// Opens `path`; `-` is standard input. Does not wait for the writer of a FIFO. Throws Failure
    /// when it cannot be opened or is a folder, and WrongUsage when it is a terminal.
    explicit InputStream(const std::string& path);

    /// As inputName() has it.
    const std::string& name() const { return name_; }

    /// Waits for `size` bytes and returns how many came. Fewer come at the end of the input, after
    /// an error (see status()) and when the run is interrupted.
    size_t read(uint8_t* out, size_t size);

    /// Reads up to and including the next newline and returns the bytes in front of it. Where there
    /// is no newline among the next `limit` bytes, `complete` is false and those bytes, or the rest
    /// of the input, are returned.
    std::string readLine(size_t limit, bool& complete);

    /// Whether all reads so far worked. The problem names the input and the system's reason.
    const tyktags::Status& status() const { return status_; }

private:
    size_t receive(uint8_t* out, size_t size);

    std::string name_;
    Descriptor opened_;
    int descriptor_ = 0;
    tyktags::Status status_;
    std::vector<uint8_t> ahead_;  ///< read for a line, and not yet handed on
    size_t taken_ = 0;            ///< of ahead_
};

/// The whole of an input. Throws as InputStream does, and Failure when the input cannot be read or
/// has more than `maxBytes`; Interrupted when the run is.
std::string readWholeInput(const std::string& path, size_t maxBytes);

}  // namespace tyksim
