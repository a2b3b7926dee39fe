#include "tools/console/Table.h"

#include "tags/Words.h"
#include "tools/console/Console.h"

#include <algorithm>
#include <utility>

namespace tyksim {

namespace {

/// The number of characters of a UTF-8 text, which approximates the terminal's columns for names of
/// tags and files.
size_t widthOf(const std::string& text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return !tyktags::continuesCharacter(c); }));
}

}  // namespace

void Table::addRow(std::vector<std::string> cells) {
    rows_.push_back(std::move(cells));
}

void Table::print(const std::string& indent) const {
    std::vector<size_t> widths;
    for (const Column& column : columns_) widths.push_back(widthOf(column.heading));
    for (const auto& row : rows_) {
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i]));
    }
    const auto printRow = [&](const auto& cellOf) {
        std::string line = indent;
        for (size_t i = 0; i < columns_.size(); ++i) {
            const std::string& cell = cellOf(i);
            const std::string gap(widths[i] - widthOf(cell), ' ');
            if (i > 0) line += "  ";
            line += columns_[i].align == Align::kRight ? gap + cell : cell + gap;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        printResult(line);
    };
    printRow([this](size_t i) -> const std::string& { return columns_[i].heading; });
    for (const auto& row : rows_) {
        printRow([&row](size_t i) -> const std::string& { return row[i]; });
    }
}

}  // namespace tyksim
