// Sets values in captured frames: NAME=VALUE.
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
#include <variant>
#include <vector>

namespace tyksim {

/// One change in a frame.
struct Change {
    std::string name;
    std::string before;
    std::string after;
};

/// The result of setting values.
struct EditResult {
    std::vector<Change> changes;
    std::vector<std::string> problems;  ///< values that could not be set, with reasons
};

/// A set of bytes of the scene record.
using SceneBytes = std::bitset<kSceneRecordBytes>;

/// A value by its name: the VALUE of `NAME=VALUE`, without ramps and files, or the bytes of a whole
/// tag.
struct NamedValue {
    std::string name;
    std::variant<std::string, std::vector<uint8_t>> value;
};

/// The values to set.
///
///   TAG.field=4.25        a field, in every file of the tag
///   TAG.field=1,2,3       all elements of a field; TAG.field[2]=3 or TAG.field[1][2]=3 one of them
///   TAG.field=AUTO        a number by its name in the field's enum
///   total_gain=800        a field of the scene record
///   total_gain=100..800   a ramp over the selected frames, evenly spaced, both ends included
///   TAG=@FILE             a whole value, from a file
///   TAG=0x00ff12          a whole value, in hexadecimal digits
///
/// The scene record can be set by its fields or by its tag. Threads: several may use one object at
/// once after its construction.
class Edits {
public:
    Edits() = default;

    /// Resolves the names and reads the files. Throws WrongUsage for a setting that is not
    /// NAME=VALUE, for an unknown name (with similar ones), and for a value that does not fit (with
    /// the range or the size). The catalog must outlive the object; `tagNames` are the names that
    /// occur in the tree.
    Edits(const std::vector<std::string>& settings, const tyktree::TagCatalog& catalog,
          const std::vector<std::string>& tagNames);

    /// Takes names and values that are already separate. Throws in the same cases.
    Edits(std::vector<NamedValue> values, const tyktree::TagCatalog& catalog,
          const std::vector<std::string>& tagNames);

    bool empty() const { return edits_.empty(); }

    /// Whether parameter files of this tag change; for the scene record's tag its other files
    /// change too.
    bool changesTag(std::string_view tagName) const;

    /// The bytes of the scene record that settings change.
    SceneBytes sceneBytes() const;

    /// Throws WrongUsage if a value has no file in any of the frames among the files that `taken`
    /// accepts.
    void requireFiles(const std::vector<tyktree::FrameRef>& frames,
                      const std::function<bool(const tyktree::FileEntry&)>& taken) const;

    /// Makes the settings in the value of a tag, including the scene record's. `isFixed`: the value
    /// has a fixed size, which stays. A setting beyond the end of a short value is a problem and
    /// changes nothing.
    EditResult apply(std::string_view tagName, bool isFixed, FrameTurn turn,
                     std::vector<uint8_t>& bytes) const;

    /// Makes the settings in the scene record.
    EditResult apply(FrameTurn turn, tyktree::SceneRecord& record) const;

private:
    struct Edit {
        tyktree::ValueName name;
        std::string setting;  ///< its name in messages
        std::string text;     ///< the value, if it is not a ramp
        std::optional<Ramp> ramp;
        std::optional<std::vector<uint8_t>> whole;
        bool isSizeKnown = false;  ///< the size of the tag's value is known

        bool isWhole() const { return !name.scene && !name.field; }
        bool isOf(std::string_view tagName) const;
        bool isIn(const tyktree::FileEntry& file) const;
        std::string textFor(FrameTurn turn) const { return ramp ? ramp->at(turn) : text; }
    };
    static Edit named(const std::string& name, const std::string& setting,
                      const tyktree::TagCatalog& catalog, const std::vector<std::string>& tagNames);
    static Edit parse(const std::string& given, const tyktree::TagCatalog& catalog,
                      const std::vector<std::string>& tagNames);
    static void setWhole(Edit& edit, std::vector<uint8_t> bytes,
                         const tyktree::TagCatalog& catalog);
    static void makeRamp(Edit& edit);
    static void tryOut(const Edit& edit, const std::string& value);
    static tyktags::Status set(const Edit& edit, bool isFixed, FrameTurn turn,
                               std::vector<uint8_t>& bytes);

    std::vector<Edit> edits_;
};

/// Whether a file is the scene record's XML file or one of its blocks.
bool isSceneFile(const tyktree::FileEntry& file);

}  // namespace tyksim
