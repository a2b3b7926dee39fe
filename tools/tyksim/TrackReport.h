// What `tyksim track` prints: a row of values per frame, as text, as CSV, and as JSON in two forms.
#pragma once

#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"

#include <memory>
#include <string>
#include <vector>

namespace tyksim {

class JsonDocument;

/// The values of one frame, in the order of the names.
using FrameRow = std::vector<tyktree::FrameValue>;

/// The tree of the next rows.
struct TrackedTree {
    std::string named;                             ///< the user's text
    std::string path;                              ///< of its folder
    const std::vector<tyktree::ValueName>& names;  ///< names of the values in the rows
    JsonDocument* json;                            ///< its document, of the form that has one
};

/// Takes the rows of one tree after the other, in order. One thread uses an object.
class TrackReport {
public:
    virtual ~TrackReport() = default;
    /// `tree` must exist until end(). Throws Failure if the form cannot hold the tree's names
    /// beside those of the tree before, and WrongUsage for a name that the form uses itself.
    virtual void begin(const TrackedTree& tree) = 0;
    /// `before` is the row of the frame before in the task, or null for the first.
    virtual void addRow(const tyktree::FrameRef& frame, const FrameRow& row,
                        const FrameRow* before) = 0;
    virtual void end() {}
};

enum class TrackForm { kText, kCsv, kDocument, kRows };

/// `several`: there are rows of more than one tree.
std::unique_ptr<TrackReport> makeTrackReport(TrackForm form, bool several);

}  // namespace tyksim
