// What a task's frames have in common: per tag, camera, pipe type and dump type the count, the
// sizes, and in which frames. Compact: a bit a frame and column.
#pragma once

#include "tree/read/FrameListing.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyktree {

/// Whether the frame at a position has what `bits` tells of, by position - 1.
inline bool bitAt(const std::vector<bool>& bits, uint32_t position) {
    return position <= bits.size() && bits[position - 1];
}

/// The size that a parameter has in one frame.
struct SizeAt {
    uint32_t position;
    uint64_t bytes;
};

/// One kind of parameter file.
struct Column {
    std::string tagName;
    int camId = 0;
    int pipe = 0;  ///< pipe type
    int dumpType = 0;
    uint64_t count = 0;                  ///< files
    uint64_t bytes = 0;                  ///< of all files
    std::map<uint64_t, uint32_t> sizes;  ///< size to number of files; at most kMaxSizes
    std::vector<bool> frames;            ///< by position - 1
    /// Of fixed-size values: the size that was seen first and where it is another; at most
    /// kMaxOddSizes, beyond which only `sizes` counts them.
    uint64_t firstSize = 0;
    std::vector<SizeAt> oddSizes;

    static constexpr size_t kMaxSizes = 64;
    static constexpr size_t kMaxOddSizes = 65536;
    /// The size that most files have; of several the largest.
    uint64_t usualSize() const;
    /// Number of frames that have it.
    uint64_t frameCount() const;
    bool in(uint32_t position) const { return bitAt(frames, position); }
};

/// An image size in pixels.
struct Geometry {
    int width = 0;
    int height = 0;
    bool operator<(const Geometry& other) const;
    bool operator==(const Geometry& other) const;
};

/// Fed with a task's listings in any order. Several threads may read one object; add() is one
/// thread's alone.
class TaskStatistics {
public:
    explicit TaskStatistics(size_t frames);

    void add(uint32_t position, const FrameListing& listing);

    const std::vector<Column>& columns() const { return columns_; }  ///< in order of first sight
    const std::map<Geometry, uint64_t>& geometries() const { return geometries_; }
    uint64_t files() const { return files_; }
    uint64_t bytes() const { return bytes_; }
    /// Frames that have an image, an XML file of the scene record, any file of the record at all.
    const std::vector<bool>& images() const { return images_; }
    const std::vector<bool>& scenes() const { return scenes_; }
    const std::vector<bool>& sceneParts() const { return sceneParts_; }
    /// The frames that have files of a camera, by its id.
    const std::map<int, std::vector<bool>>& cameras() const { return cameras_; }
    /// The frames that have an image of a camera, by its id.
    const std::map<int, std::vector<bool>>& imageCameras() const { return imageCameras_; }

private:
    Column& columnOf(const ParamFileName& name, size_t expected);
    void addParameter(size_t index, const FileEntry& file, size_t expected);
    void setCamera(int camId, size_t index);

    std::vector<Column> columns_;
    std::map<std::string, std::vector<size_t>, std::less<>> byName_;
    std::map<Geometry, uint64_t> geometries_;
    std::map<int, std::vector<bool>> cameras_, imageCameras_;
    std::vector<bool> images_, scenes_, sceneParts_;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

/// A tag for every name among the columns, for a tree that came without a table: fixed-size with
/// the size that most files have where one is of dump type 0, else a block. The tags that the
/// library itself treats by id keep their ids and names; other ids are made up.
class TagCatalog;
TagCatalog deriveCatalog(const std::vector<const TaskStatistics*>& tasks);

}  // namespace tyktree
