// Reads input once and in order: a file, a FIFO or standard input.
#pragma once

#include "core/Descriptor.h"
#include "tags/Problem.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// The path of an input that means standard input.
constexpr const char* kStandardInput = "-";

/// The name of `path`, which may be kStandardInput, in messages.
std::string inputName(const std::string& path);

/// An open input. Memory does not grow with its length. One thread at a time uses an object.
class InputStream {
public:
    /// Opens `path`; `-` is standard input. Does not wait for the writer of a FIFO. Throws Failure
    /// when it cannot be opened or is a folder, and WrongUsage when it is a terminal.
    explicit InputStream(const std::string& path);

    /// See inputName().
    const std::string& name() const { return name_; }

    /// Waits for `size` bytes and returns the number of bytes read: fewer at the end of the input,
    /// after an error (see status()) and when the run is interrupted.
    size_t read(uint8_t* out, size_t size);

    /// Reads up to and including the next newline and returns the bytes before it. If there is no
    /// newline in the next `limit` bytes, sets `complete` to false and returns these bytes, or the
    /// rest of the input.
    std::string readLine(size_t limit, bool& complete);

    /// Whether all reads so far succeeded. The problem has the input's name and the system's
    /// reason.
    const tyktags::Status& status() const { return status_; }

private:
    size_t receive(uint8_t* out, size_t size);

    std::string name_;
    tykcore::Descriptor opened_;
    int descriptor_ = 0;
    tyktags::Status status_;
    std::vector<uint8_t> ahead_;  ///< read for a line but not returned yet
    size_t taken_ = 0;            ///< of ahead_
};

/// Reads a whole input. Throws like InputStream, Failure when the input cannot be read or has more
/// than `maxBytes`, and Interrupted when the run is interrupted.
std::string readWholeInput(const std::string& path, size_t maxBytes);

}  // namespace tyksim
