#include "tools/camera/TextTable.h"

#include "tags/FieldCodec.h"
#include "tags/Words.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

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

struct CsvCell {
    std::string text;
    bool isQuoted = false;
};

TableCell cellOf(CsvCell cell) {
    if (cell.text.empty() && !cell.isQuoted) return {};
    return {TableCell::Kind::kText, {std::move(cell.text)}};
}

/// Reads rows of comma-separated values.
class CsvReader {
public:
    explicit CsvReader(std::string_view text, size_t offset = 0, size_t line = 1)
        : text_(text), offset_(offset), line_(line) {}

    size_t offset() const { return offset_; }
    size_t line() const { return line_; }

    /// Skips empty lines, unless they are rows: those with the one, empty cell of a single column.
    bool hasRow(bool emptyLinesAreRows = false) {
        while (!emptyLinesAreRows && offset_ < text_.size() && takeNewline()) {
        }
        return offset_ < text_.size();
    }

    Result<std::vector<CsvCell>> readRow() {
        const size_t begun = line_;
        std::vector<CsvCell> cells(1);
        while (offset_ < text_.size() && !takeNewline()) {
            const char c = text_[offset_];
            CsvCell& cell = cells.back();
            if (c == ',') {
                ++offset_;
                cells.emplace_back();
            } else if (c == '"' && cell.text.empty() && !cell.isQuoted) {
                cell.isQuoted = true;
                if (!takeQuoted(cell.text)) {
                    return problemAt(begun, "a quote at the end of the cell", "none");
                }
            } else {
                cell.text += c;
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
        const std::string_view rest = text_.substr(offset_);
        const size_t end = tyktags::takeMarked(rest, cell);
        if (end == std::string_view::npos) return false;
        line_ += static_cast<size_t>(std::count(rest.begin(), rest.begin() + end, '\n'));
        offset_ += end;
        return true;
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

/// The text of a number with its name, as tyktags::toText() writes it; none for another object.
std::optional<std::string> namedNumber(const Json& object) {
    const auto number = object.find("number");
    if (number == object.end() || !number->is_number_integer()) return std::nullopt;
    const auto name = object.find("name");
    if (name == object.end() || name->is_null()) return number->dump();
    if (!name->is_string()) return std::nullopt;
    return fmt::format("{} ({})", name->get_ref<const std::string&>(), number->dump());
}

std::optional<std::string> textOf(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "1" : "0";
    if (value.is_number_integer()) return value.dump();
    if (value.is_number()) return tyktags::toText(tyktags::Value(value.get<double>()));
    return value.is_object() ? namedNumber(value) : std::nullopt;
}

/// Appends the texts in a list; returns false if a cell cannot have such a list. `depth` is the
/// number of lists around the list.
bool appendElements(const Json& list, std::vector<std::string>& elements, int depth = 0) {
    if (depth == kDeepestList) return false;
    return std::all_of(list.begin(), list.end(), [&elements, depth](const Json& element) {
        if (element.is_array()) return appendElements(element, elements, depth + 1);
        const std::optional<std::string> text = textOf(element);
        if (text) elements.push_back(*text);
        return text.has_value();
    });
}

/// The cell of a member; none if a cell cannot have such a value.
std::optional<TableCell> cellOf(const Json& value) {
    if (value.is_null()) return TableCell();
    if (value.is_array()) {
        TableCell cell{TableCell::Kind::kList};
        return appendElements(value, cell.elements) ? std::optional(std::move(cell)) : std::nullopt;
    }
    std::optional<std::string> text = textOf(value);
    if (!text) return std::nullopt;
    return TableCell{TableCell::Kind::kText, {std::move(*text)}};
}

/// Parses a line; the value is discarded if the line is no JSON. Sets `twice` to a key that an
/// object has twice.
Json parseWatched(std::string_view line, std::optional<std::string>& twice) {
    std::vector<std::set<std::string>> open;  // the keys of each object around
    const auto watch = [&open, &twice](int, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::object_start) open.emplace_back();
        if (event == Json::parse_event_t::object_end) open.pop_back();
        if (event == Json::parse_event_t::key) {
            const auto& key = parsed.get_ref<const std::string&>();
            if (!open.back().insert(key).second) twice = key;
        }
        return true;
    };
    return Json::parse(line, watch, false);
}

/// A line with cells that another character than the comma separates, as spreadsheets write it.
std::string separatorOf(const std::vector<CsvCell>& heading) {
    if (heading.size() != 1 || heading.front().isQuoted) return "";
    if (heading.front().text.find(';') != std::string::npos) return "semicolons";
    return heading.front().text.find('\t') != std::string::npos ? "tabs" : "";
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
    return problemAt(line, "every column once", tyktags::quoted(name) + " twice");
}

Status TextTable::findCsvRows() {
    CsvReader reader(text_);
    if (!reader.hasRow()) return Problem{"", "a heading with names", "nothing"};
    const size_t headingLine = reader.line();
    const auto heading = reader.readRow();
    if (!heading.ok()) return heading.problem();
    const std::string separator = separatorOf(heading.value());
    if (!separator.empty()) return problemAt(headingLine, "commas between the cells", separator);
    for (const CsvCell& name : heading.value()) {
        Status status = addColumn(name.text, headingLine);
        if (!status.ok()) return status;
    }
    while (reader.hasRow(columns_.size() == 1)) {
        rows_.push_back({reader.offset(), reader.line()});
        const auto cells = reader.readRow();
        if (!cells.ok()) return cells.problem();
        if (cells.value().size() == columns_.size()) continue;
        return problemAt(rows_.back().line,
                         fmt::format("{} cells, as the heading has", columns_.size()),
                         fmt::to_string(cells.value().size()));
    }
    return {};
}

Status TextTable::findJsonRows() {
    size_t offset = 0;
    for (size_t line = 1; offset < text_.size(); ++line) {
        const size_t begun = offset;
        const std::string_view content = takeLine(text_, offset);
        if (isBlank(content)) continue;
        std::optional<std::string> twice;
        const Json object = parseWatched(content, twice);
        if (!object.is_object()) {
            return problemAt(line, "a JSON object on one line", tyktags::quoted(content));
        }
        if (twice) return problemAt(line, "every key once", tyktags::quoted(*twice) + " twice");
        for (const auto& member : object.items()) {
            if (!cellOf(member.value())) {
                return problemAt(line, "a number, a text, null or a list",
                                 "another value of " + tyktags::quoted(member.key()));
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
        // findJsonRows() has refused a value that is no cell.
        cells[places_.find(member.key())->second] = *cellOf(member.value());
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
    auto cells = reader.readRow();
    for (CsvCell& cell : cells.value()) row.cells.push_back(cellOf(std::move(cell)));
    return row;
}

}  // namespace tyksim
