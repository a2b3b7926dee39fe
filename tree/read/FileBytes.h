// Reads the contents of a tree's files: regular files only, opened without waiting. Threads: any.
// Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyktree {

/// Reads at most `limit` bytes of the file at `path` into `out`, which is resized to the bytes
/// read. Returns the file's length at the time of opening. A problem is that of a RegularFile.
tyktags::Result<uint64_t> readFileBytes(const std::string& path, uint64_t limit,
                                        std::vector<uint8_t>& out);

/// Reads the whole file at `path`, stores its checksum() in `sum` and the first `limit` bytes in
/// `out`. Needs memory for these bytes only. Returns the same as readFileBytes().
tyktags::Result<uint64_t> readSummedFile(const std::string& path, uint64_t limit,
                                         std::vector<uint8_t>& out, uint32_t& sum);

}  // namespace tyktree
