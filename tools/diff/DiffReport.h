// Prints the comparison of `tyksim diff`, as text or as JSON.
#pragma once

#include "tools/diff/DiffSummary.h"
#include "tools/diff/FrameMatch.h"

#include <memory>
#include <string>
#include <vector>

namespace tyksim {

class JsonDocument;

/// The result of a comparison.
struct DiffResult {
    const DiffSummary& frames;
    const std::vector<ContentDifference>& tuningCopies;  ///< the different ones
    bool complete;                                       ///< both sides could be read completely
    bool same;
};

/// Takes one comparison. One thread uses an object.
class DiffReport {
public:
    virtual ~DiffReport() = default;
    /// `a` and `b` are the paths of the two sides.
    virtual void begin(const std::string& a, const std::string& b) = 0;
    /// Takes a pair of frames that differ or of which one is missing, in the order of the frames.
    virtual void addPair(const FramePair& frames, const FrameDifference& difference) = 0;
    virtual void end(const DiffResult& result) = 0;
};

/// Makes a report into `json`, which must outlive the object, or as text if it is null. `by` tells
/// how frames were matched.
std::unique_ptr<DiffReport> makeDiffReport(JsonDocument* json, MatchBy by);

}  // namespace tyksim
