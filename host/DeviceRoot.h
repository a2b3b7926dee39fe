// The place of the device's folders on the desktop.
//
// A program that links tykhost defines the C library's path functions (fopen, open, creat, access,
// mkdir, opendir, stat, lstat and their 64-bit kin) itself. Paths at or below
// "/data/vendor/cameraserver" and "/vendor/firmware" are prefixed with the device root; every other
// path passes unchanged. This affects every shared library of the process, from load to exit.
//
// Paths are compared as text: "/vendor/./firmware" is not a device path, and the system resolves
// "..". A path that becomes too long for the system fails with ENAMETOOLONG. Functions that are not
// listed (rename, unlink, ...) do not translate paths: pass them a hostPath(). This needs glibc
// 2.33 or later.
#pragma once

#include <string>

namespace tykhost {

/// Sets the device root; "" lets all paths pass unchanged. Before the first call, the environment
/// variable TYKSIM_DEVICE_ROOT sets the root; it is read with the first device path. Slashes at the
/// folder's end are dropped; the folder must not lie in a device folder itself. Threads: any, but a
/// file that another thread opens meanwhile may lie below either root. Ownership: the folder is
/// copied and kept until the process ends. Errors: std::bad_alloc.
void setDeviceRoot(const std::string& folder);

/// The device root in force, "" when there is none. Threads: any. Errors: std::bad_alloc.
std::string deviceRoot();

/// The desktop's path for `devicePath`. Threads: any. Errors: std::bad_alloc.
std::string hostPath(const std::string& devicePath);

}  // namespace tykhost
