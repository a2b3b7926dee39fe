// Contents of a tree's files: regular files only, opened without waiting.
#pragma once

#include "tags/Problem.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyktree {

/// Reads at most `limit` bytes of the file at `path` into `out`, which is resized to what came.
/// Returns the file's length when it was opened. A problem is that of a RegularFile.
tyktags::Result<uint64_t> readFileBytes(const std::string& path, uint64_t limit,
                                        std::vector<uint8_t>& out);

/// Reads all of the file at `path` for its checksum() in `sum`, and keeps the first `limit` bytes
/// in `out`. Needs no more memory than those. Returns what readFileBytes() does.
tyktags::Result<uint64_t> readSummedFile(const std::string& path, uint64_t limit,
                                         std::vector<uint8_t>& out, uint32_t& sum);

}  // namespace tyktree
