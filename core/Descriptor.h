// Opens files and folders, and owns their descriptors. The library, tags/ and the desktop's rooms
// open files in this way.
//
// Opening does not wait: a FIFO without a peer would otherwise block the camera for ever. The
// exception is a regular file on which another process holds a lease: opening it waits until the
// holder releases the lease or the system breaks it.
#pragma once

#include <fcntl.h>
#include <utility>

/// In a namespace, because programs link it with the archive of tags/.
namespace tykcore {

/// Owns a file descriptor and closes it. One thread at a time uses an object.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    void close();
    /// Returns the descriptor, or -1; the caller owns it from now on.
    int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

/// Opens `path`, relative to the folder open as `folder` if one is given. `flags` are those of
/// open(); a new file gets the mode 0666. Returns the descriptor, or -1 with the reason in errno.
/// A descriptor of anything but a regular file does not block. Threads: any.
int openNow(const char* path, int flags, int folder = AT_FDCWD);

}  // namespace tykcore
