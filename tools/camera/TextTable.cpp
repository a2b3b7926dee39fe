#include "tools/camera/TextTable.h"

#include "tags/FieldCodec.h"
#include "tags/Words.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace tyksim {

namespace {

using Json = nlohmann::ordered_json;
using tyktags::Problem;
using tyktags::Result;
using tyktags::Status;

Problem problemAt(size_t line, std::string expected, std::string found, std::string reason = "") {
    return {"", std::move(expected), std::move(found), std::move(reason),
            fmt::format("line {}", line)};
}

TableCell cellOf(std::string text) {
    if (text.empty()) return std::nullopt;
    return text;
}

/// Reads rows of comma-separated values.
class CsvReader {
public:
    explicit CsvReader(std::string_view text, size_t offset = 0, size_t line = 1)
        : text_(text), offset_(offset), line_(line) {}

    size_t offset() const { return offset_; }
    size_t line() const { return line_; }

    /// Skips empty lines; returns false at the end of the text.
    /// Skips empty lines, unless they are rows: those with the one, empty cell of a single column.
    bool hasRow(bool emptyLinesAreRows = false) {
        while (!emptyLinesAreRows && offset_ < text_.size() && takeNewline()) {
        }
        return offset_ < text_.size();
    }

    Result<std::vector<std::string>> readRow() {
        const size_t begun = line_;
        std::vector<std::string> cells(1);
        while (offset_ < text_.size() && !takeNewline()) {
            const char c = text_[offset_];
            if (c == ',') {
                ++offset_;
                cells.emplace_back();
            } else if (c == '"' && cells.back().empty()) {
                if (!takeQuoted(cells.back())) {
                    return problemAt(begun, "a quote at the end of the cell", "none");
                }
            } else {
                cells.back() += c;
                ++offset_;
            }
        }
        return cells;
    }

private:
    bool takeNewline() {
        const size_t width = text_.substr(offset_, 2) == "\r\n" ? 2 : 1;
        if (width == 1 && text_[offset_] != '\n') return false;
        offset_ += width;
        ++line_;
        return true;
    }

    /// Returns false if the closing quote is missing.
    bool takeQuoted(std::string& cell) {
        for (++offset_; offset_ < text_.size(); ++offset_) {
            const char c = text_[offset_];
            if (c == '"') {
                if (text_.substr(offset_ + 1, 1) != "\"") {
                    ++offset_;
                    return true;
                }
                ++offset_;
            }
            line_ += c == '\n' ? 1 : 0;
            cell += c;
        }
        return false;
    }

    std::string_view text_;
    size_t offset_;
    size_t line_;
};

/// Returns the line at `offset` without its end, and moves `offset` to the next.
std::string_view takeLine(std::string_view text, size_t& offset) {
    const size_t end = std::min(text.find('\n', offset), text.size());
    const std::string_view line = text.substr(offset, end - offset);
    offset = std::min(end + 1, text.size());
    return line;
}

bool isBlank(std::string_view line) {
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

constexpr int kDeepestList = 32;  ///< lists in lists; a field has fewer dimensions

/// Appends a value's elements to `text`; returns false if a cell cannot have such a value. `depth`
/// is the number of lists around the value.
bool appendJson(const Json& value, std::string& text, int depth = 0) {
    const auto append = [&text](const std::string& piece) {
        text += (text.empty() ? "" : ",") + piece;
        return true;
    };
    if (value.is_string()) return append(value.get_ref<const std::string&>());
    if (value.is_boolean()) return append(value.get<bool>() ? "1" : "0");
    if (value.is_number_unsigned()) return append(std::to_string(value.get<uint64_t>()));
    if (value.is_number_integer()) return append(std::to_string(value.get<int64_t>()));
    if (value.is_number()) return append(tyktags::toText(tyktags::Value(value.get<double>())));
    if (depth == kDeepestList) return false;
    if (value.is_object() && value.contains("number")) {
        return appendJson(value["number"], text, depth + 1);
    }
    if (!value.is_array()) return false;
    return std::all_of(value.begin(), value.end(), [&text, depth](const Json& element) {
        return appendJson(element, text, depth + 1);
    });
}

}  // namespace

Result<TextTable> TextTable::parse(std::string text) {
    text.erase(0, text.size() - tyktags::withoutByteOrderMark(text).size());
    TextTable table(std::move(text));
    const size_t first = table.text_.find_first_not_of(" \t\r\n");
    table.isJson_ = first != std::string::npos && table.text_[first] == '{';
    const Status status = table.isJson_ ? table.findJsonRows() : table.findCsvRows();
    if (!status.ok()) return status.problem();
    return table;
}

Status TextTable::addColumn(const std::string& name, size_t line) {
    if (places_.emplace(name, columns_.size()).second) {
        columns_.push_back(name);
        return {};
    }
    return problemAt(line, "every column once", fmt::format("\"{}\" twice", name));
}

Status TextTable::findCsvRows() {
    CsvReader reader(text_);
    if (!reader.hasRow()) return Problem{"", "a heading with names", "nothing"};
    const size_t headingLine = reader.line();
    const auto heading = reader.readRow();
    if (!heading.ok()) return heading.problem();
    for (const std::string& name : heading.value()) {
        Status status = addColumn(name, headingLine);
        if (!status.ok()) return status;
    }
    while (reader.hasRow(columns_.size() == 1)) {
        rows_.push_back({reader.offset(), reader.line()});
        const auto cells = reader.readRow();
        if (!cells.ok()) return cells.problem();
        if (cells.value().size() == columns_.size()) continue;
        return problemAt(rows_.back().line,
                         fmt::format("{} cells, as the heading has", columns_.size()),
                         std::to_string(cells.value().size()));
    }
    return {};
}

Status TextTable::findJsonRows() {
    size_t offset = 0;
    for (size_t line = 1; offset < text_.size(); ++line) {
        const size_t begun = offset;
        const std::string_view content = takeLine(text_, offset);
        if (isBlank(content)) continue;
        const Json object = Json::parse(content, nullptr, false);
        if (!object.is_object()) return problemAt(line, "a JSON object on one line", "none");
        for (const auto& member : object.items()) {
            std::string ignored;
            const bool isCell = member.value().is_null() || appendJson(member.value(), ignored);
            if (!isCell) {
                return problemAt(line, "a number, a text, null or a list",
                                 fmt::format("another value of \"{}\"", member.key()));
            }
            if (places_.count(member.key()) > 0) continue;
            static_cast<void>(addColumn(member.key(), line));
        }
        rows_.push_back({begun, line});
    }
    return {};
}

std::vector<TableCell> TextTable::jsonCells(std::string_view line) const {
    std::vector<TableCell> cells(columns_.size());
    const Json object = Json::parse(line, nullptr, false);
    for (const auto& member : object.items()) {
        std::string text;
        if (member.value().is_null() || !appendJson(member.value(), text)) continue;
        cells[places_.find(member.key())->second] = cellOf(std::move(text));
    }
    return cells;
}

TableRow TextTable::row(size_t index) const {
    const Place& place = rows_[index];
    TableRow row{place.line, {}};
    if (isJson_) {
        size_t offset = place.offset;
        row.cells = jsonCells(takeLine(text_, offset));
        return row;
    }
    CsvReader reader(text_, place.offset, place.line);
    const auto cells = reader.readRow();
    for (const std::string& cell : cells.value()) row.cells.push_back(cellOf(cell));
    return row;
}

}  // namespace tyksim
