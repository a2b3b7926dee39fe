// The tuning file. The input's first line is the version property, the second the key of a search,
// the next up to an empty one are the name table's entries, the rest is the file. In entries and
// file a byte above 127 stands for a run of 'x', four for each step above.
#include "fuzz/FuzzDevice.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <sstream>

using namespace fuzz;

namespace {

constexpr size_t kNameBytes = 128;
constexpr size_t kMostSource = 5000;
using Table = std::array<char[kNameBytes], 32>;

std::string expanded(const std::string& text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        result.append(byte > 127 ? (byte - 127U) * 4 : 1, byte > 127 ? 'x' : c);
    }
    return result;
}

/// The firmware path of the first entry that contains `key`, "" without one.
std::string expectedMatch(const Table& table, const std::string& key) {
    if (key.empty()) return "";
    for (const auto& entry : table) {
        const std::string name(entry, strnlen(entry, kNameBytes));
        if (name.empty()) return "";
        if (name.find(key) != std::string::npos) return "/vendor/firmware/" + name;
    }
    return "";
}

/// A stream's own reading of lines, into 512 characters.
std::string expectedCopy(const std::string& source) {
    static std::istringstream stream;
    stream.clear();
    stream.str(source);
    std::string copy;
    char line[512];
    while (stream.getline(line, sizeof(line))) copy.append(line) += '\n';
    return copy;
}

/// The search behind text that is there already, in a buffer with no byte to spare.
void checkMatch(PipelineSimulation& object, Table& table, const std::string& key) {
    const std::string before = "/there";
    const size_t room = before.size() + std::strlen("/vendor/firmware/") + kNameBytes + 1;
    const std::unique_ptr<char[]> out(new char[room]);
    std::memcpy(out.get(), before.c_str(), before.size() + 1);
    object.matchXML(table.data(), key.c_str(), out.get());
    FUZZ_EXPECT(out.get() == before + expectedMatch(table, key));
}

void checkDump(PipelineSimulation& object, Table& table, const std::string& version,
               const std::string& source) {
    const int number = version.empty() ? 5 : std::atoi(version.c_str());
    const std::string key = number == 3   ? "mfnr3"
                            : number == 4 ? "mfnr4"
                            : number == 5 ? "mfnr5.2"
                                          : "";
    const std::string sourcePath = expectedMatch(table, key);
    if (!sourcePath.empty()) addFile(sourcePath, source);
    const std::string copyName = number == 3 || number == 4 ? key + ".xml" : "mfnr5.2.xml";
    const std::string expected = sourcePath.empty() ? "" : expectedCopy(source);
    const File& copy = addFile(std::string(kPipeFolder) + "/" + copyName, "an older copy");
    object.dumpMFNRXml(table.data());
    FUZZ_EXPECT(copy.bytes == expected);
}

void checkLoad(PipelineSimulation& object) {
    std::string chosen = "mfnr5.2.xml";
    for (const std::string& name : listedFiles(kPipeFolder)) {
        if (name.find("mfnr") == std::string::npos) continue;
        chosen = name;
        break;
    }
    device().published.clear();
    object.camId = 3;
    object.loadMFNRXml(-9);
    FUZZ_EXPECT(device().published.size() == 1);
    const Published& call = device().published[0];
    FUZZ_EXPECT(call.byNode && call.camId == 3 && call.pipe == 1 && call.sofId == 0U - 9 &&
                call.tag == 65622);
    std::string expected = "tyksimulation/" + chosen;
    expected.resize(4096);
    FUZZ_EXPECT(call.bytes == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PipelineSimulation& object = simulation(1);
    std::string text(reinterpret_cast<const char*>(data), size);
    const std::string version = takeLine(text).substr(0, 9).c_str();
    const std::string key = takeLine(text).c_str();
    static Table table;
    std::memset(&table, 0, sizeof(table));
    for (auto& entry : table) {
        const std::string name = expanded(takeLine(text));
        if (name.empty()) break;
        name.copy(entry, kNameBytes);
    }
    const std::string source = expanded(text).substr(0, kMostSource);
    device().mfnrVersion = version;
    device().listsBackwards = size % 2 == 0;
    device().readBytes = size % 3 == 0 ? 1 + size % 7 : SIZE_MAX;
    // A name that the listing may give first.
    addFile(std::string(kPipeFolder) + "/a" + std::string(key, 0, 250).substr(0, key.find('/')),
            "");

    checkMatch(object, table, key);
    checkDump(object, table, version, source);
    checkLoad(object);
    FUZZ_EXPECT(device().openHandles == 0);
    restart();
    return 0;
}
