// Statistics of a task's files: for each tag, camera, pipe type and dump type the number of files,
// their sizes, and the frames that have one. They take one bit per frame and column.
#pragma once

#include "tree/read/FrameListing.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyktree {

/// The bit of the frame at `position`; `bits` is indexed by position - 1.
inline bool bitAt(const std::vector<bool>& bits, uint32_t position) {
    return position <= bits.size() && bits[position - 1];
}

/// A parameter's size in one frame.
struct SizeAt {
    uint32_t position;
    uint64_t bytes;
};

/// The files of one kind of parameter in the frames of a task.
struct ParameterColumn {
    std::string tagName;
    int camId = 0;
    int pipe = 0;  ///< pipe type
    int dumpType = 0;
    uint64_t count = 0;                  ///< files
    uint64_t bytes = 0;                  ///< sum over all files
    std::map<uint64_t, uint32_t> sizes;  ///< size to number of files; at most kMaxSizes
    std::vector<bool> frames;            ///< by position - 1
    /// For fixed-size values: the first size added, and the frames with another size. Beyond
    /// kMaxOddSizes of these, only `sizes` counts them.
    uint64_t firstSize = 0;
    std::vector<SizeAt> oddSizes;

    static constexpr size_t kMaxSizes = 64;
    static constexpr size_t kMaxOddSizes = 65536;
    /// The size that most files have; the largest such size if there are several.
    uint64_t usualSize() const;
    /// Number of frames that have a file of this kind.
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

/// Collects the statistics from a task's listings, in any order. Threads: the object has no lock.
/// Several threads may read it at once; while one calls add(), no other thread may use it, so a
/// caller that adds from several threads must lock. Ownership: listings are not kept. Errors:
/// std::bad_alloc.
class TaskStatistics {
public:
    explicit TaskStatistics(size_t frames);

    void add(uint32_t position, const FrameListing& listing);

    /// In the order of adding.
    const std::vector<ParameterColumn>& columns() const { return columns_; }
    const std::map<Geometry, uint64_t>& geometries() const { return geometries_; }
    uint64_t files() const { return files_; }
    uint64_t bytes() const { return bytes_; }
    /// The frames that have an image, or any file of the scene record.
    const std::vector<bool>& images() const { return images_; }
    const std::vector<bool>& sceneParts() const { return sceneParts_; }
    /// The frames that have files of a camera, by camera id.
    const std::map<int, std::vector<bool>>& cameras() const { return cameras_; }
    /// The frames that have an image of a camera, by camera id.
    const std::map<int, std::vector<bool>>& imageCameras() const { return imageCameras_; }

private:
    ParameterColumn& columnOf(const ParamFileName& name, size_t expected);
    void addParameter(size_t index, const FileEntry& file, size_t expected);
    void setCamera(int camId, size_t index);

    std::vector<ParameterColumn> columns_;
    std::map<std::string, std::vector<size_t>, std::less<>> byName_;
    std::map<Geometry, uint64_t> geometries_;
    std::map<int, std::vector<bool>> cameras_, imageCameras_;
    std::vector<bool> images_, sceneParts_;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

class TagCatalog;

/// Derives a tag for every name among the columns, for a tree without a tag table: a fixed-size tag
/// with the size that most files have if a file has dump type 0, else a block. The tags that the
/// library itself knows by id keep their ids; other ids are made up. Threads: any that may read
/// `tasks`. Errors: std::bad_alloc.
TagCatalog deriveCatalog(const std::vector<const TaskStatistics*>& tasks);

}  // namespace tyktree
