// Differences in words and as JSON.
#pragma once

#include "tools/diff/DiffSummary.h"
#include "tools/output/Json.h"

#include <string>
#include <vector>

namespace tyksim {

/// {"psnr", "max", "mean", "pixels"}; the ratio of planes that are equal is null.
Json toJson(const PlaneDifference& plane);

/// {"y", "u", "v"}.
Json toJson(const PictureDifference& picture);

/// One entry of "frames".
Json toJson(const FramePair& frames, const FrameDifference& difference);

/// Files by themselves, as the "files" of a frame.
Json toJson(const std::vector<ContentDifference>& files);

/// How a file or parameter differs, in words.
std::string contentText(const ContentDifference& content);

/// The member "summary".
Json toJson(const DiffSummary& summary);

/// Prints the summary and the worst frames as results. `by` says how frames were matched.
void printSummary(const DiffSummary& summary, const char* by);

/// Prints one pair as results.
void printPair(const DifferentPair& pair);

}  // namespace tyksim
