// Differences in words and as JSON.
#pragma once

#include "tools/diff/DiffSummary.h"
#include "tools/output/Json.h"

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

/// How a file or parameter differs, in words.
std::string contentText(const ContentDifference& content);

/// How the names of a frame's files differ, in words: files with the same change of their sof id
/// together, others one by one.
std::vector<std::string> nameLines(const std::vector<NameDifference>& names);

/// Where a frame stands that comes in another order, in words.
std::string overtakenText(const tyktree::FrameRef& overtaken);

/// The member "summary".
Json toJson(const DiffSummary& summary);

/// Prints the summary and the worst frames as results. `by` says how frames were matched,
/// `complete` whether all of both sides could be read.
void printSummary(const DiffSummary& summary, const char* by, bool complete);

/// Prints one pair as results.
void printPair(const DifferentPair& pair);

}  // namespace tyksim
