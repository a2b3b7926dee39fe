// One parameter file of a frame with what is known about its tag.
#pragma once

#include "tags/FieldCodec.h"
#include "tree/read/FileBytes.h"
#include "tree/read/FrameListing.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyktree {

/// A field with its elements.
struct DecodedField {
    const tyktags::TagField* field;
    std::vector<tyktags::Value> values;  ///< as far as the bytes reach
    std::string problem;  ///< what the file lacks of it, in words; "" where it is whole
};

/// A parameter that was read.
struct Parameter {
    const FileEntry* file = nullptr;         ///< points into the listing
    const tyktags::TagEntry* tag = nullptr;  ///< points into the catalog; null: not in it
    tyktags::Status status;                  ///< of reading the file
    uint64_t size = 0;                       ///< of the file; 0 if it could not be read
    std::vector<uint8_t> bytes;              ///< the file's, at most as many as were asked for
    uint32_t crc32 = 0;                      ///< of the whole file

    /// Its fields, where the tag's are known.
    std::vector<DecodedField> fields() const;
};

/// As many bytes of a file as fit in memory without a thought; fields lie in front of that.
constexpr uint64_t kMaxDecodedBytes = uint64_t{16} << 20;

/// Reads the parameter file `file` of a listing and keeps at most `limit` bytes of it.
Parameter readParameter(const FrameListing& listing, const FileEntry& file,
                        const TagCatalog& catalog, uint64_t limit = kMaxDecodedBytes);

}  // namespace tyktree
