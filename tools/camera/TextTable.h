// Reads tables from text, with named columns. Threads: several may read one object at once.
#pragma once

#include "tags/Problem.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tyksim {

/// The content of a cell.
struct TableCell {
    enum class Kind {
        kNothing,  ///< the cell is empty or null
        kText,     ///< a text or a number
        kList,     ///< the elements of a list, and of the lists in it, in order
    };
    Kind kind = Kind::kNothing;
    std::vector<std::string> elements = {};  ///< the one text, or those of the list

    bool operator==(const TableCell& other) const {
        return kind == other.kind && elements == other.elements;
    }
};

/// A row, with a cell for each of the table's columns.
struct TableRow {
    size_t line = 0;  ///< its first line, from 1
    std::vector<TableCell> cells;
};

/// A table in one of two formats: CSV, with the columns' names in the first row, or JSON lines,
/// with an object per line. A table that begins with a brace is of the second kind.
///
/// CSV: a cell in double quotes may hold commas, newlines and doubled quotes, and is a text even if
/// it is empty; a line ends with a newline, or with a carriage return and a newline; every row has
/// as many cells as the heading.
/// JSON lines: a member is a number, a text, true (1), false (0), null, or a list of those, in
/// which there may be lists; {"number": 1, "name": "AUTO"} is the text "AUTO (1)", or "1" without a
/// name; no object has a key twice. Empty lines are ignored.
class TextTable {
public:
    /// Takes the table's text and reads all rows once. The problem has the line but no path.
    static tyktags::Result<TextTable> parse(std::string text);

    /// The names, each once, in order of appearance.
    const std::vector<std::string>& columns() const { return columns_; }

    size_t rowCount() const { return rows_.size(); }

    /// Row `index`, which must be less than rowCount().
    TableRow row(size_t index) const;

private:
    struct Place {
        size_t offset;  ///< in text_
        size_t line;
    };

    explicit TextTable(std::string text) : text_(std::move(text)) {}
    tyktags::Status findCsvRows();
    tyktags::Status findJsonRows();
    tyktags::Status addColumn(const std::string& name, size_t line);
    std::vector<TableCell> jsonCells(std::string_view line) const;

    std::string text_;
    bool isJson_ = false;
    std::vector<std::string> columns_;
    std::map<std::string, size_t, std::less<>> places_;  ///< of names in columns_
    std::vector<Place> rows_;
};

}  // namespace tyksim
