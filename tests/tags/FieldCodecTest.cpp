// Tests of encoding fields from text and decoding them from bytes.
#include "tags/FieldCodec.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using tyktags::findField;
using tyktags::TagField;

struct Row {
    const char* name;
    FieldType type;
    uint32_t count;  ///< 1: no array
    const char* part;
    const char* text;
    const char* result;  ///< the field as text afterwards, or the problem

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }
};

std::vector<uint32_t> dimensionsOf(uint32_t count) {
    return count == 1 ? std::vector<uint32_t>() : std::vector<uint32_t>{count};
}

/// Sets `part` of the field in a value, and returns the whole field as text, or the problem.
std::string outcome(const TagField& field, const std::string& part, const char* text,
                    std::vector<uint8_t>& bytes) {
    const auto found = findField({field}, part, "TAG");
    if (!found.ok()) return toLine(found.problem());
    const tyktags::Status status = encodeField(found.value(), text, bytes.data(), bytes.size());
    if (!status.ok()) return toLine(status.problem());
    return tyktags::toText(decodeField(field, bytes.data(), bytes.size()));
}

class FieldCodecTest : public testing::TestWithParam<Row> {};

TEST_P(FieldCodecTest, Encodes) {
    const Row& row = GetParam();
    const TagField field{"field", 1, row.type, dimensionsOf(row.count)};
    std::vector<uint8_t> bytes(1 + field.bytes());
    EXPECT_EQ(outcome(field, std::string("field") + row.part, row.text, bytes), row.result);
}

const Row kRows[] = {
    {"U8Largest", FieldType::u8, 1, "", "255", "255"},
    {"U8Beyond", FieldType::u8, 1, "", "256",
     "expected a whole number from 0 to 255, found \"256\""},
    {"I8Smallest", FieldType::i8, 1, "", "-128", "-128"},
    {"U16Negative", FieldType::u16, 1, "", "-1",
     "expected a whole number from 0 to 65535, found \"-1\""},
    {"I16Smallest", FieldType::i16, 1, "", "-32768", "-32768"},
    {"U32Space", FieldType::u32, 1, "", "1 ",
     "expected a whole number from 0 to 4294967295, found \"1 \""},
    {"I32Smallest", FieldType::i32, 1, "", "-2147483648", "-2147483648"},
    {"U32WholeDecimal", FieldType::u32, 1, "", "4000.0", "4000"},
    {"U64WholeDecimalWithExponent", FieldType::u64, 1, "", "1.8446744073709e+19",
     "18446744073709000000"},
    {"I16WholeDecimals", FieldType::i16, 4, "", "-12.50e2,-0.0,0.00e-99,7000e-3", "-1250,0,0,7"},
    {"I32NoWholeDecimal", FieldType::i32, 1, "", "12.50e0",
     "expected a whole number from -2147483648 to 2147483647, found \"12.50e0\""},
    {"U64BeyondAsADecimal", FieldType::u64, 1, "", "1e20",
     "expected a whole number from 0 to 18446744073709551615, found \"1e20\""},
    {"U8HugeExponent", FieldType::u8, 1, "", "1e2147483647",
     "expected a whole number from 0 to 255, found \"1e2147483647\""},
    {"U8LongText", FieldType::u8, 1, "",
     "0123456789012345678901234567890123456789012345678901234567890\u00e9\u00e9",
     "expected a whole number from 0 to 255, found "
     "\"0123456789012345678901234567890123456789012345678901234567890\u00e9...\""},
    {"U64Largest", FieldType::u64, 1, "", "18446744073709551615", "18446744073709551615"},
    {"I64Smallest", FieldType::i64, 1, "", "-9223372036854775808", "-9223372036854775808"},
    {"F32Short", FieldType::f32, 1, "", "0.1", "0.1"},
    // Rounded to double first, it would become 1.
    {"F32Nearest", FieldType::f32, 1, "", "1.0000000596046447753906250001", "1.0000001"},
    {"F32Beyond", FieldType::f32, 1, "", "3.5e38",
     "expected a number of at most 3.4028235e+38, found \"3.5e38\""},
    {"F32Infinite", FieldType::f32, 1, "", "inf", "inf"},
    {"F32Empty", FieldType::f32, 1, "", "",
     "expected a number of at most 3.4028235e+38, found \"\""},
    {"F64Exact", FieldType::f64, 1, "", "0.1000000000000001", "0.1000000000000001"},
    {"F64Beyond", FieldType::f64, 1, "", "1e309",
     "expected a number of at most 1.7976931348623157e+308, found \"1e309\""},
    {"Element", FieldType::u16, 3, "[1]", "7", "0,7,0"},
    {"LastElement", FieldType::f64, 2, "[1]", "7.5", "0,7.5"},
    {"List", FieldType::i16, 3, "", "1,-2,3", "1,-2,3"},
    {"ListTooShort", FieldType::i16, 3, "", "1,2", "expected 3 numbers, found 2"},
    {"ListWithGap", FieldType::u8, 3, "", "1,,3",
     "expected a whole number from 0 to 255, found \"\""},
    {"TextFull", FieldType::text, 4, "", "abcd", "abcd"},
    {"TextShort", FieldType::text, 4, "", "ab", "ab"},
    {"TextTooLong", FieldType::text, 4, "", "abcde", "expected a text of at most 4 bytes, found 5"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FieldCodecTest, testing::ValuesIn(kRows),
                         [](const auto& row) { return row.param.name; });

TEST(FieldCodec, ATextReplacesALongerOne) {
    const TagField field{"field", 0, FieldType::text, {4}};
    std::vector<uint8_t> bytes(4, 'x');
    ASSERT_TRUE(encodeField(field, "ab", bytes.data(), bytes.size()).ok());
    EXPECT_EQ(bytes, (std::vector<uint8_t>{'a', 'b', 0, 0}));
}

struct Cut {
    size_t size;
    const char* text;
    const char* shortfall;
};

TEST(FieldCodec, ReadsTheElementsThatTheValueContains) {
    const TagField field{"field", 2, FieldType::u16, {3}};
    const std::vector<uint8_t> bytes{9, 9, 1, 0, 2, 0, 3, 0};
    const Cut cuts[] = {
        {0, "", "the value ends before it, after 0 bytes"},
        {1, "", "the value ends before it, after 1 byte"},
        {3, "", "the value ends before it, after 3 bytes"},
        {5, "1", "the value ends after 1 of its 3 elements"},
        {7, "1,2", "the value ends after 2 of its 3 elements"},
        {8, "1,2,3", ""},
    };
    for (const Cut& cut : cuts) {
        EXPECT_EQ(tyktags::toText(decodeField(field, bytes.data(), cut.size)), cut.text)
            << cut.size;
        EXPECT_EQ(shortfall(field, cut.size), cut.shortfall) << cut.size;
    }
    const TagField element = findField({field}, "field[1]", "TAG").value();
    EXPECT_EQ(shortfall(element, 6), "");
    EXPECT_EQ(shortfall(element, 5), "the value ends before it, after 5 bytes");
}

TEST(FieldCodec, RefusesAValueThatEndsBeforeTheField) {
    const TagField field{"field", 2, FieldType::u16, {3}};
    std::vector<uint8_t> bytes(7);
    const tyktags::Status status = encodeField(field, "1,2,3", bytes.data(), bytes.size());
    ASSERT_FALSE(status.ok());
    EXPECT_EQ(toLine(status.problem()), "expected a value of at least 8 bytes, found 7");
    EXPECT_EQ(bytes, std::vector<uint8_t>(7));
}

/// A field of several dimensions, of bits or with names, and what setting a part of it does to a
/// value whose bytes are all 0xa5.
struct PartRow {
    TagField field;
    const char* part;
    const char* text;
    const char* result;
};

TEST(FieldCodec, SetsRowsBitsAndNames) {
    const auto modes = std::make_shared<const tyktags::TagEnum>(
        "Mode", std::vector<tyktags::EnumValue>{{"OFF", {}},
                                                {"AUTO", {1}},
                                                {"ALSO_AUTO", {1}},
                                                {"BELOW", {2, true}},
                                                {"MOST", {~uint64_t{0}}}});
    const TagField matrix{"m", 1, FieldType::i8, {2, 3}};
    const TagField names{"t", 0, FieldType::text, {2, 4}};
    const TagField low{"b", 0, FieldType::u8, {}, {0, 4}};
    const TagField across{"b", 0, FieldType::i32, {}, {6, 5}};
    const TagField wide{"b", 0, FieldType::u64, {}, {3, 64}};
    const TagField mode{"mode", 0, FieldType::u8, {}, {}, "", modes};
    const TagField mode64{"mode", 0, FieldType::u64, {2}, {}, "", modes};
    const TagField sign{"mode", 0, FieldType::i16, {}, {12, 3}, "", modes};
    const PartRow rows[] = {
        {matrix, "m", "1,2,3,4,5,-6", "1,2,3,4,5,-6"},
        {matrix, "m[1]", "4,5,6", "-91,-91,-91,4,5,6"},
        {matrix, "m[1][0]", "7", "-91,-91,-91,7,-91,-91"},
        {matrix, "m[1]", "4,5", "expected 3 numbers, found 2"},
        {matrix, "m[2]", "1", "TAG.m has 2 x 3 elements, the last is [1][2]"},
        {matrix, "m[0][3]", "1", "TAG.m has 2 x 3 elements, the last is [1][2]"},
        {matrix, "m[0][0][0]", "1", "TAG.m has 2 x 3 elements, the last is [1][2]"},
        {names, "t", "one,four", "one,four"},
        {names, "t[0]", "a,b", "\"a,b\",\xa5\xa5\xa5\xa5"},
        {names, "t", "\"a,b\",\"\"\"c\"", "\"a,b\",\"\"\"c\""},
        {names, "t", ",\"\"", ","},
        {names, "t", "a\"b,c", "a\"b,c"},
        {names, "t", "\"a,b",
         "expected quotation marks around a text, and doubled ones in it, found \"\"a,b\""},
        {names, "t[1]", "fives", "expected a text of at most 4 bytes, found 5"},
        {names, "t", "one", "expected 2 texts, found 1"},
        {names, "t[0][1]", "a", "TAG.t has the elements 0 to 1"},
        {low, "b", "15", "15"},
        {low, "b", "16", "expected a whole number from 0 to 15, found \"16\""},
        {across, "b", "-16", "-16"},
        {across, "b", "15", "15"},
        {across, "b", "-17", "expected a whole number from -16 to 15, found \"-17\""},
        {across, "b[0]", "1", "TAG.b is a single number"},
        {wide, "b", "18446744073709551615", "18446744073709551615"},
        {mode, "mode", "AUTO", "AUTO (1)"},
        {mode, "mode", "ALSO_AUTO", "AUTO (1)"},
        {mode, "mode", "AUTO (1)", "AUTO (1)"},
        {mode, "mode", "7", "7"},
        {mode, "mode", "auto",
         "expected a whole number from 0 to 255 or a name of Mode, found \"auto\": nearest: AUTO "
         "or ALSO_AUTO"},
        {mode, "mode", "xyz",
         "expected a whole number from 0 to 255 or a name of Mode, found \"xyz\": Mode has OFF, "
         "AUTO, ALSO_AUTO, BELOW or MOST"},
        {mode, "mode", "BELOW",
         "expected a whole number from 0 to 255 or a name of Mode, found \"BELOW\": the "
         "number of \"BELOW\" is -2"},
        {mode, "mode", "AUTO (0)",
         "expected a whole number from 0 to 255 or a name of Mode, found \"AUTO (0)\": the number "
         "of \"AUTO\" is 1"},
        {mode64, "mode", "MOST,0", "MOST (18446744073709551615),OFF (0)"},
        {sign, "mode", "BELOW", "BELOW (-2)"},
    };
    for (const PartRow& row : rows) {
        std::vector<uint8_t> bytes(16, 0xa5);
        EXPECT_EQ(outcome(row.field, row.part, row.text, bytes), row.result)
            << row.field.name << " " << row.part << " " << row.text;
    }
}

TEST(FieldCodec, LeavesTheBitsBesideAFieldOfBits) {
    const TagField field{"b", 1, FieldType::u16, {}, {6, 5}};
    for (const uint8_t around : {uint8_t{0x00}, uint8_t{0xff}}) {
        std::vector<uint8_t> bytes(4, around);
        ASSERT_TRUE(encodeField(field, "21", bytes.data(), bytes.size()).ok());
        const auto inside = [around](int value, int mask) {
            return static_cast<uint8_t>(value | (around & ~mask));
        };
        EXPECT_EQ(bytes,
                  (std::vector<uint8_t>{around, inside(0x40, 0xc0), inside(0x05, 0x07), around}));
    }
    EXPECT_EQ(shortfall(field, 3), "");
    EXPECT_EQ(shortfall(field, 2), "the value ends before it, after 2 bytes");
    const std::vector<uint8_t> cut(2);
    EXPECT_TRUE(decodeField(field, cut.data(), cut.size()).empty());
}

}  // namespace
