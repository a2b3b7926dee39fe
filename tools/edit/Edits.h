// Values that a user sets in captured frames: NAME=VALUE.
#pragma once

#include "tools/edit/Ramp.h"
#include "tree/read/FrameListing.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/SceneRecord.h"
#include "tree/read/ValueName.h"

#include <bitset>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// One thing that was changed in a frame.
struct Change {
    std::string name;
    std::string before;
    std::string after;
};

/// What came of setting values.
struct EditResult {
    std::vector<Change> changes;
    std::vector<std::string> problems;  ///< what could not be set, and why
};

/// Bytes of the scene record.
using SceneBytes = std::bitset<kSceneRecordBytes>;

/// The values to set.
///
///   TAG.field=4.25        a field, in every file of the tag
///   TAG.field=1,2,3       all elements of a field; TAG.field[2]=3 one of them
///   total_gain=800        a field of the scene record
///   total_gain=100..800   a ramp over the selected frames, evenly spaced, both ends included
///   TAG=@FILE             a whole value, from a file
///   TAG=0x00ff12          a whole value, in hexadecimal digits
///
/// The scene record is set by its fields or by its tag.
class Edits {
public:
    Edits() = default;

    /// Resolves the names and reads the files. WrongUsage for what is no NAME=VALUE, for a name
    /// that matches nothing (with the nearest), and for a value that does not fit (with the range
    /// or the size). The catalog must outlive the object; `tagNames` are the names that occur in
    /// the tree.
    Edits(const std::vector<std::string>& settings, const tyktree::TagCatalog& catalog,
          const std::vector<std::string>& tagNames);

    bool empty() const { return edits_.empty(); }

    /// Whether a parameter file of this tag changes; of the scene record's, its other files do too.
    bool changesTag(std::string_view tagName) const;

    /// The bytes of the scene record that are set.
    SceneBytes sceneBytes() const;

    /// WrongUsage where a value has no file in any of the frames, of those that `taken` takes.
    void requireFiles(const std::vector<tyktree::FrameRef>& frames,
                      const std::function<bool(const tyktree::FileEntry&)>& taken) const;

    /// Sets what is to be set in the value of a tag, the scene record's included. `isFixed`: the
    /// value is of a fixed size, which stays. What a value is too short for stays as it is and is a
    /// problem.
    EditResult apply(std::string_view tagName, bool isFixed, FrameTurn turn,
                     std::vector<uint8_t>& bytes) const;

    /// As above, of the scene record.
    EditResult apply(FrameTurn turn, tyktree::SceneRecord& record) const;

private:
    struct Edit {
        tyktree::ValueName name;
        std::string setting;  ///< as given
        std::string text;     ///< the value where there is no ramp
        std::optional<Ramp> ramp;
        std::optional<std::vector<uint8_t>> whole;
        bool isSizeKnown = false;  ///< of the whole value: its tag's

        bool isOf(std::string_view tagName) const;
        bool isIn(const tyktree::FileEntry& file) const;
        std::string textFor(FrameTurn turn) const { return ramp ? ramp->at(turn) : text; }
    };
    static Edit parse(const std::string& setting, const tyktree::TagCatalog& catalog,
                      const std::vector<std::string>& tagNames);
    static void makeRamp(Edit& edit);
    static void tryOut(const Edit& edit, const std::string& value);
    static tyktags::Status set(const Edit& edit, bool isFixed, FrameTurn turn,
                               std::vector<uint8_t>& bytes);

    std::vector<Edit> edits_;
};

/// Whether a file is the scene record's text file or one of its blocks.
bool isSceneFile(const tyktree::FileEntry& file);

}  // namespace tyksim
