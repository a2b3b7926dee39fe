// Translates one path of the device for the functions that replace the C library's.
#pragma once

#include <cstddef>

namespace tykhost {

/// The desktop's path for a path given to the C library. A path outside the device's folders passes
/// unchanged, without a copy; a device path is built in this object. Allocates nothing, except once
/// when it reads the environment. Threads: any. Throws nothing. Ownership: `path` must stay valid
/// as long as this object.
class DevicePath {
public:
    explicit DevicePath(const char* path) noexcept;
    DevicePath(const DevicePath&) = delete;
    DevicePath& operator=(const DevicePath&) = delete;

    /// Whether get() gives a path. If not, errno has the reason (ENAMETOOLONG, ENOMEM) and the
    /// caller must fail.
    bool passes() const noexcept { return passes_; }

    /// The path to pass to the C library; null if the given path was null.
    const char* get() const noexcept { return path_; }

private:
    static constexpr size_t kSize = 4096;  // the system's longest path, terminator included

    const char* path_;
    bool passes_;
    char buffer_[kSize];  // only a device path uses it
};

}  // namespace tykhost
