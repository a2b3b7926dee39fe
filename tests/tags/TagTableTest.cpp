// Tests of tag tables: valid and invalid files, and the names of fields.
#include "tags/TagTable.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace {

using tyktags::findField;
using tyktags::readTagTable;
using tyktags::writeTagTable;

const std::string kText = R"(<?xml version="1.0"?>
<tags version="2">
  <enum name="Mode">
    <value name="OFF" number="0" />
    <value name="BELOW" number="-9223372036854775808" />
    <value name="MOST" number="18446744073709551615" />
  </enum>
  <tag id="1" name="A" size="64" kind="fixed">
    <field name="mode" offset="0" type="u32" bits="4:3" unit="steps" enum="Mode" />
    <field name="one" offset="0" type="u8" dims="1" />
    <field name="list" offset="8" type="u8" count="4" />
    <field name="matrix" offset="8" type="f32" dims="3x4" />
    <field name="roi[1].x" offset="8" type="u16" unit="µs" />
  </tag>
</tags>
)";

class TagTableTest : public testing::Test {
protected:
    ~TagTableTest() override { std::remove(path_.c_str()); }

    /// The table's text with the first `before` replaced.
    void write(const std::string& before, const std::string& after) {
        std::string text = kText;
        text.replace(text.find(before), before.size(), after);
        std::ofstream(path_) << text;
    }

    const std::string path_ =
        testing::TempDir() + "tag_table_test_" + std::to_string(getpid()) + ".xml";
};

TEST_F(TagTableTest, WritesWhatItReads) {
    write("", "");
    const auto table = readTagTable(path_);
    ASSERT_TRUE(table.ok()) << toLine(table.problem());
    ASSERT_TRUE(writeTagTable(path_, table.value()).ok());
    std::ifstream file(path_);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), kText);
}

struct Flaw {
    const char* before;
    const char* after;
    const char* line;  ///< behind the path
};

TEST_F(TagTableTest, ReportsProblemsWithTheirLine) {
    const Flaw flaws[] = {
        {"version=\"2\"", "version=\"0\"",
         "line 2: expected a version from 1 to 4294967295, found \"0\""},
        {"<enum name=\"Mode\"", "<enum", "line 3: expected the attribute name, found none"},
        {"\"OFF\"", "\"1\"",
         "line 3: expected a name without ',', '=' and NUL that does not begin as a number does, "
         "found \"1\""},
        {"\"MOST\"", "\"OFF\"",
         "line 3: expected values with unique names, found \"OFF\" twice in the enum "
         "\"Mode\""},
        {"18446744073709551615", "18446744073709551616",
         "line 6: expected a whole number from -9223372036854775808 to 18446744073709551615, found "
         "\"18446744073709551616\""},
        {"<value name=\"OFF\"", "<v name=\"OFF\"", "line 4: expected <value>, found \"v\""},
        {"enum=\"Mode\"", "enum=\"Mod\"",
         "line 9: expected the name of an enum in the table, found \"Mod\": nearest: Mode"},
        {"4:3", "4:33",
         "line 8: expected bits of a single number, at most 32 of them, found 33 bits of the field "
         "\"mode\" of the type u32"},
        {"4:3", "4:0",
         "line 9: expected the lowest bit and the number of bits, such as \"4:3\", found \"4:0\""},
        {"type=\"u32\"", "type=\"f32\"",
         "line 8: expected bits of a whole number, found 3 bits of the field \"mode\" of the type "
         "f32"},
        {"4:3", "507:6",
         "line 8: expected the field \"mode\" within the tag's 64 bytes, found 0 to 65"},
        {"dims=\"3x4\"", "dims=\"3x\"",
         "line 12: expected dimensions such as \"3x4\", found \"3x\""},
        {"dims=\"3x4\"", "dims=\"3x0\"",
         "line 8: expected a count from 1 of the field \"matrix\", found 0"},
        {"dims=\"3x4\"", "dims=\"3x4\" count=\"2\"", "line 12: expected count or dims, found both"},
        {"dims=\"3x4\"", "dims=\"4294967295x4294967295x4294967295x4294967295\"",
         "line 8: expected the field \"matrix\" within the tag's 64 bytes, found 8 to "
         "4398046511112 or more"},
        {"dims=\"3x4\"", "dims=\"1x1x1x1x1x1x1x1x1x1x1x1x1x1x1x1x1\"",
         "line 8: expected at most 16 dimensions of the field \"matrix\", found 17"},
        {"unit=", "unti=",
         "line 9: expected the attributes name, offset, type, count, dims, bits, unit and enum, "
         "each once, found \"unti\""},
    };
    for (const Flaw& flaw : flaws) {
        write(flaw.before, flaw.after);
        const auto table = readTagTable(path_);
        ASSERT_FALSE(table.ok()) << flaw.line;
        EXPECT_EQ(toLine(table.problem()), path_ + ": " + flaw.line);
    }
}

TEST_F(TagTableTest, FindsAllProblemsOfATable) {
    write("<tag id=\"1\"", "<tag id=\"1\" name=\"A\" size=\"7\" kind=\"fixed\"/><tag id=\"1\"");
    const tyktags::TagTable table = tyktags::examineTagTable(path_);
    EXPECT_EQ(table.tags.size(), 2U);
    ASSERT_EQ(table.problems.size(), 2U);
    EXPECT_EQ(table.problems[0].found, "1, which line 8 has");
    EXPECT_EQ(table.problems[1].found, "\"A\", which line 8 has");
}

/// Such a tag must not lead to further problems.
TEST_F(TagTableTest, LeavesOutATagWithAProblem) {
    for (const char* const attributes :
         {"size=\"4\" kind=\"fixed\"", "id=\"x\" size=\"4\" kind=\"fixed\"",
          "id=\"7\" size=\"4\" kind=\"fixed\" tint=\"red\"",
          "id=\"7\" id=\"7\" size=\"4\" kind=\"fixed\""}) {
        const std::string rest = std::string(attributes) + "/>";
        write("<tag id", "<tag name=\"B\" " + rest + "<tag name=\"C\" " + rest + "<tag id");
        const tyktags::TagTable table = tyktags::examineTagTable(path_);
        EXPECT_EQ(table.problems.size(), 2U) << attributes;
        EXPECT_EQ(table.tags.size(), 1U) << attributes;
    }
}

TEST_F(TagTableTest, SkipsPartsOfALaterVersion) {
    write("version=\"2\">", "version=\"3\"><scale/><scale/>");
    EXPECT_TRUE(readTagTable(path_).ok());
    write("version=\"2\">\n  <enum", "version=\"3\">\n  <enum shared=\"yes\"");
    tyktags::TagTable table = tyktags::examineTagTable(path_);
    ASSERT_EQ(table.missed.size(), 1U);
    EXPECT_EQ(toLine(table.missed[0]),
              path_ +
                  ": line 3: expected nothing beyond version 2 of tag tables, found the attribute "
                  "\"shared\" of <enum>: ignored");
    std::ofstream(path_) << R"(<tags version="4"><tag id="1" name="A" size="4" kind="fixed">
        <field name="half" offset="0" type="f16"/><field name="rest" offset="2" type="u16"/></tag></tags>)";
    table = tyktags::examineTagTable(path_);
    EXPECT_TRUE(table.problems.empty());
    ASSERT_EQ(table.missed.size(), 1U);
    EXPECT_EQ(table.missed[0].found, "fields of the type \"f16\"");
    ASSERT_EQ(table.tags.at(0).fields.size(), 1U);
    EXPECT_EQ(table.tags[0].fields[0].name, "rest");
}

TEST(FieldNames, AreWordsWithIndices) {
    for (const char* const name : {"gain", "roi[1].x", "a[0][12].b.c[3]", "all \"of it\""}) {
        EXPECT_TRUE(tyktags::isFieldName(name)) << name;
    }
    for (const char* const name : {"", ".", "a.", ".a", "a..b", "a[", "a[]", "a[1", "a[x]", "a]",
                                   "[1]", "a[1]b", "a[1]..b", "a[-1]"}) {
        EXPECT_FALSE(tyktags::isFieldName(name)) << name;
    }
}

/// A field whose whole name fits comes before an element of another.
TEST(FieldNames, PreferFieldsToElements) {
    const std::vector<tyktags::TagField> fields{{"roi", 0, FieldType::u8, {4}},
                                                {"roi[1]", 9, FieldType::u8},
                                                {"roi[1].x", 10, FieldType::u16, {2}}};
    EXPECT_EQ(findField(fields, "roi[1]", "T").value().offset, 9U);
    EXPECT_EQ(findField(fields, "roi[2]", "T").value().offset, 2U);
    EXPECT_EQ(findField(fields, "roi[1].x[1]", "T").value().offset, 12U);
    EXPECT_EQ(findField(fields, "roi[4]", "T").problem().reason, "T.roi has the elements 0 to 3");
    EXPECT_EQ(findField(fields, "roi[2].x", "T").problem().reason,
              "T has no such field; it has roi, roi[1], roi[1].x");
    EXPECT_EQ(findField({}, "x", "T").problem().reason, "the tag table gives T no fields");
}

TEST(FieldNames, AreListedUnlessTheyAreMany) {
    std::vector<tyktags::TagField> fields;
    std::string names;
    for (int i = 1; i <= 24; ++i) {
        fields.push_back({"f" + std::to_string(i), 0, FieldType::u8});
        names += (names.empty() ? "" : ", ") + fields.back().name;
    }
    EXPECT_EQ(findField(fields, "x", "T").problem().reason, "T has no such field; it has " + names);
    fields.push_back({"gain", 0, FieldType::u8});
    EXPECT_EQ(findField(fields, "x", "T").problem().reason, "T has no such field among its 25");
    EXPECT_EQ(findField(fields, "gian", "T").problem().reason,
              "T has no such field among its 25; nearest: gain");
}

}  // namespace
