// The tuning copies of a replayed tree, for the tree that is recorded from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// Gives a recording the tuning copies of the tree that it is made from. All pipes of a device
/// share them: they lie in the folder of one pipe, whichever is recorded.
class TuningCopies {
public:
    /// `from` is the folder that holds the copies, `root` the recording's device root. Sets the
    /// property of the version that the library looks for to one whose copy is there. Failure when
    /// `from` cannot be listed.
    TuningCopies(std::string from, std::string root);

    /// Before a frame with this value of the tuning tag is dumped: puts the copies where the
    /// library will look for the files that the value names. Failure when that does not work.
    void install(const void* table, size_t size) const;

    /// After the last frame: leaves the same copies as in the replayed tree, byte for byte.
    /// Failure when that does not work.
    void finish() const;

private:
    void installAs(const std::string& name) const;

    std::string from_;
    std::string root_;
    std::vector<std::string> names_;  ///< of the copies
};

}  // namespace tyksim
