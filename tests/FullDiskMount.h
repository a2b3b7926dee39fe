// A disk of a chosen size, or just a quick one, for tests.
#pragma once

#include <fstream>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

/// A file system in memory on a folder, in a view of the file systems that is this process's own.
/// Where the machine does not allow that, the folder stays as it is.
class MemoryDisk {
public:
    /// `options` as the system's tmpfs has them, like "size=64k,nr_inodes=9".
    explicit MemoryDisk(const std::string& folder, const char* options = "") : folder_(folder) {
        static const bool isPrivate = ownView();
        isMounted_ = isPrivate && mount("tmpfs", folder_.c_str(), "tmpfs", 0, options) == 0;
    }

    ~MemoryDisk() {
        if (isMounted_) umount2(folder_.c_str(), MNT_DETACH);
    }

    MemoryDisk(const MemoryDisk&) = delete;
    MemoryDisk& operator=(const MemoryDisk&) = delete;

    bool isMounted() const { return isMounted_; }

    bool resize(const std::string& options) const {
        return mount("tmpfs", folder_.c_str(), "tmpfs", MS_REMOUNT, options.c_str()) == 0;
    }

private:
    static bool ownView() {
        const std::string uid = std::to_string(geteuid());
        const std::string gid = std::to_string(getegid());
        if (unshare(CLONE_NEWNS) != 0) {
            // Who is not root may be root in a world of its own, where this user is the only one.
            if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
            std::ofstream("/proc/self/setgroups") << "deny";
            std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
            std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
        }
        return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }

    std::string folder_;
    bool isMounted_;
};
