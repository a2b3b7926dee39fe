// What `tyksim diff` prints of a comparison, as text and as JSON.
#pragma once

#include "tools/diff/DiffSummary.h"
#include "tools/diff/FrameMatch.h"

#include <memory>
#include <string>
#include <vector>

namespace tyksim {

class JsonDocument;

/// What a comparison comes to.
struct DiffResult {
    const DiffSummary& frames;
    const std::vector<ContentDifference>& tuningCopies;  ///< the different ones
    bool complete;                                       ///< all of both sides could be read
    bool same;
};

/// Takes one comparison. Called from one thread.
class DiffReport {
public:
    virtual ~DiffReport() = default;
    /// `a` and `b` are the paths of the two sides.
    virtual void begin(const std::string& a, const std::string& b) = 0;
    /// A pair of frames that are not the same or of which only one is there, in the order of the
    /// frames.
    virtual void addPair(const FramePair& frames, const FrameDifference& difference) = 0;
    virtual void end(const DiffResult& result) = 0;
};

/// Reports into `json`, which must outlive the object, or where it is null as text. `by` is how
/// frames were matched.
std::unique_ptr<DiffReport> makeDiffReport(JsonDocument* json, MatchBy by);

}  // namespace tyksim
