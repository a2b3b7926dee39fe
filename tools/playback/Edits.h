// Values that a user sets in captured frames: NAME=VALUE.
#pragma once

#include "tree/FrameListing.h"
#include "tree/SceneRecord.h"
#include "tree/Values.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// Which of the selected frames a value is for: a ramp goes from the first to the last.
struct FrameTurn {
    size_t index = 0;
    size_t count = 1;
};

/// One thing that was changed in a frame.
struct Change {
    std::string name;
    std::string before;
    std::string after;
};

/// The values to set.
///
///   TAG.field=4.25        a field, in every file of the tag
///   TAG.field=1,2,3       all elements of a field; TAG.field[2]=3 one of them
///   total_gain=800        a field of the scene record
///   total_gain=100..800   a ramp over the selected frames, evenly spaced, both ends included
///   TAG=@FILE             a whole value, from a file
///   TAG=0x00ff12          a whole value, in hexadecimal digits
class Edits {
public:
    Edits() = default;

    /// Resolves the names and reads the files. WrongUsage for what is no NAME=VALUE, for a name
    /// that matches nothing (with the nearest), and for a value that does not fit (with the range).
    /// The catalog must outlive the object; `tagNames` are the names that occur in the tree.
    Edits(const std::vector<std::string>& settings, const tyktree::TagCatalog& catalog,
          const std::vector<std::string>& tagNames);

    bool empty() const { return edits_.empty(); }

    /// Whether the scene record's text file and blocks change.
    bool changesScene() const;

    /// Whether a parameter file of this tag changes.
    bool changesTag(std::string_view tagName) const;

    /// Sets what is to be set in the value of a tag, the scene record's included. What changed is
    /// appended to `changes` where it is not null. Failure when the value is too short for a field.
    void apply(std::string_view tagName, FrameTurn turn, std::vector<uint8_t>& bytes,
               std::vector<Change>* changes) const;

    /// Sets the fields of the scene record.
    void apply(FrameTurn turn, tyktree::SceneRecord& record, std::vector<Change>* changes) const;

private:
    struct Edit {
        tyktree::ValueName name;
        std::string text;                 ///< the value, or the ramp's first
        std::optional<std::string> last;  ///< the ramp's last
        std::optional<std::vector<uint8_t>> whole;
    };
    static Edit parse(const std::string& setting, const tyktree::TagCatalog& catalog,
                      const std::vector<std::string>& tagNames);
    static void tryOut(const Edit& edit);
    static std::string textFor(const Edit& edit, FrameTurn turn);

    std::vector<Edit> edits_;
};

}  // namespace tyksim
