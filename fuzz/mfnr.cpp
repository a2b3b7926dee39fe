// The tuning file. The input's first line is the version property, the second the key of a search,
// the next lines up to an empty one are the name table's entries, the rest is the file. In entries
// and file a byte above 127 means a run of 'x': four for each step above 127.
#include "fuzz/LibraryTarget.h"

#include <array>
#include <cstring>
#include <sstream>

using namespace fuzz;

namespace {

constexpr size_t kNameBytes = 128;
constexpr size_t kMostSource = 5000;
using Table = std::array<char[kNameBytes], 32>;

std::string expanded(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        result.append(byte > 127 ? (byte - 127U) * 4 : 1, byte > 127 ? 'x' : c);
    }
    return result;
}

/// The firmware path of the first entry that contains `key`; "" if there is none.
std::string expectedMatch(const Table& table, const std::string& key) {
    for (size_t i = 0; i < table.size() && !key.empty(); ++i) {
        const std::string name(table[i], strnlen(table[i], kNameBytes));
        if (name.empty()) break;
        if (name.find(key) != std::string::npos) return "/vendor/firmware/" + name;
    }
    return "";
}

/// The expected copy, made by a stream that reads lines of up to 512 characters.
std::string expectedCopy(const std::string& source) {
    static std::istringstream stream;
    stream.clear();
    stream.str(source);
    std::string copy;
    char line[512];
    while (stream.getline(line, sizeof(line))) copy.append(line) += '\n';
    return copy;
}

/// Checks a search that appends to text, in a buffer of exactly the needed size.
void checkMatch(PipelineSimulation& object, Table& table, const std::string& key) {
    const std::string before = "/there";
    const size_t room = before.size() + std::strlen("/vendor/firmware/") + kNameBytes + 1;
    const std::unique_ptr<char[]> out(new char[room]);
    std::memcpy(out.get(), before.c_str(), before.size() + 1);
    object.matchXML(table.data(), key.c_str(), out.get());
    FAKE_EXPECT(out.get() == before + expectedMatch(table, key));
}

void checkDump(PipelineSimulation& object, Table& table, const std::string& version,
               const std::string& source) {
    const int number = version.empty() ? 5 : std::atoi(version.c_str());
    const char* const keys[] = {"mfnr3", "mfnr4", "mfnr5.2"};
    const std::string key = number >= 3 && number <= 5 ? keys[number - 3] : "";
    const std::string path = expectedMatch(table, key);
    if (!path.empty()) fake::addFile(path, source);
    const std::string copyName = number == 3 || number == 4 ? key : "mfnr5.2";
    const fake::File& copy =
        fake::addFile(fake::kPipeFolder + "/" + copyName + ".xml", "an older copy");
    object.dumpMFNRXml(table.data());
    FAKE_EXPECT(copy.bytes == (path.empty() ? "" : expectedCopy(source)));
}

void checkLoad(PipelineSimulation& object) {
    std::string expected = "tyksimulation/mfnr5.2.xml";
    for (const std::string& name : fake::listedFiles(fake::kPipeFolder)) {
        if (name.find("mfnr") == std::string::npos) continue;
        expected = "tyksimulation/" + name;
        break;
    }
    fake::device().published.clear();
    object.loadMFNRXml(-9);
    FAKE_EXPECT(fake::device().published.size() == 1);
    const fake::Published& call = fake::device().published[0];
    FAKE_EXPECT(call.byNode && call.camId == 3 && call.pipe == 1 && call.sofId == 0U - 9 &&
                call.tag == 65622);
    expected.resize(4096);
    FAKE_EXPECT(call.bytes == expected);
}

void run(std::string_view text) {
    PipelineSimulation& object = simulation(1);
    fake::Device& device = fake::device();
    device.listsBackwards = text.size() % 2 == 0;
    device.readBytes = text.size() % 3 == 0 ? 1 + text.size() % 7 : SIZE_MAX;
    const std::string version = takeLine(text).substr(0, 9).c_str();
    if (!version.empty()) device.properties["persist.vendor.cam.mfnr.version"] = version;
    const std::string key = takeLine(text).c_str();
    Table table{};
    for (auto& entry : table) {
        const std::string name = expanded(takeLine(text));
        if (name.empty()) break;
        name.copy(entry, kNameBytes);
    }
    // A name that the listing may return first.
    fake::addFile(fake::kPipeFolder + "/a" + key.substr(0, 250).substr(0, key.find('/')), "");
    checkMatch(object, table, key);
    checkLoad(object);
    checkDump(object, table, version, expanded(text).substr(0, kMostSource));
    checkLoad(object);
}

const Known known(libraryTarget<run>("mfnr"));

}  // namespace
