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
/// `tyksim track` prints it. Ignores the columns that identify the frame. A cell without a value
/// leaves the field unchanged. A column NAME_base64 has the exact bytes of the texts in NAME.
class GivenValues {
public:
    /// Reads the table at `path` (`-` is standard input) and tries every value. Throws Failure,
    /// with the line and the column, for an unknown name, with similar ones, for an invalid value,
    /// with the range, and for columns whose fields share bytes and whose values contradict each
    /// other. `tags` are the known tags.
    GivenValues(const std::string& path, std::vector<tyktags::TagEntry> tags);
    GivenValues(const GivenValues&) = delete;
    GivenValues& operator=(const GivenValues&) = delete;

    const std::string& path() const { return path_; }
    size_t rowCount() const { return table_.rowCount(); }

    /// The names of ignored columns: those with whole values of tags or with measures of images.
    const std::vector<std::string>& passedOver() const { return passedOver_; }

    /// The ids of the tags that have columns, with the columns' names.
    std::map<uint32_t, std::vector<std::string>> tags() const;

    /// Selects row `index` for set(). Throws Failure if a text does not agree with the exact bytes
    /// in its column NAME_base64; the constructor has tried every row.
    void choose(size_t index);

    /// Whether the selected row has a value for a tag.
    bool gives(uint32_t tag) const;

    /// Sets the selected row's values of a tag in `bytes`, which must have the tag's size. Returns
    /// the number of bytes up to the end of the last one.
    size_t set(uint32_t tag, std::vector<uint8_t>& bytes) const;

private:
    struct Column {
        size_t place;  ///< in a row
        tyktree::ValueName name;
        bool isShared = false;  ///< another column has some of its bytes
    };
    /// A column with the exact bytes of another one, by their places in a row.
    struct ExactColumn {
        size_t place;
        size_t of;
    };
    using TagValues = std::map<uint32_t, std::vector<uint8_t>>;

    static TextTable readTable(const std::string& path);
    void resolveColumns();
    void addColumn(size_t place, tyktree::ValueName name);
    /// Whether the column has exact bytes, which go to the column of the texts, if there is one.
    bool takesExact(size_t place);
    void arrangeColumns();
    /// The meaning of a column's name; throws Failure if it has none.
    template <typename Name>
    Name resolved(tyktags::Result<Name> name) const;
    void tryRow(TagValues& values) const;
    /// Throws Failure if a later column changes the value of one before it.
    void requireAgreement(const std::vector<const Column*>& shared,
                          const std::vector<uint8_t>& bytes) const;
    void takeExactBytes();
    [[noreturn]] void refuseRow(tyktags::Problem problem, const std::string& columns) const;
    const TableCell& cellOf(const Column& column) const { return row_.cells[column.place]; }

    std::string path_;
    TextTable table_;
    tyktree::TagCatalog catalog_;
    std::map<uint32_t, std::vector<Column>> columns_;  ///< by tag, in the order of setting
    std::vector<ExactColumn> exact_;
    std::vector<std::string> passedOver_;
    TableRow row_;
};

}  // namespace tyksim
