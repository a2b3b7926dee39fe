#include "python/src/NameCatalog.h"

#include "python/src/Errors.h"
#include "python/src/Text.h"
#include "tree/read/SceneRecord.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <pybind11/stl.h>
#include <string_view>
#include <type_traits>
#include <utility>

namespace py = pybind11;

namespace tykpython {

namespace {

using tyktags::FieldType;
using tyktags::Value;
using tyktree::ValueName;

/// The type in numpy's letters; the length of a text follows.
std::string storedAs(FieldType type) {
    return visitType(type, [](auto element) {
        using Element = decltype(element);
        if (std::is_same_v<Element, char>) return std::string("S");
        const char kind = std::is_floating_point_v<Element> ? 'f'
                          : std::is_signed_v<Element>       ? 'i'
                                                            : 'u';
        return fmt::format("<{}{}", kind, sizeof(Element));
    });
}

std::vector<uint8_t> copied(const py::bytes& bytes) {
    const auto view = static_cast<std::string_view>(bytes);
    return {view.begin(), view.end()};
}

py::bytes bytesFrom(const std::vector<uint8_t>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

[[noreturn]] void raiseKeyError(const tyktags::Problem& problem) {
    PyErr_SetObject(PyExc_KeyError, pythonText(toLine(problem)).ptr());
    throw py::error_already_set();
}

void orValueError(const std::string& name, const tyktags::Status& status) {
    if (status.ok()) return;
    const py::str line = pythonText(name + ": " + toLine(status.problem()));
    PyErr_SetObject(PyExc_ValueError, line.ptr());
    throw py::error_already_set();
}

tyktree::SceneRecord recordIn(const std::string& name, const std::vector<uint8_t>& bytes) {
    tyktree::SceneRecord record;
    if (bytes.size() != record.bytes.size()) {
        throw Damaged(
            {name, fmt::format("{} bytes", record.bytes.size()), fmt::to_string(bytes.size())});
    }
    std::copy(bytes.begin(), bytes.end(), record.bytes.begin());
    return record;
}

}  // namespace

size_t ValueShape::count() const {
    size_t count = 1;
    for (const py::ssize_t side : sides) count *= static_cast<size_t>(side);
    return count;
}

ValueShape shapeOf(const tyktags::TagField& field) {
    ValueShape shape;
    shape.type = field.type;
    for (const uint32_t side : field.shape()) shape.sides.push_back(side);
    return shape;
}

ValueShape shapeOf(const ValueName& name) {
    if (name.field) return shapeOf(*name.field);
    ValueShape shape;
    if (name.source) return shape;  // one number
    shape.isBlob = !name.scene;
    shape.type = name.scene ? name.scene->type : FieldType::u32;
    return shape;
}

py::dtype elementType(const ValueShape& shape) {
    const bool isReal = shape.type == FieldType::f32 || shape.type == FieldType::f64;
    return py::dtype(isReal ? "<f8" : storedAs(shape.type));
}

void storeElement(const Value& given, FieldType type, void* out) {
    const Value value = withoutName(given);
    visitType(type, [&](auto element) {
        using Element = decltype(element);
        using Stored = std::conditional_t<std::is_floating_point_v<Element>, double, Element>;
        Stored stored{};
        if (const auto* number = std::get_if<int64_t>(&value))
            stored = static_cast<Stored>(*number);
        if (const auto* number = std::get_if<uint64_t>(&value))
            stored = static_cast<Stored>(*number);
        if (const auto* number = std::get_if<double>(&value)) stored = static_cast<Stored>(*number);
        std::memcpy(out, &stored, sizeof(stored));
    });
}

py::object pythonScalar(const Value& value) {
    if (const auto* named = std::get_if<tyktags::NamedNumber>(&value)) {
        const py::object type = py::module_::import("tyksim._values").attr("NamedNumber");
        return type(pythonScalar(withoutName(value)), pythonText(named->name));
    }
    if (const auto* number = std::get_if<int64_t>(&value)) return py::int_(*number);
    if (const auto* number = std::get_if<uint64_t>(&value)) return py::int_(*number);
    if (const auto* number = std::get_if<double>(&value)) return py::float_(*number);
    if (const auto* text = std::get_if<std::string>(&value)) return pythonText(*text);
    return py::none();
}

py::object pythonValue(const std::vector<Value>& values, const ValueShape& shape) {
    if (values.empty()) return py::none();
    if (shape.sides.empty()) return pythonScalar(values.front());
    if (shape.isText()) {
        py::list texts;
        for (const Value& value : values) texts.append(pythonScalar(value));
        const py::object array = py::module_::import("numpy").attr("array")(texts);
        return array.attr("reshape")(py::cast(shape.sides));
    }
    py::array array(elementType(shape), shape.sides);
    auto* out = static_cast<uint8_t*>(array.mutable_data());
    for (const Value& value : values) {
        storeElement(value, shape.type, out);
        out += array.itemsize();
    }
    return array;
}

NameCatalog NameCatalog::read(const std::string& path) {
    if (path.empty()) return NameCatalog(std::make_shared<tyktree::TagCatalog>());
    return NameCatalog(
        std::make_shared<tyktree::TagCatalog>(orDamaged(tyktree::TagCatalog::readGiven(path))));
}

ValueName NameCatalog::resolve(const std::string& name,
                               const std::vector<std::string>& tagNames) const {
    const auto resolved = tryResolve(name, tagNames);
    if (!resolved.ok()) raiseKeyError(resolved.problem());
    return resolved.value();
}

py::dict NameCatalog::fields(const std::string& tag, const py::bytes& value,
                             const std::string& path) const {
    py::dict values;
    const tyktags::TagEntry* const entry = catalog_->byName(tag);
    if (!entry) return values;
    const std::vector<uint8_t> bytes = copied(value);
    for (const tyktags::TagField& field : entry->fields) {
        const std::string lacks = shortfall(field, bytes.size());
        if (!lacks.empty()) throw Damaged({path, "", "", lacks, tag + "." + field.name});
        values[pythonText(field.name)] =
            pythonValue(decodeField(field, bytes.data(), bytes.size()), shapeOf(field));
    }
    return values;
}

py::dtype NameCatalog::recordType(const std::string& tag) const {
    const tyktags::TagEntry* const entry = catalog_->byName(tag);
    if (!entry) static_cast<void>(resolve(tag, {}));  // raises KeyError with similar names
    if (!entry || entry->fields.empty() || entry->kind != tyktags::TagKind::fixed) {
        throw py::value_error(tag + ": expected a tag of fixed size with fields in the tag table");
    }
    py::list names, formats, offsets;
    for (const tyktags::TagField& field : entry->fields) {
        if (field.bits.width > 0) continue;
        const bool isText = field.type == FieldType::text;
        const uint32_t length = isText && !field.dimensions.empty() ? field.dimensions.back() : 1;
        const py::str stored(storedAs(field.type) + (isText ? fmt::to_string(length) : ""));
        const std::vector<uint32_t> sides = field.shape();
        names.append(pythonText(field.name));
        formats.append(sides.empty()
                           ? py::object(stored)
                           : py::object(py::make_tuple(stored, py::tuple(py::cast(sides)))));
        offsets.append(field.offset);
    }
    return {names, formats, offsets, entry->size};
}

py::object NameCatalog::decode(const std::string& name, const py::bytes& value,
                               const std::vector<std::string>& tagNames) const {
    const ValueName resolved = resolve(name, tagNames);
    const std::vector<uint8_t> bytes = copied(value);
    if (resolved.scene) return pythonScalar(sceneValue(*resolved.scene, recordIn(name, bytes)));
    if (resolved.source) throw py::value_error(name + ": no value of a tag");
    if (!resolved.field) return value;
    const std::string lacks = shortfall(*resolved.field, bytes.size());
    if (!lacks.empty()) throw Damaged({name, "", "", lacks});
    return pythonValue(decodeField(*resolved.field, bytes.data(), bytes.size()), shapeOf(resolved));
}

py::bytes NameCatalog::encode(const std::string& name, const std::string& text,
                              const py::bytes& value,
                              const std::vector<std::string>& tagNames) const {
    const ValueName resolved = resolve(name, tagNames);
    std::vector<uint8_t> bytes = copied(value);
    if (resolved.scene) {
        tyktree::SceneRecord record = recordIn(name, bytes);
        orValueError(name, setSceneField(*resolved.scene, text, record));
        bytes.assign(record.bytes.begin(), record.bytes.end());
    } else if (resolved.field) {
        orValueError(name, encodeField(*resolved.field, text, bytes.data(), bytes.size()));
    } else {
        throw py::value_error(name + ": expected the name of a field; a whole value is bytes");
    }
    return bytesFrom(bytes);
}

py::list NameCatalog::describe(const std::vector<std::string>& names,
                               const std::vector<std::string>& tagNames) const {
    py::list described;
    for (const std::string& name : names) {
        const ValueName resolved = resolve(name, tagNames);
        py::dict labels;
        if (resolved.field && resolved.field->enumeration) {
            for (const tyktags::EnumValue& value : resolved.field->enumeration->values()) {
                const py::int_ magnitude(value.number.magnitude);
                const py::object number =
                    value.number.negative ? py::object(-magnitude) : py::object(magnitude);
                if (!labels.contains(number)) labels[number] = pythonText(value.name);
            }
        }
        described.append(
            py::make_tuple(pythonText(resolved.field ? resolved.field->unit : ""), labels));
    }
    return described;
}

std::string NameCatalog::tagOf(const std::string& name,
                               const std::vector<std::string>& tagNames) const {
    const ValueName resolved = resolve(name, tagNames);
    return resolved.scene ? kSceneTagName : resolved.tagName;
}

void bindNameCatalog(py::module_& module) {
    const auto names = [](const py::list& given) {
        std::vector<std::string> out;
        for (const py::handle name : given)
            out.push_back(bytesOf(py::reinterpret_borrow<py::str>(name)));
        return out;
    };
    py::class_<NameCatalog>(module, "Table")
        .def(py::init([](const py::str& path) { return NameCatalog::read(bytesOf(path)); }))
        .def_property_readonly(
            "path", [](const NameCatalog& self) { return pythonText(self.catalog().path()); })
        .def("__reduce__",
             [](const py::object& self) {
                 return py::make_tuple(py::type::of(self), py::make_tuple(self.attr("path")));
             })
        .def("describe",
             [names](const NameCatalog& self, const py::list& given, const py::list& tagNames) {
                 return self.describe(names(given), names(tagNames));
             })
        .def("fields",
             [](const NameCatalog& self, const py::str& tag, const py::bytes& value,
                const py::str& path) { return self.fields(bytesOf(tag), value, bytesOf(path)); })
        .def("record_type", [](const NameCatalog& self,
                               const py::str& tag) { return self.recordType(bytesOf(tag)); })
        .def("decode",
             [names](const NameCatalog& self, const py::str& name, const py::bytes& value,
                     const py::list& tagNames) {
                 return self.decode(bytesOf(name), value, names(tagNames));
             })
        .def("encode",
             [names](const NameCatalog& self, const py::str& name, const py::str& text,
                     const py::bytes& value, const py::list& tagNames) {
                 return self.encode(bytesOf(name), bytesOf(text), value, names(tagNames));
             })
        .def("tag_of",
             [names](const NameCatalog& self, const py::str& name, const py::list& tagNames) {
                 return pythonText(self.tagOf(bytesOf(name), names(tagNames)));
             });
}

}  // namespace tykpython
