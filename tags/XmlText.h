// Finds the elements of an XML document in its text, for changes that leave the other text as it
// is. Threads: any. Errors: std::bad_alloc.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tyktags {

/// The place of an element, as positions in the text.
struct ElementText {
    size_t begin = 0;         ///< of "<name"
    size_t contentBegin = 0;  ///< after the ">" of its first tag
    size_t contentEnd = 0;    ///< of "</name>"; contentBegin if it is "<name/>"
    size_t end = 0;           ///< after the whole element
    bool isEmpty = false;     ///< "<name/>"
};

/// The position after the tag that begins at `at`; the end of the text if the tag has no end.
/// Values in quotes may contain a '>'.
size_t endOfTag(std::string_view text, size_t at);

/// The element whose name begins at `nameAt`. The text must be well-formed.
ElementText elementAt(std::string_view text, size_t nameAt);

/// The position of an attribute's name in the tag whose name ends at `from`. The tag must have it.
size_t attributeAt(std::string_view text, size_t from, std::string_view name);

/// Changes of a text at places that do not overlap.
class TextEdits {
public:
    /// Insertions at the same place have the order of the calls.
    void replace(size_t begin, size_t end, std::string text);
    void insert(size_t at, std::string text) { replace(at, at, std::move(text)); }

    bool empty() const { return edits_.empty(); }
    std::string apply(std::string_view text) const;

private:
    struct Edit {
        size_t begin;
        size_t end;
        std::string text;
    };
    std::vector<Edit> edits_;
};

}  // namespace tyktags
