// Writes the sheet's file. Pictures are written at once; values, which follow them in the document,
// are collected in a temporary file, so that memory does not grow with the frames.
#pragma once

#include "tools/files/OutputPath.h"
#include "tools/sheet/SheetOrder.h"
#include "tools/sheet/SheetRows.h"
#include "tree/check/Finding.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/ValueName.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tyksim {

/// The data of the sheet as a whole.
struct SheetHead {
    std::string tree;                    ///< the user's text
    std::optional<std::string> against;  ///< the second tree
    uint64_t onlyOther = 0;              ///< frames that only the second tree has
    uint32_t every = 1;                  ///< N: only every Nth frame is shown
    PicturePlan pictures;
    std::vector<tyktree::ValueName> plots;  ///< names of the values in SheetFrame::plots
};

/// The tree of a finding.
enum class Side { kMine, kOther };

/// Writes one sheet: frames, then findings, then commit(). Throws Failure. One thread at a time
/// uses an object.
class SheetWriter {
public:
    /// `output` is the page's place; throws like ResultFile. `catalog` must outlive the object.
    SheetWriter(const OutputRequest& output, SheetHead head, const tyktree::TagCatalog& catalog);

    /// Adds a pair of frames; the pairs of a task must follow each other. `place` has the task.
    void addFrame(const PlacedPair& place, const SheetPair& pair);

    /// Call this after the last frame.
    void endFrames();

    /// Adds a finding in the tree at `root`; its path is shown relative to `root`.
    void addFinding(const tyktree::Finding& finding, Side side, const std::string& root);

    /// Ends the document and moves the file to its place.
    void commit();

    /// Length of the page so far.
    uint64_t bytes() const { return bytes_; }

private:
    struct FileClose {
        void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
    };
    using TaskKey = std::pair<std::optional<int>, uint32_t>;  ///< pipe and position

    static TaskKey keyOf(const tyktree::FrameRef& frame);
    void beginTask(const PlacedPair& first);
    void addLine(const std::optional<SheetFrame>& frame);
    void write(std::string_view text);
    void addValues(std::string_view text);
    void copyValues();
    Json headJson() const;

    SheetHead head_;
    const tyktree::TagCatalog& catalog_;
    ResultFile file_;
    std::unique_ptr<std::FILE, FileClose> values_;
    SheetTags tags_;
    std::optional<SheetRows> mine_;
    std::optional<SheetRows> other_;
    std::optional<size_t> task_;  ///< task of the current frames
    uint64_t bytes_ = 0;
    std::map<TaskKey, size_t> tasks_;       ///< indices on the page
    std::map<TaskKey, size_t> otherTasks_;  ///< indices of their counterparts' tasks
    bool firstLine_ = true;
    bool firstFinding_ = true;
};

}  // namespace tyksim
