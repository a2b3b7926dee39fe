// One parameter file of a frame, with its tag's description. Threads: any, for values of their own.
// Errors: std::bad_alloc.
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
    std::vector<tyktags::Value> values;  ///< those that the bytes contain completely
    std::string problem;  ///< what is missing in the file; "" if the field is complete
};

/// A parameter after reading. It points into the listing and the catalog, which must outlive it.
struct Parameter {
    const FileEntry* file = nullptr;         ///< points into the listing
    const tyktags::TagEntry* tag = nullptr;  ///< points into the catalog; null: unknown tag
    tyktags::Status status;                  ///< of reading the file
    uint64_t size = 0;                       ///< of the file; 0 if it could not be read
    std::vector<uint8_t> bytes;              ///< the beginning of the file, at most `limit`
    uint32_t crc32 = 0;                      ///< of the whole file

    /// Its fields; none if the tag's fields are unknown. They point into `tag`.
    std::vector<DecodedField> fields() const;
};

/// The default limit: small enough for memory, and no field lies beyond it.
constexpr uint64_t kMaxDecodedBytes = uint64_t{16} << 20;

/// Reads the parameter file `file` of a listing and keeps at most `limit` bytes of it.
Parameter readParameter(const FrameListing& listing, const FileEntry& file,
                        const TagCatalog& catalog, uint64_t limit = kMaxDecodedBytes);

}  // namespace tyktree
