// Allows only one recorder at a time in a pipe's folder.
#pragma once

#include "core/Descriptor.h"

#include <string>

namespace tyksim {

/// Locks a pipe's folder for this process. The system releases the lock when the process ends in
/// any way; no file remains in the folder. One thread at a time uses an object.
class PipeLock {
public:
    /// `folder` must exist. Throws Failure when another recorder has the lock.
    explicit PipeLock(const std::string& folder);

private:
    tykcore::Descriptor descriptor_;
};

}  // namespace tyksim
