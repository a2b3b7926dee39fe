// What `tyksim track` prints: a row of values per frame, as text, as CSV and as JSON.
#pragma once

#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"

#include <memory>
#include <vector>

namespace tyksim {

class JsonDocument;

/// The values of one frame, in the order of the names.
using FrameRow = std::vector<tyktree::FrameValue>;

/// Takes the rows of one tree in its order. Called from one thread.
class TrackReport {
public:
    virtual ~TrackReport() = default;
    virtual void begin() = 0;
    /// `before` is the row of the task's frame before, and null for its first.
    virtual void addRow(const tyktree::FrameRef& frame, const FrameRow& row,
                        const FrameRow* before) = 0;
    virtual void end() = 0;
};

/// Reports into `json`, or where it is null as CSV or as text. `json` and `names` must outlive the
/// object.
std::unique_ptr<TrackReport> makeTrackReport(JsonDocument* json, bool asCsv,
                                             const std::vector<tyktree::ValueName>& names);

}  // namespace tyksim
