// The types that a library's debug information describes, and how their values lie in memory. A
// build knows the layout of every parameter; from its debug information comes what a tag table says
// of a tag's fields. DWARF of the versions 2 to 5 is read, of any little-endian architecture.
//
// Files are untrusted: damage is a problem, and memory and time have bounds. elfutils reads the
// files; nothing outside this folder includes its headers.
//
// Threads: an object is used by one thread at a time. Errors: the operations let std::bad_alloc
// through.
#pragma once

#include "tags/Problem.h"
#include "tags/TagField.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tyktags {

/// A part of a type that no field can stand for.
struct LeftOut {
    std::string name;  ///< as that of a field would be; "[]" stands for every element
    std::string what;  ///< "a pointer"

    bool operator==(const LeftOut& other) const { return name == other.name && what == other.what; }
};

/// A type as a list lists it.
struct DebugType {
    std::string name;     ///< with its namespaces: "cam::Ring<int, 4>::Slot"
    std::string keyword;  ///< "struct", "class", "union", "enum", "array", "number", ""
    uint64_t size = 0;    ///< bytes
    std::string file;     ///< that declares it; "" where that is not known
    uint32_t line = 0;    ///< 0 where that is not known
    std::string unit;     ///< the source file that was compiled
};

/// Whether a list lists the type.
using WantedType = std::function<bool(const DebugType& type)>;

/// How the values of a type lie in memory.
struct TypeLayout {
    DebugType type;
    /// Nested types are flattened: "roi[1].x". Of a type that has no members, the field "value".
    std::vector<TagField> fields;
    std::vector<LeftOut> leftOut;
};

/// More fields than that has no type.
constexpr size_t kMostFields = 65536;

/// The debug information of one library, which stays open.
class DebugTypes {
public:
    /// Opens the ELF file at `library`. Where its debug information is a file of its own, this is
    /// `debugFile`, or, where that is "", the file that the build id or the debug link names: below
    /// .build-id/ and .debug/ in the library's folder, and in /usr/lib/debug. `debugFile` may also
    /// be a folder with .build-id/ in it. A debug file of another build is a problem, and so are a
    /// library without debug information, one whose debug information lies in files that are not
    /// there (.dwo), and one of a big-endian architecture.
    static Result<DebugTypes> open(const std::string& library, const std::string& debugFile = "");

    DebugTypes(DebugTypes&&) noexcept;
    DebugTypes& operator=(DebugTypes&&) noexcept;
    ~DebugTypes();

    /// The file that holds the debug information.
    const std::string& path() const;

    /// All types with a name that a tag may have: structures, unions, enums, and typedefs of these
    /// and of arrays; of types of the same name and size one, in the order of names and sizes.
    /// Types inside functions are not listed. `wanted` is asked before the file is known.
    Result<std::vector<DebugType>> list(const WantedType& wanted) const;

    /// The layouts of the types named `names`, in their order. A name may lack namespaces in front;
    /// a whole name comes first. "Type@FILE" is the type that FILE declares or that is compiled
    /// into it; of FILE, the last parts of the path suffice. Types of the same name and layout are
    /// one. The problem lists several types that a name fits, names those that are near where there
    /// is none, and says where a type is only declared.
    Result<std::vector<TypeLayout>> layouts(const std::vector<std::string>& names) const;

private:
    struct State;
    explicit DebugTypes(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

}  // namespace tyktags
