// Summarises the differences of many frames. One thread at a time uses an object.
#pragma once

#include "tools/diff/FrameDifference.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyksim {

/// A pair of frames that differ.
struct DifferentPair {
    FramePair frames;
    FrameDifference difference;
    uint64_t order = 0;  ///< position among all pairs
};

/// The summary of all pairs. It keeps the worst pairs, and only numbers of the others.
class DiffSummary {
public:
    /// Keeps the `worst` worst pairs.
    explicit DiffSummary(size_t worst) : most_(worst) {}

    /// Counts a pair. The difference is empty if only one side has the frame.
    void add(const FramePair& frames, FrameDifference difference);

    /// The differences of one tag or file over the frames.
    struct Content {
        uint64_t frames = 0;
        uint64_t onlyA = 0;
        uint64_t onlyB = 0;
        uint64_t mostBytes = 0;                  ///< most different bytes in one frame
        std::map<std::string, uint64_t> fields;  ///< frames in which each field differs
    };

    /// All different images together.
    struct Images {
        uint64_t frames = 0;
        uint64_t notCompared = 0;  ///< missing on one side, of different sizes or unreadable
        PictureDifference samples;
    };

    /// Whether every frame has an equal counterpart; false if nothing was compared.
    bool same() const { return matched > 0 && different == 0 && onlyA.empty() && onlyB.empty(); }
    /// Worst first.
    std::vector<const DifferentPair*> worst() const;

    uint64_t matched = 0;
    uint64_t different = 0;  ///< different pairs
    /// Request ids of the frames that only one side has; 0 for a frame whose name has none.
    std::vector<int64_t> onlyA;
    std::vector<int64_t> onlyB;
    uint64_t problems = 0;
    std::map<std::string, Content> tags;
    std::map<std::string, Content> files;
    std::map<std::string, uint64_t> scene;  ///< frames in which each field differs
    uint64_t sofs = 0;                      ///< frames with names of files that differ in sof ids
    uint64_t otherNames = 0;                ///< frames with names of files that differ otherwise
    uint64_t moved = 0;                     ///< frames in another order
    Images images;

private:
    void count(const FrameDifference& difference);
    void keep(DifferentPair pair);

    size_t most_;
    std::vector<DifferentPair> worst_;
};

}  // namespace tyksim
