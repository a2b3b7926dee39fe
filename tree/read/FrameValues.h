// Values of frames by name, for whoever follows them from frame to frame.
#pragma once

#include "tags/FieldCodec.h"
#include "tree/read/FrameListing.h"
#include "tree/read/ValueName.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyktree {

/// What one name stands for in one frame.
struct FrameValue {
    std::vector<tyktags::Value> values;  ///< a field's elements; empty where the frame has none
    bool isBlob = false;                 ///< a tag without fields: only the two below are known
    uint32_t crc32 = 0;
    uint64_t size = 0;     ///< bytes of the parameter file
    bool several = false;  ///< the frame has further files of this tag; the first one counts
    std::string problem;   ///< why the value could not be read; "" where it could or is not there

    bool absent() const { return values.empty() && !isBlob; }
    bool operator==(const FrameValue& other) const;
};

/// The value in words: elements with commas between them, "crc32 9f3a21bc, 4096 bytes" for a blob,
/// "" where there is none.
std::string toText(const FrameValue& value);

/// Reads the values of a set of names. Reads only what the names need: of a frame of which only
/// scene fields are asked for, one file. One object serves one thread.
class FrameValueReader {
public:
    /// The names' catalog must outlive the object.
    explicit FrameValueReader(std::vector<ValueName> names);

    /// The values of the frame folder at `path`, in the order of the names. A scene field is what
    /// SceneSources::record() says.
    std::vector<FrameValue> read(const std::string& path);

    /// As above from a listing that is there already.
    std::vector<FrameValue> read(const FrameListing& listing);

    const std::vector<ValueName>& names() const { return names_; }

private:
    /// `listing` may be null: then the folder is listed where that is needed.
    void readScene(const std::string& path, const FrameListing* listing,
                   std::vector<FrameValue>& values);
    void readTags(const FrameListing& listing, std::vector<FrameValue>& values);
    void readTag(const std::string& path, const ValueName& name, FrameValue& value);

    std::vector<ValueName> names_;
    bool scene_ = false;  ///< some name is a scene field
    bool tags_ = false;   ///< some name is a tag's
    FrameListing listing_;
    std::vector<uint8_t> bytes_;
};

}  // namespace tyktree
