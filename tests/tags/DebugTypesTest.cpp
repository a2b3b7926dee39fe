// Tests of the layouts of types, from debug information that this build's compiler wrote.
#include "tags/FieldCodec.h"
#include "tags/dwarf/DebugTypes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <regex>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using tyktags::DebugType;
using tyktags::DebugTypes;
using tyktags::TypeLayout;

std::string libraryOf(const std::string& way) {
    return TYK_TYPES_FOLDER "/types_" + way + ".so";
}

/// Parts of the type by name, with the text of their values in `bytes` or the reason why they have
/// none.
std::map<std::string, std::string> partsOf(const TypeLayout& layout, const void* bytes) {
    std::map<std::string, std::string> parts;
    for (const tyktags::TagField& field : layout.fields) {
        const auto values =
            decodeField(field, static_cast<const uint8_t*>(bytes), layout.type.size);
        parts[field.name] = tyktags::toText(values);
    }
    for (const tyktags::LeftOut& one : layout.leftOut) parts[one.name] = one.what;
    return parts;
}

const std::map<std::string, std::string> kParams{
    {"_vptr", "a pointer to a virtual table"},
    {"id", "81"},
    {"Base.gain", "8.5"},
    {"Other.id", "82"},
    {"rate", "0.25"},
    {"mode", "AUTO (1)"},
    {"modes", "MANUAL (200),9"},
    {"level", "LOW (-5)"},
    {"state", "BUSY (1)"},
    {"kind", "SOME (7)"},
    {"name", "daylight"},
    {"names", "one,two"},
    {"bytes", "1,2,3"},
    {"small", "-1,-2"},
    {"on", "1"},
    {"matrix", "1,2,3,4,5,6"},
    {"roi[0].x", "-10"},
    {"roi[0].y", "11"},
    {"roi[0].weight", "12"},
    {"roi[0].height", "13"},
    {"roi[1].x", "-20"},
    {"roi[1].y", "21"},
    {"roi[1].weight", "14"},
    {"roi[1].height", "4095"},
    {"grid", "31,32,33,34"},
    {"cells[0][0].left", "41"},
    {"cells[0][1].left", "42"},
    {"word", "131073"},
    {"low", "1"},
    {"high", "2"},
    {"ring.slots", "0.5,1.5,2.5"},
    {"ring.head", "51"},
    {"packed.a", "5"},
    {"packed.b", "536870911"},
    {"packed.c", "734439407617"},
    {"packed.d", "1"},
    {"packed.e", "-2"},
    {"packed.f", "-61"},
    {"next", "a pointer"},
    {"self", "a reference"},
    {"gain", "71"},
    {"rest", "an array without a fixed length"},
};

/// A test's name made of a text, in which gtest allows only letters, digits and underscores.
std::string testName(std::string text) {
    const auto forbidden = [](unsigned char letter) { return std::isalnum(letter) == 0; };
    std::replace_if(text.begin(), text.end(), forbidden, '_');
    return text;
}

class DebugTypesTest : public testing::TestWithParam<const char*> {};

TEST_P(DebugTypesTest, ReadsWhatTheProgramWrote) {
    const std::string path = libraryOf(GetParam());
    void* const library = dlopen(path.c_str(), RTLD_NOW);
    ASSERT_TRUE(library) << dlerror();
    void* const params = dlsym(library, "describedParams");
    ASSERT_TRUE(params);
    uint64_t size = 0;
    const void* const bytes = reinterpret_cast<const void* (*)(uint64_t*)>(params)(&size);

    const auto types = DebugTypes::open(path);
    ASSERT_TRUE(types.ok()) << toLine(types.problem());
    const auto layouts = types.value().layouts({"Params"});
    ASSERT_TRUE(layouts.ok()) << toLine(layouts.problem());
    const TypeLayout& layout = layouts.value()[0];
    EXPECT_EQ(layout.type.name, "camera::Params");
    EXPECT_EQ(layout.type.size, size);
    std::map<std::string, std::string> parts = partsOf(layout, bytes);
    // Their types differ from architecture to architecture.
    EXPECT_EQ(parts.erase("member") + parts.erase("wide"), 2U);
    EXPECT_EQ(parts, kParams);
    dlclose(library);
}

INSTANTIATE_TEST_SUITE_P(Ways, DebugTypesTest,
                         testing::Values("gdwarf-2", "gdwarf-4", "gdwarf-5", "gz",
                                         "fdebug-types-section"),
                         [](const auto& way) { return testName(way.param); });

/// Changes bytes of debug information in several ways.
class Damage {
public:
    explicit Damage(std::string bytes) : bytes_(std::move(bytes)) {}

    std::string next() {
        std::string damaged = bytes_;
        for (int i = std::uniform_int_distribution<int>(1, 6)(random_); i > 0; --i) {
            const std::string kBytes("\0\1\x7f\x80\xff", 5);
            damaged[at(damaged.size())] = kBytes[at(kBytes.size())];
        }
        if (at(20) == 0) damaged.resize(at(damaged.size()));
        return damaged;
    }

private:
    size_t at(size_t size) { return std::uniform_int_distribution<size_t>(0, size - 1)(random_); }

    const std::string bytes_;
    std::mt19937 random_{1};  // NOLINT(cert-msc51-cpp): the same damage in every run
};

TEST_P(DebugTypesTest, SurvivesDamage) {
    alarm(120);  // a hang ends the test
    std::ifstream file(libraryOf(GetParam()), std::ios::binary);
    Damage damage(std::string(std::istreambuf_iterator<char>(file), {}));
    const std::string path = testing::TempDir() + "damaged_" + GetParam() + ".so";
    size_t read = 0;
    for (int i = 0; i < 300; ++i) {
        std::ofstream(path, std::ios::binary) << damage.next();
        const auto types = DebugTypes::open(path);
        if (!types.ok()) continue;
        const auto all = types.value().list([](const DebugType&) { return true; });
        const auto layouts = types.value().layouts({"Params"});
        if (!layouts.ok()) continue;
        const TypeLayout& layout = layouts.value()[0];
        for (const tyktags::TagField& field : layout.fields) {
            EXPECT_LE(field.offset + field.bytes(), layout.type.size);
        }
        ++read;
    }
    EXPECT_GT(read, 10U);  // enough damage passes the first checks
    std::remove(path.c_str());
    alarm(0);
}

struct NameRow {
    const char* given;
    const char* found;  ///< name, size, fields with enums, what is left out; or the problem

    friend void PrintTo(const NameRow& row, std::ostream* out) { *out << row.given; }
};

class TypeNamesTest : public testing::TestWithParam<NameRow> {};

TEST_P(TypeNamesTest, Finds) {
    const std::string path = libraryOf("gdwarf-4");
    const auto types = DebugTypes::open(path);
    ASSERT_TRUE(types.ok()) << toLine(types.problem());
    const auto layouts = types.value().layouts({GetParam().given});
    std::string found;
    if (layouts.ok()) {
        const TypeLayout& layout = layouts.value()[0];
        found = layout.type.name + " " + std::to_string(layout.type.size);
        for (const tyktags::TagField& field : layout.fields) {
            found += " " + field.name;
            if (field.enumeration) found += "(" + field.enumeration->name() + ")";
        }
        for (const tyktags::LeftOut& one : layout.leftOut)
            found += "; " + one.name + ": " + one.what;
    } else {
        found = toLine(layouts.problem()).substr(path.size() + 2);
        // The folder of the sources is anywhere.
        found = std::regex_replace(found, std::regex("[^ ]*/"), "");
    }
    EXPECT_EQ(found, GetParam().found);
}

const NameRow kNames[] = {
    {"Params::Inner", "camera::Params::Inner 4 depth"},
    {"struct camera :: Ring<float,3>", "camera::Ring<float, 3> 16 slots head"},
    {"PointAlias", "camera::PointAlias 6 x y weight height"},
    {"Unnamed", "Unnamed 12 first second"},
    {"::Table", "Table 24 value"},
    {"Mode", "camera::Mode 1 value(camera::Mode)"},
    {"State", "camera::State 4 value(camera::State)"},
    {"camera::Hidden", "camera::v1::(anonymous namespace)::Hidden 4 state(camera::State)"},
    {"v1::Hidden", "camera::v1::(anonymous namespace)::Hidden 4 state(camera::State)"},
    {"camera::v1::(anonymous namespace)::Hidden",
     "camera::v1::(anonymous namespace)::Hidden 4 state(camera::State)"},
    {"Rings",
     "camera::Rings 28 slots head Ring[1].slots Ring[1].head Ring[2].slots Ring[2].head own"},
    {"Odd",
     "camera::Odd 40120024 first few[0].x few[0].y few[0].weight few[0].height few[1].x few[1].y "
     "few[1].weight few[1].height last; cube: an array of 17 dimensions; a field has at most 16; "
     "many: an array of 20000 structures, too many for the 65536 fields of a type; "
     "pointers[].nothing: a pointer"},
    {"inFunction::Local", "inFunction::Local 4 inside"},
    {"video::Point", "video::Point 4 z"},
    {"Point@described_types.cpp",
     "expected one type Point of the file described_types.cpp, found camera::Point of 6 bytes in "
     "described_types.cpp:13; video::Point of 4 bytes in described_types.cpp:118: choose one by "
     "its whole name or by its file: Point@FILE"},
    {"Parms",
     "expected a type Parms, found none; did you mean camera::Params or camera::Params::Inner?"},
    {"Absent",
     "expected the definition of Absent, found only a declaration, in "
     "described_types.cpp"},
};

INSTANTIATE_TEST_SUITE_P(Rows, TypeNamesTest, testing::ValuesIn(kNames),
                         [](const auto& row) { return testName(row.param.given); });

}  // namespace
