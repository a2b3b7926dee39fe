// Where the elements of an XML document stand in its text, for changes that leave the rest of the
// text alone.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tyktags {

/// Where an element stands, as positions in the text.
struct ElementText {
    size_t begin = 0;         ///< of "<name"
    size_t contentBegin = 0;  ///< behind the ">" of its first tag
    size_t contentEnd = 0;    ///< of "</name>"; contentBegin where it is "<name/>"
    size_t end = 0;           ///< behind all of it
    bool isEmpty = false;     ///< "<name/>"
};

/// Behind the tag that begins at `at`, or the end of the text where it has no end. Values in quotes
/// may contain a '>'.
size_t endOfTag(std::string_view text, size_t at);

/// The element whose name stands at `nameAt`. The text is well-formed.
ElementText elementAt(std::string_view text, size_t nameAt);

/// Where the attribute's name stands in the tag whose name ends at `from`; the tag has it.
size_t attributeAt(std::string_view text, size_t from, std::string_view name);

/// Changes of a text at places that do not overlap.
class TextEdits {
public:
    /// What is inserted at the same place stands in the order of the calls.
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
