// The multi-frame noise-reduction (MFNR) stage's tuning file, named by tag 65622.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t kMfnrTag = 65622;

/// The tag's value: a table of file names, ended by an empty one.
constexpr int kMfnrNames = 32;
constexpr size_t kMfnrNameBytes = 128;
constexpr size_t kMfnrTableBytes = kMfnrNames * kMfnrNameBytes;
static_assert(kMfnrTableBytes == 4096, "the table is shared with the pipeline");
