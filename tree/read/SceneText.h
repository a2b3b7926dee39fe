// The text file of the scene record, changed field by field.
#pragma once

#include "tree/read/SceneRecord.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// The bytes of a text file in which fields are set. What is not the text of such a field stays as
/// it is, byte by byte: the encoding, white space, comments, other elements, and other fields'
/// texts whatever they say.
class SceneText {
public:
    /// Takes the file's bytes.
    explicit SceneText(const std::vector<uint8_t>& bytes) : bytes_(bytes.begin(), bytes.end()) {}

    /// Sets a field to its value in `record`. An element that is missing is made, with the elements
    /// around it. Where that makes an element without which the library takes fields from the raw
    /// blocks, those fields are made as well, with their values in `record`: a replay brings the
    /// same for them as before. Returns "" or why the document cannot be changed, which is then as
    /// it was. Throws std::bad_alloc.
    std::string set(const ::SceneField& field, const SceneRecord& record);

    /// The file's bytes as they are now.
    std::string_view bytes() const { return bytes_; }

private:
    std::string ascii() const;
    void replace(size_t begin, size_t end, std::string_view text);

    std::string bytes_;
    size_t unit_ = 1;           ///< bytes of a code unit
    bool isBigEndian_ = false;  ///< of a code unit's bytes
};

}  // namespace tyktree
