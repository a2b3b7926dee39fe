// Measures the library beside the floor, and beside what a person would use instead.
#pragma once

#include "bench/Chapter.h"

enum class Direction { kDump, kReplay };

/// What the rounds of one measurement gave; no round: it was not run.
struct PairResult {
    int rounds = 0;
    double ratio = 0;  ///< median of the rounds' library/floor
    double lowerQuartile = 0;
    double upperQuartile = 0;
    double seconds = 0;  ///< the library's median per frame
};

/// Checks once that both sides do the same, byte for byte, then runs one round per iteration of
/// `state`: library, floor, floor, library, the next round the other way about, so that a drift of
/// the machine hits both alike. What was dumped is removed outside the measured time.
/// Errors: std::runtime_error.
PairResult measurePairs(benchmark::State& state, const WorkFolder& folder, const Shape& shape,
                        Direction direction);

/// Median seconds per frame of cp and tar, the start of the process included.
struct OtherToolsResult {
    double copySeconds = 0;
    double packSeconds = 0;
    double unpackSeconds = 0;
};

/// Frames that one process copies, packs or unpacks.
constexpr int kOtherToolsFrames = 3;

/// Lets the library dump the frames, then copies, packs and unpacks them once per iteration of
/// `state`. Errors: std::runtime_error, also when a tool is missing or fails.
OtherToolsResult measureOtherTools(benchmark::State& state, const WorkFolder& folder,
                                   const Shape& shape);
