// What many frames' differences come to.
#pragma once

#include "tools/diff/FrameDifference.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyksim {

/// A pair of frames that is not the same.
struct DifferentPair {
    FramePair frames;
    FrameDifference difference;
    uint64_t order = 0;  ///< among all pairs
};

/// Over all pairs; holds the worst of them and numbers about the rest.
class DiffSummary {
public:
    /// Keeps the `worst` worst pairs.
    explicit DiffSummary(size_t worst) : most_(worst) {}

    /// Counts a pair, of which the difference is empty where only one side has the frame.
    void add(const FramePair& frames, FrameDifference difference);

    /// How one tag or file differs over the frames.
    struct Content {
        uint64_t frames = 0;
        uint64_t onlyA = 0;
        uint64_t onlyB = 0;
        uint64_t mostBytes = 0;                  ///< that differ in one frame
        std::map<std::string, uint64_t> fields;  ///< frames in which each differs
    };

    /// The images that differ, taken together.
    struct Images {
        uint64_t frames = 0;
        uint64_t notCompared = 0;  ///< missing in one, of another size or unreadable
        PictureDifference samples;
    };

    /// Every frame has its counterpart, which is the same. Nothing compared is not the same.
    bool same() const { return matched > 0 && different == 0 && onlyA.empty() && onlyB.empty(); }
    /// Worst first.
    std::vector<const DifferentPair*> worst() const;

    uint64_t matched = 0;
    uint64_t different = 0;  ///< of the matched
    /// Request ids of the frames that only one side has; 0 for one whose name has none.
    std::vector<int64_t> onlyA;
    std::vector<int64_t> onlyB;
    uint64_t problems = 0;
    std::map<std::string, Content> tags;
    std::map<std::string, Content> files;
    std::map<std::string, uint64_t> scene;  ///< frames in which each field differs
    uint64_t sofs = 0;        ///< frames with files' names that differ in their sof ids
    uint64_t otherNames = 0;  ///< frames with files' names that differ otherwise
    uint64_t moved = 0;       ///< frames that stand in another order
    Images images;

private:
    void count(const FrameDifference& difference);
    void keep(DifferentPair pair);

    size_t most_;
    std::vector<DifferentPair> worst_;
};

}  // namespace tyksim
