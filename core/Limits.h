// How much the library carries.
#pragma once

/// Largest fixed-size value in bytes: what the buffer holds that every one of them passes through.
/// A larger value is neither dumped nor replayed.
constexpr int kMaxFixedBytes = 512000;
