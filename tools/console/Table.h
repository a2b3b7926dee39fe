// Aligned columns of text for a terminal.
#pragma once

#include <string>
#include <vector>

namespace tyksim {

/// Rows under a heading. What comes from a tree must be escaped by then.
class Table {
public:
    enum class Align { kLeft, kRight };

    void addColumn(std::string heading, Align align);
    void addRow(std::vector<std::string> cells);
    bool empty() const { return rows_.empty(); }

    /// Prints heading and rows as results, each behind `indent`.
    void print(const std::string& indent = "") const;

private:
    struct Column {
        std::string heading;
        Align align;
    };
    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace tyksim
