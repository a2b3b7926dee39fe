// A damaged tree. The input's lines change a complete tree of three frames. Then all of tree/ reads
// it, and a second, simple reading of the files decides whether the check may find nothing. A path
// begins with D (device root), R (dump root), P (pipe), T (task) or 1 to 3 (frame):
//   f path bytes   a file with these bytes      s path size   sets the file's size
//   d path         removes it                   m path path   moves the first to the second
//   k path         a folder                     l path text   a symbolic link
//   q path         a FIFO
#include "fuzz/Target.h"
#include "tree/check/TreeCheck.h"
#include "tree/read/FrameValues.h"
#include "tree/read/TreePath.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr size_t kMostLines = 12;
constexpr uint64_t kMostBytes = 1 << 20;  // limit for reading

void expect(bool holds, const char* what, const std::string& about) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s: %s\n", what, about.c_str());
    std::abort();
}

std::string readFile(const fs::path& path) {
    std::string text;
    if (fs::is_regular_file(path)) std::getline(std::ifstream(path), text, '\0');
    return text;
}

/// The tree's folder, in memory if possible.
class Device {
public:
    Device() = default;
    ~Device() { fs::remove_all(root); }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    void renew() {
        fs::remove_all(root);
        fs::create_directories(task);
        write(tags, tagsText);
        write(config, configText);
        for (int frame = 1; frame <= 3; ++frame) {
            const std::string number = std::to_string(frame);
            write(frames[frame] / ("FCPDT_" + number + "_0_3_0_FIXED.bin"), "12345678");
            write(frames[frame] / ("FCPDT_" + number + "_0_3_1_BLOCK.bin"), "a block");
            write(frames[frame] / ("FCWH_" + number + "_0_4_2_nv21.yuv"), "pixelspixels");
        }
    }

    /// The path that a word of the input names; "" if it leads out of the tree.
    fs::path pathOf(std::string_view word) const {
        const size_t letter =
            word.empty() ? std::string_view::npos : std::string_view("R123TPD").find(word[0]);
        if (letter == std::string_view::npos || word.find("..") != std::string_view::npos)
            return {};
        const fs::path& base = frames[letter];
        return word.size() == 1 ? base : base / fs::path(word.substr(1)).relative_path();
    }

    static void write(const fs::path& path, std::string_view bytes) {
        std::error_code ignored;
        fs::remove_all(path, ignored);  // writing could follow a link
        fs::create_directories(path.parent_path(), ignored);
        std::ofstream(path, std::ios::binary) << bytes;
    }

    const fs::path root = temporaryFolder();
    const fs::path dumpRoot = root / "data/vendor/cameraserver/tykdump";
    const fs::path pipe = dumpRoot / "pipe_1", task = pipe / "21260305140709123_task_0";
    const fs::path frames[7] = {dumpRoot,
                                task / "0305140709200_reqID_1_sofID_1",
                                task / "0305140709233_reqID_2_sofID_2",
                                task / "0305140709266_reqID_3_sofID_3",
                                task,
                                pipe,
                                root};
    const fs::path config = dumpRoot / "pipe1_dumpConfig.xml", tags = root / "tags.xml";
    const std::string configText =
        "<dumpconfig><common><tag value='FIXED'><pipe>VIDEO_TYPE</pipe><dumpType>0</dumpType></tag>"
        "<tag value='BLOCK'><pipe>VIDEO_TYPE</pipe><dumpType>1</dumpType></tag></common>"
        "</dumpconfig>";
    const std::string tagsText =
        "<tags><tag id='7' name='FIXED' size='8' kind='fixed'><field name='gain' offset='0' "
        "type='f32'/></tag><tag id='9' name='BLOCK' size='16' kind='block'>"
        "<field name='count' offset='0' type='u32'/></tag></tags>";

private:
    static std::string temporaryFolder() {
        std::string name =
            access("/dev/shm", W_OK) == 0 ? "/dev/shm/treeXXXXXX" : "/tmp/treeXXXXXX";
        expect(mkdtemp(name.data()) != nullptr, "a temporary folder", name);
        return name;
    }
};

/// Whether one line of the input changed anything.
bool change(const Device& device, std::string_view line) {
    const auto word = [&line] {
        const size_t end = std::min(line.find(' '), line.size());
        const std::string_view taken = line.substr(0, end);
        line.remove_prefix(std::min(end + 1, line.size()));
        return taken;
    };
    const std::string_view what = word();
    const fs::path path = device.pathOf(word());
    if (what.size() != 1 || path.empty() || path.native().size() > 1000) return false;
    std::error_code error;
    switch (what[0]) {
        case 'f':
            Device::write(path, line);
            return true;
        case 's':
            if (!fs::is_regular_file(path, error)) return false;
            fs::resize_file(path, std::strtoul(std::string(line).c_str(), nullptr, 10), error);
            return true;
        case 'd':
            fs::remove_all(path, error);
            return true;
        case 'm':
            fs::rename(path, device.pathOf(word()), error);
            return true;
        case 'k':
            fs::create_directory(path, error);
            return true;
        case 'q':
            mkfifo(path.c_str(), 0600);
            return true;
        case 'l':
            // A link must stay in the tree, except to a device without an end.
            if (line != "/dev/zero" &&
                (line.find("..") != std::string_view::npos || line.substr(0, 1) == "/")) {
                return false;
            }
            fs::create_symlink(line, path, error);
            return true;
        default:
            return false;
    }
}

const std::string kNumber = R"((0|-?[1-9]\d{0,9}))";

/// Whether the system's calendar accepts these seventeen digits, without the milliseconds, as a
/// time. A leap second counts as the second before.
bool isTime(const std::string& digits) {
    const auto number = [&digits](size_t at, size_t count) {
        return std::stoi(digits.substr(at, count));
    };
    std::tm time{};
    time.tm_year = number(0, 4) - 1900;
    time.tm_mon = number(4, 2) - 1;
    time.tm_mday = number(6, 2);
    time.tm_hour = number(8, 2);
    time.tm_min = number(10, 2);
    time.tm_sec = std::max(number(12, 2), 1) - (number(12, 2) == 60 ? 1 : 0);
    std::tm same = time;
    timegm(&same);
    return std::tie(time.tm_mon, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec) ==
           std::tie(same.tm_mon, same.tm_mday, same.tm_hour, same.tm_min, same.tm_sec);
}

/// Whether a frame folder has all files of the configuration, with that sof id, and no files that
/// are foreign to a frame. Sets `camera` to the camera of the image, which the parameters must have
/// too.
bool isWholeFrame(const fs::path& folder, const std::string& sof, std::string& camera) {
    const std::string ids = sof + "_";
    const std::regex param("FCPDT_" + ids + kNumber + "_" + kNumber +
                           R"(_([01])_(FIXED|BLOCK)\.bin)");
    const std::regex image("FCWH_" + ids + kNumber + R"(_([1-9]\d{0,8})_([1-9]\d{0,8})_nv21\.yuv)");
    std::smatch match;
    int fixed = 0, blocks = 0, images = 0;
    std::set<std::string> cameras;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string file = entry.path().filename();
        if (entry.symlink_status().type() != fs::file_type::regular) return false;
        const uintmax_t size = entry.file_size();
        if (std::regex_match(file, match, param)) {
            const bool isFixed = match[3] == "0";
            if (isFixed != (match[4] == "FIXED")) return false;
            if (isFixed ? size != 8 : size == 0 || size > INT32_MAX) return false;
            ++(isFixed ? fixed : blocks);
            cameras.insert(match[1]);
        } else if (std::regex_match(file, match, image)) {
            if (size != std::stoull(match[2]) * std::stoull(match[3]) * 3 / 2) return false;
            camera = match[1];
            ++images;
        } else if (file != "iSceneInfo.xml" && file.find("ISCENE_CAP_INFO_") != 0) {
            return false;
        }
    }
    return fixed > 0 && blocks > 0 && images == 1 && cameras.count(camera) > 0;
}

/// Whether the frames of a task are complete, with ids of their own, at possible times and in
/// ascending order.
bool areWholeFrames(const std::set<fs::path>& folders) {
    static const std::regex name(R"((\d{13})_reqID_)" + kNumber + "_sofID_" + kNumber);
    std::set<std::pair<std::string, std::string>> ids;
    std::map<std::pair<std::string, std::string>, std::string> requests;  // by camera and sof id
    std::map<std::string, long> largest;                                  // request by time
    for (const fs::path& folder : folders) {
        const std::string text = folder.filename();
        std::smatch match;
        if (!std::regex_match(text, match, name)) return false;
        if (!isTime("2004" + match[1].str())) return false;
        const long request = std::stol(match[2]);
        for (const auto& [time, earlier] : largest) {
            if (time != match[1] && request < earlier) return false;
        }
        long& ofTime = largest.emplace(match[1], request).first->second;
        ofTime = std::max(ofTime, request);
        if (!ids.insert({match[2], match[3]}).second) return false;
        std::string camera;
        if (!isWholeFrame(folder, match[3], camera)) return false;
        const auto exposure = std::make_pair(camera, match[3].str());
        if (requests.emplace(exposure, match[2]).first->second != match[2]) return false;
    }
    return true;
}

/// Whether an entry of a pipe folder is a complete task or frame; adds a frame outside a task to
/// `loose`.
bool isWholeTask(const fs::directory_entry& entry, std::set<fs::path>& loose, size_t& frames) {
    static const std::regex task(R"((\d{17})_task_)" + kNumber);
    if (entry.is_symlink() || !entry.is_directory()) return false;
    const std::string name = entry.path().filename();
    std::smatch match;
    if (!std::regex_match(name, match, task)) {
        loose.insert(entry);
        return true;
    }
    const std::string year = std::to_string(std::stoi(name.substr(0, 4)) - 90);
    if (name[0] != '0' && !isTime(year + name.substr(4, 13))) return false;
    std::set<fs::path> ofTask;
    for (const auto& frame : fs::directory_iterator(entry)) {
        if (frame.is_symlink() || !frame.is_directory()) return false;
        ofTask.insert(frame);
    }
    frames += ofTask.size();
    return areWholeFrames(ofTask);
}

/// Whether a tree has no foreign entry, and every frame is complete.
bool isWhole(const Device& device) {
    static const std::regex pipe("pipe_" + kNumber),
        config("pipe" + kNumber + R"(_dumpConfig\.xml)");
    size_t frames = 0;
    std::set<fs::path> ofNoPipe;
    for (const auto& entry : fs::directory_iterator(device.dumpRoot)) {
        const std::string name = entry.path().filename();
        if (std::regex_match(name, config)) continue;
        if (!std::regex_match(name, pipe)) {
            if (!isWholeTask(entry, ofNoPipe, frames)) return false;
            continue;
        }
        if (entry.is_symlink()) return false;
        std::set<fs::path> ofPipe;
        for (const auto& inPipe : fs::directory_iterator(entry)) {
            const bool copy = inPipe.path().filename().native().find("mfnr") != std::string::npos;
            if (copy && inPipe.is_regular_file() && !inPipe.is_symlink()) continue;
            if (!isWholeTask(inPipe, ofPipe, frames)) return false;
        }
        if (!areWholeFrames(ofPipe)) return false;
        frames += ofPipe.size();
    }
    frames += ofNoPipe.size();
    return areWholeFrames(ofNoPipe) && frames > 0;
}

class Lines : public tyktree::FindingSink {
public:
    void add(const tyktree::Finding& finding) override {
        text += std::string(ruleOf(finding.rule).name) + ": " + toLine(finding) + "\n";
    }
    std::string text;
};

void readEverything(const tyktree::TreeIndex& index, const tyktree::TagCatalog& catalog) {
    std::vector<tyktree::ValueName> names;
    for (const char* const name : {"FIXED", "FIXED.gain", "BLOCK", "total_gain"}) {
        const auto resolved = resolveName(name, catalog, {"FIXED", "BLOCK"});
        if (resolved.ok()) names.push_back(resolved.value());
    }
    tyktree::FrameValueReader reader(names);
    for (const tyktree::FrameRef& frame : select(index, {})) reader.read(frame.path());
}

/// The result's value; throws if it is a problem.
template <typename Value>
Value valueOf(tyktags::Result<Value> result) {
    if (!result.ok()) throw std::runtime_error(toLine(result.problem()));
    return std::move(result.value());
}

void read(const Device& device, const std::string& input, bool isChanged) {
    const auto index =
        valueOf(tyktree::TreeIndex::read(valueOf(tyktree::resolveTree(device.root))));
    const auto catalog = valueOf(tyktree::TagCatalog::find(index, ""));
    Lines lines;
    const auto totals = checkTree(index, {}, catalog, {}, lines);
    expect(isChanged || lines.text.empty(), "a whole tree is clean", lines.text);
    const bool isKnown =
        readFile(device.config) == device.configText && readFile(device.tags) == device.tagsText;
    if (lines.text.empty() && isKnown) expect(isWhole(device), "a clean tree is whole", input);
    if (totals.bytes < kMostBytes && input.size() % 4 == 1) {  // a deep check takes most of a run
        Lines deep;
        tyktree::CheckOptions options;
        options.deep = true;
        options.execution.jobs = input.size() % 32 == 1 ? 3 : 1;
        checkTree(index, {}, catalog, options, deep);
        expect(deep.text.size() >= lines.text.size(), "a deep check finds no less", deep.text);
    }
    if (totals.bytes < kMostBytes) readEverything(index, catalog);
    checkConfig(device.config, catalog, lines);
}

void run(std::string_view input) {
    static Device device;
    device.renew();
    bool isChanged = false;
    const std::string all(input);
    for (size_t i = 0; i < kMostLines && !input.empty(); ++i) {
        if (change(device, fuzz::takeLine(input))) isChanged = true;
    }
    try {
        read(device, all, isChanged);
    } catch (const std::runtime_error& error) {  // not a tree, or no tag table
        expect(isChanged, "a whole tree can be read", error.what());
    }
}

const fuzz::Known known({"tree", run, [] {}});

}  // namespace
