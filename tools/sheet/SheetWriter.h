// The sheet's file: pictures are written as they come; values, which stand behind them in the
// document, wait in a temporary file, so that memory does not grow with the frames.
#pragma once

#include "tools/output/OutputPath.h"
#include "tools/sheet/SheetRows.h"
#include "tree/Finding.h"
#include "tree/FrameSelection.h"
#include "tree/Values.h"

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

/// What the sheet as a whole is about.
struct SheetHead {
    std::string tree;                       ///< as it was named
    std::string root;                       ///< its folder; findings' paths are shown from there
    std::optional<std::string> against;     ///< the second tree
    uint64_t onlyOther = 0;                 ///< frames that only the second tree has
    uint32_t every = 1;                     ///< only every so manyth frame is shown
    std::vector<tyktree::ValueName> plots;  ///< what SheetFrame::plots holds
};

/// Writes one sheet: frames, then findings, then commit(). Errors are a Failure.
class SheetWriter : public tyktree::FindingSink {
public:
    /// `catalog` must outlive the object.
    SheetWriter(const std::string& path, SheetHead head, const tyktree::TagCatalog& catalog);

    /// Frames of a task stand together. `ref` is where `pair.mine` comes from.
    void addFrame(const tyktree::FrameRef& ref, const SheetPair& pair);

    /// After the last frame.
    void endFrames();

    void add(const tyktree::Finding& finding) override;

    /// Ends the document and gives the file its name.
    void commit();

private:
    struct FileClose {
        void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
    };
    using TaskKey = std::pair<std::optional<int>, uint32_t>;  ///< pipe and position

    void beginTask(const tyktree::FrameRef& first);
    void addLine(const std::string& line);
    void addValues(std::string_view text);
    void copyValues();
    Json headJson() const;

    SheetHead head_;
    const tyktree::TagCatalog& catalog_;
    OutputFile file_;
    std::unique_ptr<std::FILE, FileClose> values_;
    SheetTags tags_;
    std::optional<SheetRows> mine_;
    std::optional<SheetRows> other_;
    const tyktree::TaskEntry* task_ = nullptr;  ///< whose frames come
    std::map<TaskKey, size_t> tasks_;           ///< their number on the page
    bool firstLine_ = true;
    bool firstFinding_ = true;
};

}  // namespace tyksim
