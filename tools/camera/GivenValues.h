// A user's table of values for the frames of a recording, one row per frame. One thread at a time
// uses an object.
#pragma once

#include "tools/camera/TextTable.h"
#include "tree/read/TagCatalog.h"
#include "tree/read/ValueName.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyksim {

/// A table with columns for fields of the scene record (total_gain) and of tags (TAG.field), as
/// `tyksim track` prints it. Ignores the columns that identify the frame. An empty cell leaves the
/// value unchanged.
class GivenValues {
public:
    /// Reads the table at `path` (`-` is standard input) and tries every value. Throws Failure,
    /// with the line and the column, for an unknown name, with similar ones, and for an invalid
    /// value, with the range. `tags` are the known tags.
    GivenValues(const std::string& path, std::vector<tyktags::TagEntry> tags);
    GivenValues(const GivenValues&) = delete;
    GivenValues& operator=(const GivenValues&) = delete;

    const std::string& path() const { return path_; }
    size_t rowCount() const { return table_.rowCount(); }

    /// The names of ignored columns: those with whole values of tags or with measures of images.
    const std::vector<std::string>& passedOver() const { return passedOver_; }

    /// The ids of the tags that have columns, with the columns' names.
    std::map<uint32_t, std::vector<std::string>> tags() const;

    /// Selects row `index` for set().
    void choose(size_t index) { row_ = table_.row(index); }

    /// Whether the selected row has a value for a tag.
    bool gives(uint32_t tag) const;

    /// Sets the selected row's values of a tag in `bytes`, which must have the tag's size. Returns
    /// the number of bytes up to the end of the last one.
    size_t set(uint32_t tag, std::vector<uint8_t>& bytes) const;

private:
    struct Column {
        size_t place;  ///< in a row
        tyktree::ValueName name;
    };

    static TextTable readTable(const std::string& path);
    void resolveColumns();
    /// The name of a column; throws Failure where it stands for nothing.
    template <typename Name>
    Name resolved(tyktags::Result<Name> name) const;
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
