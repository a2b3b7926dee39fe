// Tests of merging layouts into the text of tag tables.
#include "tags/TableMerge.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

using tyktags::TableChange;
using tyktags::TagEnum;
using tyktags::TagField;
using tyktags::TagLayout;

/// The layout that all rows merge into the tag A, of 8 bytes.
TagLayout layout() {
    TagField gain;
    gain.name = "gain";
    gain.type = FieldType::f32;
    TagField mode;
    mode.name = "mode";
    mode.offset = 4;
    mode.enumeration = std::make_shared<TagEnum>(
        "Mode", std::vector<tyktags::EnumValue>{{"OFF", {0}}, {"AUTO", {1}}});
    return {"A", "Params", 8, {gain, mode}};
}

constexpr const char* kGain = R"(<field name="gain" offset="0" type="f32"/>)";
constexpr const char* kMode = R"(<field name="mode" offset="4" type="u8" enum="Mode"/>)";
constexpr const char* kEnum =
    "<enum name=\"Mode\">\n  <value name=\"OFF\" number=\"0\" />\n"
    "  <value name=\"AUTO\" number=\"1\" />\n</enum>";

struct Row {
    const char* name;
    std::string before;
    bool replace;
    std::string after;    ///< or the problem
    std::string changes;  ///< a letter each: added, replaced, removed (x), kept

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }
};

/// A table of version 2 with the enum, and with `rest` behind it.
std::string table(const std::string& rest) {
    return std::string("<tags version=\"2\">\n") + kEnum + rest + "\n</tags>\n";
}

std::string tag(const std::string& content) {
    return "\n<tag id=\"1\" name=\"A\" size=\"8\" kind=\"fixed\">" + content + "</tag>";
}

const Row kRows[] = {
    {"NoFields",
     "<!-- a -->\n<tags>\n<tag kind='fixed' id=\"0x1\" name=\"A\"  size=\"8\" />\n</tags>", false,
     std::string("<!-- a -->\n<tags version=\"2\">\n") + kEnum +
         "\n<tag kind='fixed' id=\"0x1\" name=\"A\"  size=\"8\">\n  " + kGain + "\n  " + kMode +
         "\n</tag>\n</tags>",
     "aaa"},
    {"AnotherVersion",
     "<?xml version='1.0'?>\n<tags xmlns:x='version=1' version = '1' >" + tag("") + "\n</tags>",
     false,
     std::string("<?xml version='1.0'?>\n<tags xmlns:x='version=1' version=\"2\" >\n") + kEnum +
         tag(std::string("\n  ") + kGain + "\n  " + kMode + "\n") + "\n</tags>",
     "aaa"},
    {"ExistingTextStays",
     table(tag("\n\t<!-- <field --> <field  name='gain' type='f32' offset='0' unit='&gt;'/> <!-- b "
               "-->\n")),
     false,
     table(tag("\n\t<!-- <field --> <field  name='gain' type='f32' offset='0' unit='&gt;'/> <!-- b "
               "-->\n  " +
               std::string(kMode) + "\n")),
     "a"},
    {"NothingChanges", table(tag(std::string(kMode) + kGain)), false,
     table(tag(std::string(kMode) + kGain)), ""},
    {"OtherFieldsAreKept",
     table(tag(std::string("\n\t<field name=\"gain\" offset=\"1\" type=\"u8\"/>\n\t<field "
                           "name=\"mine\" offset=\"7\" type=\"u8\"/>\n\t") +
               kMode + "\n")),
     false,
     table(tag(std::string("\n\t<field name=\"gain\" offset=\"1\" type=\"u8\"/>\n\t<field "
                           "name=\"mine\" offset=\"7\" type=\"u8\"/>\n\t") +
               kMode + "\n")),
     "kk"},
    {"OtherFieldsAreReplaced",
     table(tag(std::string("\n\t<field name=\"gain\" offset=\"1\" type=\"u8\" unit=\"dB\"/><!-- c "
                           "-->\n\t<field name=\"mine\" offset=\"7\" type=\"u8\"/>\n\t") +
               kMode + "\n")),
     true,
     table(tag(std::string("\n\t<field name=\"gain\" offset=\"0\" type=\"f32\" unit=\"dB\"/><!-- c "
                           "-->\n\t") +
               kMode + "\n")),
     "rx"},
    {"AnotherEnumIsKept",
     "<tags version=\"2\"><enum name=\"Mode\"><value name=\"ON\" number=\"1\"/></enum>" +
         tag(std::string(kGain) + kMode) + "</tags>",
     false,
     "<tags version=\"2\"><enum name=\"Mode\"><value name=\"ON\" number=\"1\"/></enum>" +
         tag(std::string(kGain) + kMode) + "</tags>",
     "k"},
    {"AnotherEnumIsReplaced",
     "<tags version=\"2\">\n<enum name=\"Mode\"><value name=\"ON\" number=\"1\"/></enum>" +
         tag(std::string(kGain) + kMode) + "</tags>",
     true,
     std::string("<tags version=\"2\">\n") + kEnum + tag(std::string(kGain) + kMode) + "</tags>",
     "r"},
    {"AnotherSize", "<tags><tag id=\"1\" name=\"A\" size=\"12\" kind=\"block\"/></tags>", true,
     "expected 12 bytes, the size of A, found 8 bytes of Params: the type is another one, or of "
     "another build",
     ""},
    {"NoSuchTag", "<tags><tag id=\"1\" name=\"TAG_A\" size=\"8\" kind=\"block\"/></tags>", true,
     "expected a tag of the table, found \"A\": nearest: TAG_A", ""},
    {"NoTable", "<tags><field/></tags>", false, "line 1: expected <tag> or <enum>, found \"field\"",
     ""},
    {"ALaterTable", "<tags version=\"9\"><shape/></tags>", false,
     "line 1: expected nothing beyond version 2 of tag tables, found the element <shape>: "
     "ignored",
     ""},
};

class TableMergeTest : public testing::TestWithParam<Row> {};

TEST_P(TableMergeTest, Merges) {
    const Row& row = GetParam();
    for (const bool carriageReturns : {false, true}) {
        const auto lines = [carriageReturns](std::string text) {
            for (size_t at = 0; carriageReturns && (at = text.find('\n', at)) != std::string::npos;
                 at += 2) {
                text.insert(at, "\r");
            }
            return text;
        };
        const std::string path = testing::TempDir() + "merge" + row.name + ".xml";
        std::ofstream(path) << lines(row.before);
        const tyktags::TagTable read = tyktags::examineTagTable(path);
        std::remove(path.c_str());
        auto merged = tyktags::mergeLayouts(read, {layout()}, row.replace);
        if (!merged.ok()) {
            tyktags::Problem problem = merged.problem();
            problem.path.clear();
            EXPECT_EQ(toLine(problem), row.after);
            continue;
        }
        EXPECT_EQ(merged.value().text, lines(row.after));
        std::string changes;
        for (const TableChange& change : merged.value().changes) {
            changes += "arxk"[static_cast<int>(change.kind)];
            EXPECT_EQ(change.before.empty(), change.kind == TableChange::Kind::added)
                << change.what;
        }
        EXPECT_EQ(changes, row.changes);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, TableMergeTest, testing::ValuesIn(kRows),
                         [](const auto& row) { return row.param.name; });

}  // namespace
