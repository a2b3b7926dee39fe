#include "host/DeviceRoot.h"

#include "host/DevicePath.h"
#include "host/NoDestructor.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <set>
#include <string_view>

namespace tykhost {
namespace {

constexpr std::string_view kDeviceFolders[] = {"/data/vendor/cameraserver", "/vendor/firmware"};

// Constructors and destructors of other static objects may open files before and after main().
// Therefore this state needs no initialisation at run time and is never destroyed. A replaced
// folder stays allocated, because another thread may still read it.
std::atomic<const std::string*> rootInForce{nullptr};
std::mutex rootsMutex;

const std::string* keep(std::string_view folder) {
    static NoDestructor<std::set<std::string>> roots;
    while (!folder.empty() && folder.back() == '/') folder.remove_suffix(1);
    const std::lock_guard<std::mutex> lock(rootsMutex);
    return &*(*roots).emplace(folder).first;
}

const std::string& currentRoot() {
    const std::string* root = rootInForce.load(std::memory_order_acquire);
    if (root != nullptr) return *root;
    const char* environment = std::getenv("TYKSIM_DEVICE_ROOT");
    const std::string* first = keep(environment != nullptr ? environment : "");
    // If another thread has set a root meanwhile, that one counts.
    if (rootInForce.compare_exchange_strong(root, first, std::memory_order_acq_rel)) return *first;
    return *root;
}

bool isDevicePath(const char* path) {
    for (const std::string_view folder : kDeviceFolders) {
        if (std::strncmp(path, folder.data(), folder.size()) != 0) continue;
        const char after = path[folder.size()];
        if (after == '\0' || after == '/') return true;
    }
    return false;
}

}  // namespace

void setDeviceRoot(const std::string& folder) {
    rootInForce.store(keep(folder), std::memory_order_release);
}

std::string deviceRoot() {
    return currentRoot();
}

std::string hostPath(const std::string& devicePath) {
    return isDevicePath(devicePath.c_str()) ? currentRoot() + devicePath : devicePath;
}

DevicePath::DevicePath(const char* path) noexcept : path_(path), passes_(true) {
    if (path == nullptr || !isDevicePath(path)) return;
    try {
        const std::string& root = currentRoot();
        const size_t length = std::strlen(path) + 1;
        if (length > kSize || root.size() > kSize - length) {
            errno = ENAMETOOLONG;
            passes_ = false;
            return;
        }
        std::memcpy(buffer_, root.data(), root.size());
        std::memcpy(buffer_ + root.size(), path, length);
        path_ = buffer_;
    } catch (const std::exception&) {
        errno = ENOMEM;
        passes_ = false;
    }
}

}  // namespace tykhost
