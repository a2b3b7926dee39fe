// The names of values, and conversion of values to Python's types.
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

/// The type and the shape of a name's values.
struct ValueShape {
    tyktags::FieldType type = tyktags::FieldType::f64;
    std::vector<pybind11::ssize_t> sides;  ///< of an array; empty: one number or text
    bool isBlob = false;                   ///< a tag without a field: a checksum

    bool isText() const { return type == tyktags::FieldType::text; }
    size_t count() const;  ///< numbers or texts
};

ValueShape shapeOf(const tyktags::TagField& field);
ValueShape shapeOf(const tyktree::ValueName& name);

/// The type of a numpy array's elements: that of a whole number, and float64 for all floats, so
/// that they equal the numbers that the verbs print.
pybind11::dtype elementType(const ValueShape& shape);

/// Stores a number as an element of elementType().
void storeElement(const tyktags::Value& given, tyktags::FieldType type, void* out);

/// One number or text; None for no value. A number with a name in an enum is a tyksim.NamedNumber.
pybind11::object pythonScalar(const tyktags::Value& value);

/// One number or text like pythonScalar(), an array of them, or None if `values` is empty.
pybind11::object pythonValue(const std::vector<tyktags::Value>& values, const ValueShape& shape);

/// The names of a tag table and of a further source: resolves them and converts their values.
/// Python's Table. Immutable; any number of threads may use it, with the interpreter's lock for
/// operations on Python's objects.
class NameCatalog {
public:
    /// `further` has names beside those of the catalog; it may be null.
    explicit NameCatalog(std::shared_ptr<const tyktree::TagCatalog> catalog,
                         std::shared_ptr<const tyktree::ValueSource> further = nullptr)
        : catalog_(std::move(catalog)), further_(std::move(further)) {}

    /// Reads the table at `path`; "" gives a table with only the library's own tags.
    static NameCatalog read(const std::string& path);

    const tyktree::TagCatalog& catalog() const { return *catalog_; }

    /// The name's meaning, or the problem of an unknown name.
    tyktags::Result<tyktree::ValueName> tryResolve(std::string_view name,
                                                   const std::vector<std::string>& tagNames) const {
        return resolveName(name, *catalog_, tagNames, further_.get());
    }

    /// The name's meaning. Raises KeyError, with the most similar names, for an unknown one.
    tyktree::ValueName resolve(const std::string& name,
                               const std::vector<std::string>& tagNames) const;

    /// The fields in a value of a tag, by name. Throws Damaged if the value is too short for one.
    pybind11::dict fields(const std::string& tag, const pybind11::bytes& value,
                          const std::string& path) const;

    /// The type of a record for the values of a fixed-size tag, without fields of bits. Raises
    /// KeyError for an unknown tag, and ValueError for a block and for a tag without fields.
    pybind11::dtype recordType(const std::string& tag) const;

    /// The value of `name` in the bytes of its tag's value.
    pybind11::object decode(const std::string& name, const pybind11::bytes& value,
                            const std::vector<std::string>& tagNames) const;

    /// Returns `value` with the value of `name` set to `text`. Raises ValueError if it does not
    /// fit.
    pybind11::bytes encode(const std::string& name, const std::string& text,
                           const pybind11::bytes& value,
                           const std::vector<std::string>& tagNames) const;

    /// For each name, its unit and the names of its numbers.
    pybind11::list describe(const std::vector<std::string>& names,
                            const std::vector<std::string>& tagNames) const;

    /// The tag that has the value of `name`.
    std::string tagOf(const std::string& name, const std::vector<std::string>& tagNames) const;

private:
    std::shared_ptr<const tyktree::TagCatalog> catalog_;
    std::shared_ptr<const tyktree::ValueSource> further_;
};

void bindNameCatalog(pybind11::module_& module);

}  // namespace tykpython
