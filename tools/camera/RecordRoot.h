// Checks the device root of a recording. Threads: any.
#pragma once

#include <string>
#include <vector>

namespace tyksim {

/// The absolute form of `given`, with links resolved and without a trailing slash ("" is the root
/// of the file system). Throws WrongUsage, with the command that was probably meant, if it is a
/// photograph or another file (`images` are the photographs after it), or part of a tree: the new
/// tree would be inside that one.
std::string recordRoot(const std::string& given, const std::vector<std::string>& images);

}  // namespace tyksim
