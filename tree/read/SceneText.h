// Changes the XML file of the scene record field by field.
#pragma once

#include "tree/read/SceneRecord.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// The bytes of an XML file in which fields can be set. Everything else stays unchanged, byte for
/// byte: the encoding, white space, comments, other elements, and the texts of other fields, even
/// invalid ones. One thread at a time uses an object.
class SceneText {
public:
    /// Copies the file's bytes.
    explicit SceneText(const std::vector<uint8_t>& bytes) : bytes_(bytes.begin(), bytes.end()) {}

    /// Sets a field to its value in `record`. Adds the element if it is missing, with the elements
    /// around it. While some elements are missing, the library takes fields from the raw blocks; if
    /// this adds such an element, it also adds those fields with their values in `record`, so that
    /// they replay as before. The problem has the reason why the document cannot be changed; it is
    /// then unchanged. Errors: std::bad_alloc.
    tyktags::Status set(const ::SceneField& field, const SceneRecord& record);

    /// The file's bytes after all changes; valid until the next one.
    std::string_view bytes() const { return bytes_; }

private:
    std::string ascii() const;
    void replace(size_t begin, size_t end, std::string_view text);

    std::string bytes_;
    size_t unit_ = 1;           ///< bytes per code unit
    bool isBigEndian_ = false;  ///< byte order of a code unit
};

}  // namespace tyktree
