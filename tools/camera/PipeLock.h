// One recorder at a time in a pipe's folder.
#pragma once

#include "core/File.h"

#include <string>

namespace tyksim {

/// Holds a pipe's folder for this process. The system lets go of it when the process ends, however
/// it ends; nothing is left in the folder.
class PipeLock {
public:
    /// `folder` must be there. Failure when another recorder holds it.
    explicit PipeLock(const std::string& folder);

private:
    Descriptor descriptor_;
};

}  // namespace tyksim
