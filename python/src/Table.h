// What is known of tags, and values in Python's terms.
#pragma once

#include "tree/read/FrameValues.h"
#include "tree/read/TagCatalog.h"
#include "tree/read/ValueName.h"

#include <memory>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <string>
#include <vector>

namespace tykpython {

/// What the values of a name are.
struct ValueShape {
    tyktags::FieldType type = tyktags::FieldType::f64;
    std::vector<pybind11::ssize_t> sides;  ///< of an array; none: one number or text
    bool isBlob = false;                   ///< a tag without a field: a checksum

    bool isText() const { return type == tyktags::FieldType::text; }
    size_t count() const;  ///< numbers or texts
};

ValueShape shapeOf(const tyktags::TagField& field);
ValueShape shapeOf(const tyktree::ValueName& name);

/// Type of the elements of a numpy array: a whole number's own, and float64 for every float, whose
/// numbers are then those that the verbs print.
pybind11::dtype elementType(const ValueShape& shape);

/// Stores a number as an element of elementType().
void storeElement(const tyktags::Value& given, tyktags::FieldType type, void* out);

/// One number or text; None for nothing. A number that an enum names is a tyksim.NamedNumber.
pybind11::object pythonScalar(const tyktags::Value& value);

/// One number or text likewise, an array of them, or None where there is no element.
pybind11::object pythonValue(const std::vector<tyktags::Value>& values, const ValueShape& shape);

/// A tag table with what it says of values. Immutable; any number of threads may use it.
class Table {
public:
    /// `further` brings values beside the catalog's; may be null.
    explicit Table(std::shared_ptr<const tyktree::TagCatalog> catalog,
                   std::shared_ptr<const tyktree::ValueSource> further = nullptr)
        : catalog_(std::move(catalog)), further_(std::move(further)) {}

    /// The table at `path`; one that knows the library's own tags alone where that is "".
    static Table read(const std::string& path);

    const tyktree::TagCatalog& catalog() const { return *catalog_; }

    /// The name's meaning, or why it has none.
    tyktags::Result<tyktree::ValueName> tryResolve(std::string_view name,
                                                   const std::vector<std::string>& tagNames) const {
        return resolveName(name, *catalog_, tagNames, further_.get());
    }

    /// The name's meaning; KeyError, with the nearest, where it has none.
    tyktree::ValueName resolve(const std::string& name,
                               const std::vector<std::string>& tagNames) const;

    /// The fields in a value of a tag, by name; Damaged where the value is too short for one.
    pybind11::dict fields(const std::string& tag, const pybind11::bytes& value,
                          const std::string& path) const;

    /// The type of a record that is a value of a fixed-size tag, without fields of bits. KeyError
    /// where the table does not have the tag, ValueError where it is of no fixed size or without
    /// fields.
    pybind11::dtype recordType(const std::string& tag) const;

    /// The value of `name` in the bytes of its tag's value.
    pybind11::object decode(const std::string& name, const pybind11::bytes& value,
                            const std::vector<std::string>& tagNames) const;

    /// The bytes with the value of `name` set to what `text` says. ValueError where it does not
    /// fit.
    pybind11::bytes encode(const std::string& name, const std::string& text,
                           const pybind11::bytes& value,
                           const std::vector<std::string>& tagNames) const;

    /// Of each name its unit and what an enum calls its numbers.
    pybind11::list describe(const std::vector<std::string>& names,
                            const std::vector<std::string>& tagNames) const;

    /// The tag that holds the value of `name`.
    std::string tagOf(const std::string& name, const std::vector<std::string>& tagNames) const;

private:
    std::shared_ptr<const tyktree::TagCatalog> catalog_;
    std::shared_ptr<const tyktree::ValueSource> further_;
};

void bindTable(pybind11::module_& module);

}  // namespace tykpython
