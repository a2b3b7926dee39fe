// Reads types and their layouts from a library's debug information. A build knows the layout of
// every parameter, so its debug information gives the fields for a tag table. Supports DWARF
// versions 2 to 5 of any little-endian architecture.
//
// Files are untrusted: damage is a problem, and memory and time are bounded. elfutils reads the
// files; only this folder includes its headers.
//
// Threads: one thread at a time uses an object. Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tags/TagField.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tyktags {

/// A part of a type that no field can describe.
struct LeftOut {
    std::string name;  ///< like that of a field; "[]" means every element
    std::string what;  ///< "a pointer"

    bool operator==(const LeftOut& other) const { return name == other.name && what == other.what; }
};

/// A type in a list.
struct DebugType {
    std::string name;     ///< with its namespaces: "cam::Ring<int, 4>::Slot"
    std::string keyword;  ///< "struct", "class", "union", "enum", "array"; else ""
    uint64_t size = 0;    ///< bytes
    std::string file;     ///< that declares it; "" if unknown
    uint32_t line = 0;    ///< 0 if unknown
    std::string unit;     ///< the source file that was compiled
};

/// Returns whether to list the type.
using WantedType = std::function<bool(const DebugType& type)>;

/// The layout of a type's values in memory.
struct TypeLayout {
    DebugType type;
    /// Nested types are flattened: "roi[1].x". A type without members has the field "value".
    std::vector<TagField> fields;
    std::vector<LeftOut> leftOut;
};

/// The limit of fields; a type with more is a problem.
constexpr size_t kMostFields = 65536;

/// The debug information of one library, which stays open.
class DebugTypes {
public:
    /// Opens the ELF file at `library`. If its debug information is in another file, that is
    /// `debugFile` or, if that is "", the file of the build id or the debug link: below .build-id/
    /// and .debug/ in the library's folder, and in /usr/lib/debug. `debugFile` may also be a folder
    /// that contains .build-id/. If several libraries share a file with debug information, it is
    /// found by its build id or its name. These are problems: a debug file of another build, a
    /// library without debug information, missing files of debug information (.dwo, or a shared
    /// one), and a big-endian architecture.
    static Result<DebugTypes> open(const std::string& library, const std::string& debugFile = "");

    DebugTypes(DebugTypes&&) noexcept;
    DebugTypes& operator=(DebugTypes&&) noexcept;
    ~DebugTypes();

    /// The path of the file with the debug information.
    const std::string& path() const;

    /// All types with a name that a tag may have: structures, unions, enums, and typedefs of these
    /// and of arrays; one of each name and size, sorted by name and size. Omits types inside
    /// functions. `wanted` is called before the file of the type is known.
    Result<std::vector<DebugType>> list(const WantedType& wanted) const;

    /// The layouts of the types `names`, in their order. A name may omit leading namespaces, and
    /// inline and unnamed ones anywhere; a full name takes precedence. A type inside a function is
    /// found if no other type fits. "Type@FILE" is the type that FILE declares or that is compiled
    /// from it; the last components of FILE's path are enough. Types of the same name and layout
    /// count as one. The problem lists the types of an ambiguous name, suggests similar names for
    /// an unknown one, and reports a type that is only declared.
    Result<std::vector<TypeLayout>> layouts(const std::vector<std::string>& names) const;

private:
    struct State;
    explicit DebugTypes(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

}  // namespace tyktags
