#include "bench/WorkFolder.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <linux/magic.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

void failWithErrno(const char* operation, const std::string& path) {
    throw std::system_error(errno, std::generic_category(), operation + (" " + path));
}

WorkFolder::WorkFolder(const std::string& parent, int64_t bytes)
    : path_(parent + "/tykbench.XXXXXX") {
    const uintmax_t room = fs::space(parent).available;
    if (room < static_cast<uintmax_t>(bytes)) {
        throw std::runtime_error(
            fmt::format("{}: expected {} MiB of room, found {}", parent, bytes >> 20, room >> 20));
    }
    if (!::mkdtemp(path_.data())) failWithErrno("mkdtemp", path_);
}

WorkFolder::~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string WorkFolder::make(const std::string& name) const {
    fs::create_directory(path_ + "/" + name);
    return path_ + "/" + name;
}

void WorkFolder::remove(const std::string& name, int entries) const {
    const uintmax_t removed = fs::remove_all(path_ + "/" + name);
    if (removed == static_cast<uintmax_t>(entries)) return;
    throw std::runtime_error(
        fmt::format("{}/{}: expected {} entries, found {}", path_, name, entries, removed));
}

Cost WorkFolder::run(const std::string& command) const {
    const auto start = std::chrono::steady_clock::now();
    // Forks, because a spawned process counts this process's memory as its own at first.
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string script = "set -e; exec >/dev/null\n" + command;
        if (::chdir(path_.c_str()) == 0) ::execlp("sh", "sh", "-c", script.c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || ::wait4(child, &status, 0, &usage) != child) failWithErrno("run", command);
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    if (status != 0) {
        throw std::runtime_error(
            fmt::format("{}: expected status 0, found {}", command, WEXITSTATUS(status)));
    }
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return {passed.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / 1024};
}

bool WorkFolder::isTmpfs() const {
    struct statfs status {};
    if (::statfs(path_.c_str(), &status) != 0) failWithErrno("statfs", path_);
    return status.f_type == TMPFS_MAGIC;
}
