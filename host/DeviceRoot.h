// Where the device's folders lie on the desktop.
//
// A program that links tykhost defines the C library's path functions (fopen, open, creat, access,
// mkdir, opendir, stat, lstat and their 64-bit kin) itself. Paths at or below
// "/data/vendor/cameraserver" and "/vendor/firmware" are prefixed with the device root; every other
// path passes unchanged. This reaches every shared library of the process, from its first
// instruction to its last.
//
// Paths are compared as text: "/vendor/./firmware" is no device path, and ".." is left to the
// system. A path that becomes longer than the system takes fails with ENAMETOOLONG. The functions
// that are not listed (rename, unlink, ...) know nothing of the device: give them a hostPath().
// glibc 2.33 or later is needed.
#pragma once

#include <string>

namespace tykhost {

/// Sets the device root; "" lets all paths pass unchanged. Until it is called, the environment
/// variable TYKSIM_DEVICE_ROOT counts, as it stands when the first device path comes. Slashes at
/// the folder's end are dropped; the folder must not lie in a device folder itself.
/// Threads: any, but a file that another thread opens meanwhile may lie on either side, so call it
/// before. Ownership: the folder is copied and kept until the process ends.
/// Errors: std::bad_alloc.
void setDeviceRoot(const std::string& folder);

/// The device root in force, "" when there is none. Threads: any. Errors: std::bad_alloc.
std::string deviceRoot();

/// Where `devicePath` lies on the desktop. Threads: any. Errors: std::bad_alloc.
std::string hostPath(const std::string& devicePath);

}  // namespace tykhost
