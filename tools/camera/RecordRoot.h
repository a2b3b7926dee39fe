// Which folders a recording takes as the root of a device.
#pragma once

#include <string>
#include <vector>

namespace tyksim {

/// `given` from the file system's root, its links resolved, without a slash at its end: "" is the
/// root itself. WrongUsage, with the command that was probably meant, where it is a photograph or
/// another file (`images` are the photographs that follow it), or part of a tree: the new tree
/// would lie inside that one.
std::string recordRoot(const std::string& given, const std::vector<std::string>& images);

}  // namespace tyksim
