// The system properties of the desktop's device.
//
// property_get() gives the value set here; else that of the environment variable
// TYKSIM_PROPERTY_<name with every '.' and '-' written '_'>; else the caller's default. As on a
// device, an empty value counts as unset: the caller gets the default.
#pragma once

#include <string>

namespace tykhost {

/// Sets a property; values are cut at 91 bytes, the system's own limit, or at a NUL. An empty value
/// hides the environment's. Threads: any. Errors: std::bad_alloc.
void setProperty(const std::string& name, const std::string& value);

/// Removes every property set by setProperty(). Threads: any.
void clearProperties();

}  // namespace tykhost
