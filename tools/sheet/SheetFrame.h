// One frame as the sheet takes it out of a tree: facts, parameters, scene record, plotted values
// and pictures.
#pragma once

#include "tools/json/Json.h"
#include "tools/sheet/FramePictures.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tyksim {

/// A parameter file.
struct SheetParameter {
    std::string tag;
    int camera = 0;
    int pipe = 0;  ///< pipe type
    int dumpType = 0;
    uint64_t size = 0;
    std::string crc;  ///< hexadecimal, or why the file cannot be read
    Json content;     ///< as the page takes it; see model.js
};

/// A frame, read.
struct SheetFrame {
    const tyktree::FrameEntry* entry = nullptr;
    std::set<std::string>
        problems;  ///< what of it cannot be read, each a line with path and reason
    std::optional<int> camera;
    uint64_t files = 0;
    uint64_t bytes = 0;
    std::vector<Json> plots;
    std::vector<SheetParameter> parameters;
    Json scene;  ///< the record's fields as a list, or null
    FrameImage image;
};

/// Reads frames. One object serves one thread.
class SheetFrameReader {
public:
    /// `plots` are the names that are plotted; the catalog and the plan must outlive the object.
    SheetFrameReader(const tyktree::TagCatalog& catalog,
                     const std::vector<tyktree::ValueName>& plots, const PicturePlan& pictures);

    /// Pictures are made of the image if they are `drawn`; else it only gives figures.
    SheetFrame read(const tyktree::FrameRef& frame, bool drawn);

    /// The frame without a look into its image, of which path and layout are known.
    SheetFrame readValues(const tyktree::FrameRef& frame);

    FramePictureMaker& pictures() { return pictures_; }

private:
    void addValues(SheetFrame& frame, const std::string& before);
    SheetParameter readParameter(const tyktree::FileEntry& file, SheetFrame& frame) const;
    std::string pathOf(const tyktree::FileEntry& file) const;

    const tyktree::TagCatalog& catalog_;
    tyktree::FrameListing listing_;
    tyktree::FrameValueReader values_;  ///< the scene record's fields, then what is plotted
    const AssumedPicture& assumed_;
    FramePictureMaker pictures_;
};

}  // namespace tyksim
