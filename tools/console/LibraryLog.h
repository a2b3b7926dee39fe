// The library's log lines while a verb runs.
#pragma once

#include <string>

namespace tyksim {

/// Prints the lines up to a level on standard error and remembers the failures among them, which
/// are the library's only way to say why it dropped something. One object at a time.
class LibraryLog {
public:
    explicit LibraryLog(int level);
    ~LibraryLog();
    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;

    /// The failures since the last call, in one line; "" when there was none.
    std::string takeFailures();

private:
    std::string failures_;
};

}  // namespace tyksim
