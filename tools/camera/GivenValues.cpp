#include "tools/camera/GivenValues.h"

#include "records/SceneLayout.h"
#include "tags/FieldCodec.h"
#include "tags/Words.h"
#include "tools/console/Failures.h"
#include "tools/files/InputStream.h"
#include "tools/json/Json.h"
#include "tools/json/TreeJson.h"
#include "tools/picture/MeasureName.h"
#include "tree/read/Escape.h"
#include "tree/read/SceneRecord.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <utility>

namespace tyksim {

namespace {

using tyktags::Status;
using tyktags::TagField;
using tyktree::ValueName;

constexpr size_t kMaxTableBytes = size_t{1} << 30;

/// The place of a name's value in its tag.
TagField fieldOf(const ValueName& name) {
    if (!name.scene) return *name.field;
    return {"", static_cast<uint32_t>(name.scene->offset), name.scene->type};
}

Status setScene(const ::SceneField& field, const TableCell& cell, std::vector<uint8_t>& bytes) {
    if (cell.elements.size() != 1) {
        return tyktags::flaw("one number", fmt::format("a list of {}", cell.elements.size()));
    }
    tyktree::SceneRecord record;
    std::copy_n(bytes.begin(), std::min(bytes.size(), record.bytes.size()), record.bytes.begin());
    Status status = setSceneField(field, cell.elements.front(), record);
    if (status.ok()) bytes.assign(record.bytes.begin(), record.bytes.end());
    return status;
}

/// `cell` must not be empty.
Status setValue(const ValueName& name, const TableCell& cell, std::vector<uint8_t>& bytes) {
    if (name.scene) return setScene(*name.scene, cell, bytes);
    if (cell.kind == TableCell::Kind::kList) {
        return encodeField(*name.field, cell.elements, bytes.data(), bytes.size());
    }
    return encodeField(*name.field, cell.elements.front(), bytes.data(), bytes.size());
}

/// The value that `bytes` have for a name.
std::string textIn(const ValueName& name, const std::vector<uint8_t>& bytes) {
    const TagField field = fieldOf(name);
    return tyktags::toText(decodeField(field, bytes.data(), bytes.size()));
}

/// The bytes of a tag's value in which a column's value lies.
struct Extent {
    uint64_t begin;
    uint64_t end;
    bool isText;

    uint64_t textBytes() const { return isText ? end - begin : 0; }
    bool overlaps(const Extent& other) const { return begin < other.end && other.begin < end; }
};

Extent extentOf(const ValueName& name) {
    const TagField field = fieldOf(name);
    return {field.offset, field.offset + field.bytes(), field.type == tyktags::FieldType::text};
}

/// The bytes that the elements have in Base64; none if one is no Base64.
std::optional<TableCell> exactCell(const TableCell& cell) {
    TableCell exact{TableCell::Kind::kList};
    for (const std::string& element : cell.elements) {
        std::optional<std::string> bytes = fromBase64(element);
        if (!bytes) return std::nullopt;
        exact.elements.push_back(std::move(*bytes));
    }
    return exact;
}

/// Whether `texts` have U+FFFD in place of the bytes of `exact` that are not UTF-8, and equal them
/// else.
bool areTextsOf(const TableCell& exact, const TableCell& texts) {
    return std::equal(exact.elements.begin(), exact.elements.end(), texts.elements.begin(),
                      texts.elements.end(), [](const std::string& bytes, const std::string& text) {
                          return tyktree::toUtf8(bytes) == text;
                      });
}

}  // namespace

TextTable GivenValues::readTable(const std::string& path) {
    auto table = TextTable::parse(readWholeInput(path, kMaxTableBytes));
    if (table.ok()) return std::move(table.value());
    tyktags::Problem problem = table.problem();
    problem.path = inputName(path);
    fail(problem);
}

GivenValues::GivenValues(const std::string& path, std::vector<tyktags::TagEntry> tags)
    : path_(inputName(path)),
      table_(readTable(path)),
      catalog_(std::move(tags), tyktree::TagCatalog::Source::kGiven, "") {
    resolveColumns();
    if (columns_.empty()) {
        fail({path_, "a column that names a field, such as total_gain or TAG.field", "none"});
    }
    if (table_.rowCount() == 0) fail({path_, "a row for each frame", "none"});
    // Refuses an invalid value before recording begins.
    TagValues values;
    for (const auto& [tag, columns] : columns_) {
        const tyktags::TagEntry* const entry = catalog_.byId(tag);
        values[tag].resize(entry ? static_cast<size_t>(entry->size) : size_t{kSceneRecordBytes});
    }
    for (size_t i = 0; i < table_.rowCount(); ++i) {
        choose(i);
        tryRow(values);
    }
}

template <typename Name>
Name GivenValues::resolved(tyktags::Result<Name> name) const {
    if (name.ok()) return std::move(name.value());
    tyktags::Problem problem = name.problem();
    problem.path = path_;
    problem.where = problem.where.empty() ? "heading" : "column " + problem.where;
    fail(problem);
}

void GivenValues::resolveColumns() {
    const std::vector<std::string>& columns = table_.columns();
    for (size_t i = 0; i < columns.size(); ++i) {
        if (identifiesFrame(columns[i])) continue;
        if (claimsMeasure(columns[i])) {
            static_cast<void>(resolved(parseMeasureName(columns[i])));
            passedOver_.push_back(columns[i]);
            continue;
        }
        auto name = tyktree::resolveName(columns[i], catalog_);
        if (!name.ok() && takesExact(i)) continue;
        addColumn(i, resolved(std::move(name)));
    }
    arrangeColumns();
}

void GivenValues::addColumn(size_t place, ValueName name) {
    if (!name.scene && !name.field) {
        passedOver_.push_back(name.name);
    } else {
        columns_[name.scene ? kSceneTag : *name.tag].push_back({place, std::move(name)});
    }
}

bool GivenValues::takesExact(size_t place) {
    const std::vector<std::string>& columns = table_.columns();
    const std::string_view column = columns[place];
    if (column.size() <= kExactEnd.size()) return false;
    const size_t end = column.size() - kExactEnd.size();
    if (column.substr(end) != kExactEnd) return false;
    auto name = tyktree::resolveName(column.substr(0, end), catalog_);
    if (!name.ok() || !name.value().field) return false;
    const auto texts = std::find(columns.begin(), columns.end(), column.substr(0, end));
    const auto of = static_cast<size_t>(texts - columns.begin());
    exact_.push_back({place, texts == columns.end() ? place : of});
    if (texts == columns.end()) addColumn(place, std::move(name.value()));
    return true;
}

void GivenValues::arrangeColumns() {
    for (auto& [tag, columns] : columns_) {
        // A text fills its field with zeros, so fields that share its bytes are set later.
        std::stable_sort(columns.begin(), columns.end(), [](const Column& a, const Column& b) {
            return extentOf(a.name).textBytes() > extentOf(b.name).textBytes();
        });
        std::vector<Extent> extents;
        for (const Column& column : columns) extents.push_back(extentOf(column.name));
        for (size_t i = 0; i < columns.size(); ++i) {
            const auto overlaps = [&extents, i](const Extent& other) {
                return &other != &extents[i] && other.overlaps(extents[i]);
            };
            columns[i].isShared = std::any_of(extents.begin(), extents.end(), overlaps);
        }
    }
}

void GivenValues::choose(size_t index) {
    row_ = table_.row(index);
    takeExactBytes();
}

void GivenValues::takeExactBytes() {
    for (const ExactColumn& column : exact_) {
        const TableCell& cell = row_.cells[column.place];
        if (cell.kind == TableCell::Kind::kNothing) continue;
        const std::vector<std::string>& names = table_.columns();
        std::optional<TableCell> exact = exactCell(cell);
        if (!exact) {
            refuseRow(tyktags::flaw("Base64", tyktags::quoted(cell.elements.front())),
                      tyktags::shortened(names[column.place]));
        }
        TableCell& texts = row_.cells[column.of];
        const bool hasTexts = column.of != column.place && texts.kind != TableCell::Kind::kNothing;
        if (hasTexts && !areTextsOf(*exact, texts)) {
            refuseRow(tyktags::flaw(fmt::format("the texts whose bytes {} has",
                                                tyktags::quoted(names[column.place])),
                                    "others"),
                      tyktags::shortened(names[column.of]));
        }
        texts = std::move(*exact);
    }
}

void GivenValues::refuseRow(tyktags::Problem problem, const std::string& columns) const {
    problem.path = path_;
    problem.where = fmt::format("line {}, column {}", row_.line, columns);
    fail(problem);
}

void GivenValues::tryRow(TagValues& values) const {
    for (const auto& [tag, columns] : columns_) {
        std::vector<uint8_t>& bytes = values[tag];
        std::vector<const Column*> shared;
        for (const Column& column : columns) {
            const TableCell& cell = cellOf(column);
            if (cell.kind == TableCell::Kind::kNothing) continue;
            const Status status = setValue(column.name, cell, bytes);
            if (!status.ok()) refuseRow(status.problem(), tyktags::shortened(column.name.name));
            if (column.isShared) shared.push_back(&column);
        }
        requireAgreement(shared, bytes);
    }
}

void GivenValues::requireAgreement(const std::vector<const Column*>& shared,
                                   const std::vector<uint8_t>& bytes) const {
    for (size_t i = 0; i < shared.size(); ++i) {
        const ValueName& name = shared[i]->name;
        std::vector<uint8_t> again = bytes;
        static_cast<void>(setValue(name, cellOf(*shared[i]), again));
        const std::string given = textIn(name, again);
        if (textIn(name, bytes) == given) continue;
        for (size_t k = i + 1; k < shared.size(); ++k) {
            const ValueName& other = shared[k]->name;
            static_cast<void>(setValue(other, cellOf(*shared[k]), again));
            if (textIn(name, again) == given) continue;
            refuseRow(tyktags::flaw(fmt::format("a value that agrees with column {}, because both "
                                                "fields have the same bytes",
                                                tyktags::shortened(other.name)),
                                    fmt::format("{} and {}", tyktags::quoted(given),
                                                tyktags::quoted(textIn(other, again)))),
                      tyktags::shortened(name.name));
        }
    }
}

std::map<uint32_t, std::vector<std::string>> GivenValues::tags() const {
    std::map<uint32_t, std::vector<std::string>> tags;
    for (const auto& [tag, columns] : columns_) {
        for (const Column& column : columns) tags[tag].push_back(column.name.name);
    }
    return tags;
}

bool GivenValues::gives(uint32_t tag) const {
    const auto found = columns_.find(tag);
    return found != columns_.end() &&
           std::any_of(found->second.begin(), found->second.end(), [this](const Column& column) {
               return cellOf(column).kind != TableCell::Kind::kNothing;
           });
}

size_t GivenValues::set(uint32_t tag, std::vector<uint8_t>& bytes) const {
    const auto found = columns_.find(tag);
    if (found == columns_.end()) return 0;
    size_t end = 0;
    for (const Column& column : found->second) {
        const TableCell& cell = cellOf(column);
        // This cannot fail: the constructor has set every value once.
        if (cell.kind == TableCell::Kind::kNothing) continue;
        static_cast<void>(setValue(column.name, cell, bytes));
        const std::optional<tyktags::TagField>& field = column.name.field;
        if (field) end = std::max(end, static_cast<size_t>(field->offset + field->bytes()));
    }
    return end;
}

}  // namespace tyksim
