#include "tools/camera/GivenValues.h"

#include "records/SceneLayout.h"
#include "tags/FieldCodec.h"
#include "tools/console/Failures.h"
#include "tools/files/InputStream.h"
#include "tools/picture/MeasureName.h"
#include "tree/read/SceneRecord.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

using tyktags::Status;
using tyktree::ValueName;

constexpr size_t kMaxTableBytes = size_t{1} << 30;

/// The columns of `tyksim track` that identify the frame.
constexpr std::string_view kIdentity[] = {"path",    "pipe", "task", "frame",
                                          "request", "sof",  "time"};

bool isIdentity(std::string_view column) {
    return std::find(std::begin(kIdentity), std::end(kIdentity), column) != std::end(kIdentity);
}

Status setScene(const ::SceneField& field, const std::string& text, std::vector<uint8_t>& bytes) {
    tyktree::SceneRecord record;
    std::copy_n(bytes.begin(), std::min(bytes.size(), record.bytes.size()), record.bytes.begin());
    Status status = setSceneField(field, text, record);
    if (status.ok()) bytes.assign(record.bytes.begin(), record.bytes.end());
    return status;
}

Status setValue(const ValueName& name, const std::string& text, std::vector<uint8_t>& bytes) {
    if (name.scene) return setScene(*name.scene, text, bytes);
    return tyktags::encodeField(*name.field, text, bytes.data(), bytes.size());
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
    tryRows();
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
        if (isIdentity(columns[i])) continue;
        if (claimsMeasure(columns[i])) {
            static_cast<void>(resolved(parseMeasureName(columns[i])));
            passedOver_.push_back(columns[i]);
            continue;
        }
        const ValueName found = resolved(tyktree::resolveName(columns[i], catalog_));
        if (!found.scene && !found.field) {
            passedOver_.push_back(columns[i]);
        } else {
            columns_[found.scene ? kSceneTag : *found.tag].push_back({i, found});
        }
    }
}

/// Refuses an invalid value before recording begins.
void GivenValues::tryRows() {
    std::map<uint32_t, std::vector<uint8_t>> values;
    for (const auto& [tag, columns] : columns_) {
        const tyktags::TagEntry* const entry = catalog_.byId(tag);
        values[tag].resize(entry ? static_cast<size_t>(entry->size) : size_t{kSceneRecordBytes});
    }
    for (size_t i = 0; i < table_.rowCount(); ++i) {
        choose(i);
        for (const auto& [tag, columns] : columns_) {
            for (const Column& column : columns) {
                const TableCell& cell = cellOf(column);
                if (!cell) continue;
                const Status status = setValue(column.name, *cell, values[tag]);
                if (status.ok()) continue;
                tyktags::Problem problem = status.problem();
                problem.path = path_;
                problem.where = fmt::format("line {}, column {}", row_.line, column.name.name);
                fail(problem);
            }
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
           std::any_of(found->second.begin(), found->second.end(),
                       [this](const Column& column) { return cellOf(column).has_value(); });
}

size_t GivenValues::set(uint32_t tag, std::vector<uint8_t>& bytes) const {
    const auto found = columns_.find(tag);
    if (found == columns_.end()) return 0;
    size_t end = 0;
    for (const Column& column : found->second) {
        const TableCell& cell = cellOf(column);
        // This cannot fail: tryRows() has set every value once.
        if (!cell) continue;
        static_cast<void>(setValue(column.name, *cell, bytes));
        const std::optional<tyktags::TagField>& field = column.name.field;
        if (field) end = std::max(end, static_cast<size_t>(field->offset + field->bytes()));
    }
    return end;
}

}  // namespace tyksim
