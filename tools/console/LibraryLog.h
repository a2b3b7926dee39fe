// Takes the library's log lines while a verb runs.
#pragma once

#include <string>

namespace tyksim {

/// Prints the lines up to a level on standard error and stores the failures among them, because
/// only these tell why the library dropped something. Only one object may exist at a time. Threads:
/// the library may log on any.
class LibraryLog {
public:
    explicit LibraryLog(int level);
    ~LibraryLog();
    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;

    /// The failures since the last call, in one line; "" if there were none.
    std::string takeFailures();

private:
    std::string failures_;
};

}  // namespace tyksim
