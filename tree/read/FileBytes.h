// Contents of a tree's files: regular files only, opened without waiting.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tyktree {

/// What came of reading a file.
struct ReadResult {
    int error = 0;        ///< errno; 0: read to its end or to the limit
    bool regular = true;  ///< false: not a regular file, nothing was read
    uint64_t size = 0;    ///< length when it was opened
    bool ok() const { return error == 0 && regular; }
};

/// Reads at most `limit` bytes of the file at `path` into `out`, which is resized to what came.
ReadResult readFileBytes(const std::string& path, uint64_t limit, std::vector<uint8_t>& out);

/// Reads all of the file at `path` for its checksum() in `sum`, and keeps the first `limit` bytes
/// in `out`. Needs no more memory than those.
ReadResult readSummedFile(const std::string& path, uint64_t limit, std::vector<uint8_t>& out,
                          uint32_t& sum);

/// Words for a failed result: the system's reason, or "not a regular file".
std::string reasonOf(const ReadResult& result);

}  // namespace tyktree
