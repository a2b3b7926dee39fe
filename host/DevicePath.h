// The desktop's side of one path, for the functions that stand in for the C library's.
#pragma once

#include <cstddef>

namespace tykhost {

/// Where a path given to the C library really lies. A path outside the device's folders passes as
/// it is, without a copy; a device path is built on the stack. Allocates nothing except the one
/// time when the environment is read. Threads: any. Throws nothing.
class DevicePath {
public:
    explicit DevicePath(const char* path) noexcept;
    DevicePath(const DevicePath&) = delete;
    DevicePath& operator=(const DevicePath&) = delete;

    /// Whether there is a path to hand on. If not, errno says why (ENAMETOOLONG, ENOMEM) and the
    /// caller must fail.
    bool passes() const noexcept { return passes_; }

    /// The path to hand on; null where null was given, which is the C library's to judge.
    const char* get() const noexcept { return path_; }

private:
    static constexpr size_t kSize = 4096;  // the longest path that the system takes, and its end

    const char* path_;
    bool passes_;
    char buffer_[kSize];  // written only as far as a device path needs it
};

}  // namespace tykhost
