// Fields of values: encoded from text, decoded from bytes.
#include "tags/FieldCodec.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace {

using tyktags::TagField;

struct Row {
    const char* name;
    FieldType type;
    uint32_t count;
    std::optional<uint32_t> element;
    const char* text;
    const char* result;  ///< the field as text afterwards, or the problem
};

class FieldCodecTest : public testing::TestWithParam<Row> {};

TEST_P(FieldCodecTest, Encodes) {
    const Row& row = GetParam();
    const TagField field{"field", 1, row.type, row.count};
    std::vector<uint8_t> bytes(1 + field.bytes());
    const tyktags::Status status =
        encodeField(field, row.element, row.text, bytes.data(), bytes.size());
    const std::string result = status.ok()
                                   ? tyktags::toText(decodeField(field, bytes.data(), bytes.size()))
                                   : toLine(status.problem());
    EXPECT_EQ(result, row.result);
}

const Row kRows[] = {
    {"U8Largest", FieldType::u8, 1, {}, "255", "255"},
    {"U8Beyond",
     FieldType::u8,
     1,
     {},
     "256",
     "expected a whole number from 0 to 255, found \"256\""},
    {"I8Smallest", FieldType::i8, 1, {}, "-128", "-128"},
    {"U16Negative",
     FieldType::u16,
     1,
     {},
     "-1",
     "expected a whole number from 0 to 65535, found \"-1\""},
    {"I16Smallest", FieldType::i16, 1, {}, "-32768", "-32768"},
    {"U32Space",
     FieldType::u32,
     1,
     {},
     "1 ",
     "expected a whole number from 0 to 4294967295, found \"1 \""},
    {"I32Smallest", FieldType::i32, 1, {}, "-2147483648", "-2147483648"},
    {"U64Largest", FieldType::u64, 1, {}, "18446744073709551615", "18446744073709551615"},
    {"I64Smallest", FieldType::i64, 1, {}, "-9223372036854775808", "-9223372036854775808"},
    {"F32Short", FieldType::f32, 1, {}, "0.1", "0.1"},
    // Rounded to double first, it would become 1.
    {"F32Nearest", FieldType::f32, 1, {}, "1.0000000596046447753906250001", "1.0000001"},
    {"F32Beyond",
     FieldType::f32,
     1,
     {},
     "3.5e38",
     "expected a number of at most 3.4028235e+38, found \"3.5e38\""},
    {"F32Infinite", FieldType::f32, 1, {}, "inf", "inf"},
    {"F32Empty",
     FieldType::f32,
     1,
     {},
     "",
     "expected a number of at most 3.4028235e+38, found \"\""},
    {"F64Exact", FieldType::f64, 1, {}, "0.1000000000000001", "0.1000000000000001"},
    {"F64Beyond",
     FieldType::f64,
     1,
     {},
     "1e309",
     "expected a number of at most 1.7976931348623157e+308, found \"1e309\""},
    {"Element", FieldType::u16, 3, 1, "7", "0,7,0"},
    {"LastElement", FieldType::f64, 2, 1, "7.5", "0,7.5"},
    {"List", FieldType::i16, 3, {}, "1,-2,3", "1,-2,3"},
    {"ListTooShort", FieldType::i16, 3, {}, "1,2", "expected 3 numbers, found 2"},
    {"ListWithGap",
     FieldType::u8,
     3,
     {},
     "1,,3",
     "expected a whole number from 0 to 255, found \"\""},
    {"TextFull", FieldType::text, 4, {}, "abcd", "abcd"},
    {"TextShort", FieldType::text, 4, {}, "ab", "ab"},
    {"TextTooLong", FieldType::text, 4, {}, "abcde", "expected a text of at most 4 bytes, found 5"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FieldCodecTest, testing::ValuesIn(kRows),
                         [](const auto& row) { return row.param.name; });

TEST(FieldCodec, ATextReplacesALongerOne) {
    const TagField field{"field", 0, FieldType::text, 4};
    std::vector<uint8_t> bytes(4, 'x');
    ASSERT_TRUE(encodeField(field, {}, "ab", bytes.data(), bytes.size()).ok());
    EXPECT_EQ(bytes, (std::vector<uint8_t>{'a', 'b', 0, 0}));
}

struct Cut {
    size_t size;
    const char* text;
    const char* shortfall;
};

TEST(FieldCodec, ReadsAsFarAsTheValueReaches) {
    const TagField field{"field", 2, FieldType::u16, 3};
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
        EXPECT_EQ(shortfall(field, {}, cut.size), cut.shortfall) << cut.size;
    }
    EXPECT_EQ(shortfall(field, 1, 6), "");
    EXPECT_EQ(shortfall(field, 1, 5), "the value ends before it, after 5 bytes");
}

TEST(FieldCodec, RefusesAValueThatEndsBeforeTheField) {
    const TagField field{"field", 2, FieldType::u16, 3};
    std::vector<uint8_t> bytes(7);
    const tyktags::Status status = encodeField(field, 0, "1", bytes.data(), bytes.size());
    ASSERT_FALSE(status.ok());
    EXPECT_EQ(toLine(status.problem()), "expected a value of at least 8 bytes, found 7");
    EXPECT_EQ(bytes, std::vector<uint8_t>(7));
}

}  // namespace
