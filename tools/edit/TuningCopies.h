// The tuning copies of a replayed tree, for the tree that is recorded from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// Gives a recording the tuning copies of the tree from which it is made. All pipes of a device
/// share the copies, which are in the folder of one pipe. One thread at a time uses an object.
class TuningCopies {
public:
    /// `from` is the folder of the copies, `root` the recording's device root. Sets the property
    /// with the MFNR version to one whose copy exists. Throws Failure when `from` cannot be listed.
    TuningCopies(std::string from, std::string root);

    /// Call this before a frame with this value of the tuning tag is dumped: it puts the copies
    /// where the library looks for the files that the value names. Throws Failure.
    void install(const void* table, size_t size) const;

    /// Call this after the last frame: it leaves the same copies as in the replayed tree, byte for
    /// byte. Throws Failure.
    void finish() const;

private:
    void installAs(const std::string& name) const;

    std::string from_;
    std::string root_;
    std::vector<std::string> names_;  ///< names of the copies
};

}  // namespace tyksim
