// Another process's lease on a file, for tests that open the file meanwhile.
#pragma once

#include <csignal>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>

/// Holds a lease on a file until something opens the file, or until the end of the object. Blocks
/// SIGIO, by which the system asks for the lease, in the thread that makes the object.
class Lease {
public:
    explicit Lease(const std::string& path) : file_(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGIO);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        if (fcntl(file_, F_SETLEASE, F_WRLCK) != 0) return;
        keeper_ = std::thread([this, signals] {
            int signal = 0;
            sigwait(&signals, &signal);
            fcntl(file_, F_SETLEASE, F_UNLCK);
        });
    }
    ~Lease() {
        if (isHeld()) kill(getpid(), SIGIO);  // ends the wait if no thread opened the file
        if (isHeld()) keeper_.join();
        close(file_);
    }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    /// Whether the file's disk has leases.
    bool isHeld() const { return keeper_.joinable(); }

private:
    const int file_;
    std::thread keeper_;
};
