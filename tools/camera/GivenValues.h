// Values that a user's table gives the frames of a recording, a row a frame.
#pragma once

#include "tools/camera/TextTable.h"
#include "tree/read/TagCatalog.h"
#include "tree/read/ValueName.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyksim {

/// A table whose columns are fields of the scene record (total_gain) and of tags (TAG.field), as
/// `tyksim track` prints it. The columns that say which frame a row is of are passed over. What a
/// cell does not say is left as it is.
class GivenValues {
public:
    /// Reads the table at `path`, `-` being standard input, and tries every value. Throws Failure,
    /// with the line and the column, for a name that stands for nothing, with the nearest, and for
    /// a value that its field does not take, with the range. `tags` are the tags that there are.
    GivenValues(const std::string& path, std::vector<tyktags::TagEntry> tags);
    GivenValues(const GivenValues&) = delete;
    GivenValues& operator=(const GivenValues&) = delete;

    const std::string& path() const { return path_; }
    size_t rowCount() const { return table_.rowCount(); }

    /// Names of the columns that are passed over because they stand for the whole value of a tag.
    const std::vector<std::string>& passedOver() const { return passedOver_; }

    /// The ids of the tags that columns give values of, with the columns' names.
    std::map<uint32_t, std::vector<std::string>> tags() const;

    /// Makes row `index` the one that set() takes its values from.
    void choose(size_t index) { row_ = table_.row(index); }

    /// Whether the chosen row gives a value of a tag.
    bool gives(uint32_t tag) const;

    /// Sets what the chosen row gives of a tag in the bytes of its value, which is as long as the
    /// tag's size.
    void set(uint32_t tag, std::vector<uint8_t>& bytes) const;

private:
    struct Column {
        size_t place;  ///< in a row
        tyktree::ValueName name;
    };

    static TextTable readTable(const std::string& path);
    void resolveColumns();
    void tryRows();
    const TableCell& cellOf(const Column& column) const { return row_.cells[column.place]; }

    std::string path_;
    TextTable table_;
    tyktree::TagCatalog catalog_;
    std::map<uint32_t, std::vector<Column>> columns_;  ///< by tag
    std::vector<std::string> passedOver_;
    TableRow row_;
};

}  // namespace tyksim
