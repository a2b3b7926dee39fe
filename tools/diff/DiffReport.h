// What a comparison comes to, as text and as JSON.
#pragma once

#include "tools/diff/DiffSummary.h"
#include "tools/json/Json.h"

#include <string>
#include <vector>

namespace tyksim {

/// {"psnr", "max", "mean", "pixels", "samples"}; the ratio of planes that are equal is null. Null
/// where no samples were compared.
Json toJson(const PlaneDifference& plane);

/// {"y", "u", "v"}.
Json toJson(const PictureDifference& picture);

/// One entry of "frames".
Json toJson(const FramePair& frames, const FrameDifference& difference);

/// Files by themselves, as the "files" of a frame.
Json toJson(const std::vector<ContentDifference>& files);

/// The member "summary".
Json toJson(const DiffSummary& summary);

/// Prints the summary and the worst frames as results. `by` says how frames were matched,
/// `complete` whether all of both sides could be read.
void printSummary(const DiffSummary& summary, const char* by, bool complete);

/// Prints one pair as results.
void printPair(const DifferentPair& pair);

}  // namespace tyksim
