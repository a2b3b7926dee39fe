// Reads values of frames by name, to follow them from frame to frame. Errors: std::bad_alloc, and
// exceptions of sources.
#pragma once

#include "tags/FieldCodec.h"
#include "tree/read/FrameListing.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/ValueName.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tyktree {

/// The value of one name in one frame.
struct FrameValue {
    std::vector<tyktags::Value> values;  ///< a field's elements; empty if the frame has no value
    std::vector<uint32_t> shape;         ///< their dimensions; empty for a single value
    bool isBlob = false;  ///< a tag without fields: only the next two members are known
    uint32_t crc32 = 0;
    uint64_t size = 0;     ///< bytes of the parameter file
    bool several = false;  ///< the frame has more files of this tag; the first one counts
    std::string problem;   ///< why the value could not be read; "" if it was read or is absent

    bool absent() const { return values.empty() && !isBlob; }
    bool operator==(const FrameValue& other) const;
};

/// The value as text: elements separated by commas, "crc32 9f3a21bc, 4096 bytes" for a blob, "" if
/// the value is absent.
std::string toText(const FrameValue& value);

/// Reads the values of a set of names, and no more files than the names need: one file per frame if
/// all names are scene fields. One thread at a time uses an object.
class FrameValueReader {
public:
    /// The names' catalog and sources must outlive the object.
    explicit FrameValueReader(std::vector<ValueName> names);

    /// The values of the frame folder at `path`, in the order of the names. Scene fields come from
    /// SceneSources::record(). See ValueSource::Reader for `before`.
    std::vector<FrameValue> read(const std::string& path, const std::string& before = "");

    /// The same for a frame of an index.
    std::vector<FrameValue> read(const FrameRef& frame);

    /// The same from an existing listing.
    std::vector<FrameValue> read(const FrameListing& listing, const std::string& before = "");

    const std::vector<ValueName>& names() const { return names_; }

private:
    /// The names of one source, by their places among all names.
    struct Sourced {
        const ValueSource* source;
        std::vector<size_t> places;
        std::unique_ptr<ValueSource::Reader> reader;
    };

    void addSourced(size_t place);
    /// If `listing` is null, the folder is listed when needed.
    void readScene(const std::string& path, const FrameListing* listing,
                   std::vector<FrameValue>& values);
    void readTags(const FrameListing& listing, std::vector<FrameValue>& values);
    /// Reads the parameter file for the name at `place`: bytes for its tag's fields, or its
    /// checksum. Returns false if it cannot be read.
    bool readTag(const std::string& path, size_t place, FrameValue& value);
    /// Decodes a field from the bytes.
    void takeField(const ValueName& name, FrameValue& value) const;

    std::vector<ValueName> names_;
    std::vector<uint64_t> extents_;  ///< by name: bytes that the named fields of its tag need
    std::vector<Sourced> sourced_;
    bool scene_ = false;  ///< a name is a scene field
    bool lists_ = false;  ///< a name needs the folder's listing
    FrameListing listing_;
    std::vector<uint8_t> bytes_;
};

}  // namespace tyktree
