// Values of frames that are not stored in the tree but made from what is, such as measures of
// images.
#pragma once

#include "tags/Problem.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

class FrameListing;
struct FrameValue;

/// Brings values under names of its own, which then stand beside tags and scene fields wherever a
/// NAME does. Threads: any.
class ValueSource {
public:
    /// Reads the values of some names. One object serves one thread.
    class Reader {
    public:
        virtual ~Reader() = default;
        /// The values of one frame, in the order of the names. `before` is the folder of the frame
        /// before it in its task, "" where there is none.
        virtual std::vector<FrameValue> read(const FrameListing& frame,
                                             const std::string& before) = 0;
    };

    virtual ~ValueSource() = default;

    /// Whether `name` is meant for this source, be it right or wrong.
    virtual bool claims(std::string_view name) const = 0;

    /// What is wrong with a name that is claimed; the problem has no path.
    virtual tyktags::Status check(std::string_view name) const = 0;

    /// Every name, to find the nearest among.
    virtual std::vector<std::string> names() const = 0;

    /// A reader of these names, all of which check() accepts. The source must outlive it.
    virtual std::unique_ptr<Reader> reader(const std::vector<std::string>& names) const = 0;
};

}  // namespace tyktree
