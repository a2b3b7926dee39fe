// Size limits of the library.
#pragma once

/// Largest fixed-size value in bytes: the size of the buffer through which these values pass. The
/// library neither dumps nor replays a larger value.
constexpr int kMaxFixedBytes = 512000;
