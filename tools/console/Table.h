// Aligned columns of text for a terminal.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace tyksim {

enum class Align { kLeft, kRight };

/// Rows under headings. Text from a tree must be escaped already. One thread at a time uses an
/// object.
class Table {
public:
    struct Column {
        std::string heading;
        Align align = Align::kLeft;
    };

    Table(std::initializer_list<Column> columns) : columns_(columns) {}

    /// `cells` has one cell for each column.
    void addRow(std::vector<std::string> cells);
    bool empty() const { return rows_.empty(); }

    /// Prints headings and rows as results, each line after `indent`.
    void print(const std::string& indent = "") const;

private:
    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace tyksim
