// Reads one frame for the sheet: facts, parameters, scene record, plotted values and pictures.
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
    Json content;     ///< in the page's form; see page/data.js
};

/// The data of a frame.
struct SheetFrame {
    const tyktree::FrameEntry* entry = nullptr;
    std::set<std::string> problems;  ///< unreadable files, each a line with path and reason
    std::optional<int> camera;
    uint64_t files = 0;
    uint64_t bytes = 0;
    std::vector<Json> plots;
    std::vector<SheetParameter> parameters;
    Json scene;  ///< the record's fields as a list, or null
    FrameImage image;
};

/// Reads frames. One thread at a time uses an object.
class SheetFrameReader {
public:
    /// `plots` are the plotted names; the catalog and the plan must outlive the object.
    SheetFrameReader(const tyktree::TagCatalog& catalog,
                     const std::vector<tyktree::ValueName>& plots, const PicturePlan& pictures);

    /// With `drawn` makes pictures of the image, else only its statistics. Throws WrongUsage when
    /// the assumed stride is smaller than a row.
    SheetFrame read(const tyktree::FrameRef& frame, bool drawn);

    /// Reads the frame without its image; sets only the image's path and layout. Throws like
    /// read().
    SheetFrame readValues(const tyktree::FrameRef& frame);

    FramePictureMaker& pictures() { return pictures_; }

private:
    void addValues(SheetFrame& frame, const std::string& before);
    SheetParameter readParameter(const tyktree::FileEntry& file, SheetFrame& frame) const;

    const tyktree::TagCatalog& catalog_;
    tyktree::FrameListing listing_;
    tyktree::FrameValueReader values_;  ///< the scene record's fields, then the plotted values
    const AssumedPicture& assumed_;
    FramePictureMaker pictures_;
};

}  // namespace tyksim
