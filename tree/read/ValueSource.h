// Values of frames that are computed from a tree's files, such as measures of images.
#pragma once

#include "tags/Problem.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

class FrameListing;
struct FrameValue;

/// Has names and values of its own. A NAME may be one of these, like a tag or a scene field.
/// Threads: any. Errors: std::bad_alloc; readers may throw.
class ValueSource {
public:
    /// Reads the values of some names. One thread at a time uses an object.
    class Reader {
    public:
        virtual ~Reader() = default;
        /// The values of one frame, in the order of the names. `before` is the folder of the frame
        /// before it in its task; "" if there is none.
        virtual std::vector<FrameValue> read(const FrameListing& frame,
                                             const std::string& before) = 0;
    };

    virtual ~ValueSource() = default;

    /// Whether `name`, valid or not, belongs to this source.
    virtual bool claims(std::string_view name) const = 0;

    /// Checks a claimed name. The problem has no path.
    virtual tyktags::Status check(std::string_view name) const = 0;

    /// All names, for suggestions of similar ones.
    virtual std::vector<std::string> names() const = 0;

    /// Makes a reader of these names, which check() must accept. The source must outlive it.
    virtual std::unique_ptr<Reader> reader(const std::vector<std::string>& names) const = 0;
};

}  // namespace tyktree
