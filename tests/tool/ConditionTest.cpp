// Tests of the conditions of --where: true, false, open and invalid ones.
#include "tree/read/Condition.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

namespace {

using tyktags::TagField;
using tyktags::Value;
using tyktree::Condition;
using tyktree::ConditionProblem;
using tyktree::FrameValue;

tyktree::TagCatalog makeCatalog() {
    const auto modes = std::make_shared<const tyktags::TagEnum>(
        "Mode", std::vector<tyktags::EnumValue>{{"AUTO", tyktags::WholeNumber::of(uint64_t{0})},
                                                {"DAY", tyktags::WholeNumber::of(uint64_t{1})},
                                                {"LOCKED", tyktags::WholeNumber::of(int64_t{-2})}});
    std::vector<TagField> fields{{"gain", 0, tyktags::FieldType::f32},
                                 {"mode", 4, tyktags::FieldType::i32},
                                 {"name", 8, tyktags::FieldType::text, {8}},
                                 {"big", 16, tyktags::FieldType::u64},
                                 {"list", 24, tyktags::FieldType::u16, {2, 3}},
                                 {"digits", 36, tyktags::FieldType::text, {4}}};
    fields[1].enumeration = modes;
    return {{{1, "T", 64, tyktags::TagKind::fixed, fields}},
            tyktree::TagCatalog::Source::kGiven,
            "tags.xml"};
}

const std::map<std::string, Value>& values() {
    static const std::map<std::string, Value> all{
        {"T.gain", 2.5},
        {"T.mode", tyktags::NamedNumber{tyktags::WholeNumber::of(uint64_t{1}), "DAY"}},
        {"T.name", std::string("day 1")},
        {"T.digits", std::string("007")},
        {"T.big", uint64_t{18446744073709551615U}},
        {"T.list[1][0]", uint64_t{7}},
        {"cur_ev", -1.5},
        {"exp_time", Value()},
    };
    return all;
}

/// The bound condition, or the problem of the text as "column: message".
std::string parse(const std::string& text, Condition& condition) {
    static const tyktree::TagCatalog catalog = makeCatalog();
    auto parsed = Condition::parse(text);
    const auto told = [](const ConditionProblem& problem) {
        return std::to_string(problem.at + 1) + ": " + problem.message;
    };
    if (const auto* problem = std::get_if<ConditionProblem>(&parsed)) return told(*problem);
    condition = std::get<Condition>(parsed);
    const auto problem =
        condition.bind([](std::string_view name) { return resolveName(name, catalog); });
    return problem ? told(*problem) : "";
}

/// "holds", "not", or "open" if it depends on a value that has not been read. Only the names of
/// values() have been read.
std::string judge(const std::string& text) {
    Condition condition;
    std::string problem = parse(text, condition);
    if (!problem.empty()) return problem;
    std::vector<FrameValue> read(condition.names().size());
    const std::optional<bool> held = condition.holds([&](size_t place) -> const FrameValue* {
        const auto at = values().find(condition.names()[place].name);
        if (at == values().end()) return nullptr;
        if (!std::holds_alternative<std::monostate>(at->second)) read[place].values = {at->second};
        return &read[place];
    });
    if (!held) return "open";
    return *held ? "holds" : "not";
}

TEST(ConditionTest, EvaluatesItsText) {
    const std::map<std::string, std::string> rows{
        // Relations, numbers and spaces.
        {"T.gain>2", "holds"},
        {" T.gain <= 2.5 ", "holds"},
        {"T.gain<2.5", "not"},
        {"T.gain == 2.5e0", "holds"},
        {"T.gain != 2.5", "not"},
        {"-1 >= cur_ev", "holds"},
        {"T.gain>cur_ev", "holds"},
        {"T.big=18446744073709551615", "holds"},
        {"T.big=18446744073709551614", "not"},
        {"T.big>-1", "holds"},
        {"T.list[1][0]=7", "holds"},
        // "and" binds before "or", "not" before both.
        {"T.gain>9 and T.gain>9 or T.gain>2", "holds"},
        {"T.gain>9 and (T.gain>9 or T.gain>2)", "not"},
        {"not T.gain>9 and T.gain>2", "holds"},
        {"not (T.gain>9 or T.gain>2)", "not"},
        {"not not T.gain>2", "holds"},
        {"(((T.gain>2)))and(T.gain<3)", "holds"},
        // A comparison with an absent value is false, either way.
        {"exp_time>0", "not"},
        {"exp_time!=0", "not"},
        {"not exp_time>0", "holds"},
        // Texts, and numbers that have names.
        {"T.name='day 1'", "holds"},
        {"T.name!=night", "holds"},
        {"T.mode=DAY", "holds"},
        {"'DAY'=T.mode", "holds"},
        {"T.mode=1", "holds"},
        {"T.mode>AUTO and T.mode>LOCKED", "holds"},
        {"T.mode=AUTO", "not"},
        // The field decides what is compared, not the quotation marks.
        {"T.digits=007", "holds"},
        {"T.digits='007'", "holds"},
        {"T.digits=7", "not"},
        {"T.digits!=0x07", "holds"},
        {"T.digits=T.name", "not"},
        {"T.gain='25e-1' and T.gain<'10'", "holds"},
        {"'18446744073709551615'=T.big", "holds"},
        {"T.mode='1' and T.mode='DAY (1)'", "holds"},
        // The values that have been read may decide alone.
        {"total_gain>1", "open"},
        {"total_gain>1 and T.gain>9", "not"},
        {"total_gain>1 and T.gain>2", "open"},
        {"T.gain>2 or total_gain>1", "holds"},
        {"not total_gain>1", "open"},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(judge(text), expected) << text;
}

TEST(ConditionTest, ReportsProblemsWithTheirPlace) {
    const std::map<std::string, std::string> rows{
        {"", "1: expected a name, a number or a text, found the end"},
        {"T.gain", "7: expected =, !=, <, <=, > or >=, found the end"},
        {"T.gain>", "8: expected a name, a number or a text, found the end"},
        {"T.gain>2 T.gain<3", "10: expected and, or or the end, found \"T.gain\""},
        {"T.gain>2 and", "13: expected a name, a number or a text, found the end"},
        {"(T.gain>2", "10: expected and, or or ), found the end"},
        {"T.gain>2)", "9: expected and, or or the end, found \")\""},
        {"1<T.gain<3", "9: expected and, or or the end, found \"<\""},
        {"T.gain>=<2", "9: expected a name, a number or a text, found \"<\""},
        {"T.gain!2", "7: expected =, !=, <, <=, > or >=, found \"!\""},
        {"T.name='day",
         "8: expected a name, a number or a text, found a quotation mark without "
         "its closing one"},
        {"T.gain>and", "8: expected a name, a number or a text, found \"and\""},
        {"1=1", "1: expected a name on one side, found none"},
        {"T.gain>0 and T.gian>1",
         "14: \"T.gian\": T has no such field; it has gain, mode, name, "
         "big, list, digits"},
        {"total_gian>1",
         "1: \"total_gian\": no tag, field or scene field of this name; nearest: "
         "total_gain"},
        {"total_gain=high",
         "12: \"high\": no tag, field or scene field of this name; `tyksim show` "
         "lists what a frame has"},
        {"T.mode=DYA",
         "8: expected a name or a number of the enum Mode, such as DAY, found "
         "\"DYA\""},
        {"T.gain='high'", "8: expected a number beside \"T.gain\", found \"high\""},
        {"total_gain<1e999",
         "12: expected a decimal number within the range of a double, found \"1e999\""},
        {"-0x10<T.gain",
         "1: expected a decimal number within the range of a double, found \"-0x10\""},
        {"T.gain=T.name", "1: expected texts beside \"T.name\", found the numbers \"T.gain\""},
        {"T.mode='DAY (2)'",
         "8: expected a name or a number of the enum Mode, such as AUTO, DAY, LOCKED, "
         "found \"DAY (2)\""},
        {"T>1", "1: \"T\" is a whole tag: name a field of it"},
        {"T.list>1", "1: \"T.list\" has 6 values: name one of them, such as T.list[0][0]"},
        {"T.name<b", "8: expected = or != between texts, found another relation"},
        {std::string(200, '(') + "T.gain>2" + std::string(200, ')'),
         "101: expected at most 100 parentheses in each other, found more"},
    };
    Condition condition;
    for (const auto& [text, expected] : rows) EXPECT_EQ(parse(text, condition), expected) << text;
}

}  // namespace
