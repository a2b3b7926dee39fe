// A frame folder through the three loaders. The input's first line lists the calls:
//   f  loadParam2          s  loadParam of a pipe, a folder and a camera
//   p  loadParam           i  loadParamAndImage          d  deinit
//   q  empty frames into the queue, until it holds ten
//   b  listings backwards  r  reads of a few bytes        n  the pool has no more than one buffer
// Each further line is a file: its name, a space, its size followed by a letter, a space, and the
// bytes that fill it. The letter: u type unknown, l link, q FIFO, d folder, x cannot be opened.
#include "fuzz/NameRules.h"

#include <pugixml.hpp>

#include <cstring>
#include <deque>
#include <set>

using namespace fuzz;
using fake::device;
using fake::File;

namespace {

const std::string kFrame = fake::kPipeFolder + "/frame";
constexpr size_t kMostCalls = 6;

void addLine(const std::string& line) {
    const size_t space = std::min(line.find(' '), line.size());
    std::string name = line.substr(0, std::min<size_t>(space, NAME_MAX)).c_str();
    std::replace(name.begin(), name.end(), '/', '_');
    if (name.empty() || name == "." || name == "..") return;
    char* rest = nullptr;
    int64_t size = std::strtol(line.c_str() + space, &rest, 10);
    // Beyond 2 GiB only the low 32 bits of the size count. Large files are rare because they take
    // time.
    const auto low = static_cast<int32_t>(size);
    if (size < 0 || (low > 9000 && low != 512000 && low != 512001)) size = low & 0x1FFF;
    File& file = fake::addFile(kFrame + "/" + name, std::strlen(rest) > 2 ? rest + 2 : "", size);
    constexpr std::pair<char, unsigned char> kTypes[] = {
        {'u', DT_UNKNOWN}, {'l', DT_LNK}, {'q', DT_FIFO}, {'d', DT_DIR}};
    for (const auto& type : kTypes) {
        if (*rest == type.first) file.type = type.second;
    }
    file.opens = *rest != 'x';
}

bool isReadable(const File& file) {
    return file.opens && file.type != DT_FIFO && file.type != DT_DIR;
}

int32_t shownSize(const File& file) {
    return isReadable(file) ? static_cast<int32_t>(file.size) : 0;
}

/// The expected effects of one load, by the rules.
struct Expected {
    struct Call {
        PipelineSimulation::tagInfo info;
        const File* file;
        std::array<char, 64> scratch;  ///< the beginning of the scratch buffer
    };
    std::vector<Call> calls;
    int sof = 0;
    bool queued = true;
    size_t buffers = 0;  ///< taken from the pool
    PipelineSimulation::imageInfo image{};
    const File* imageFile = nullptr;
};

/// `loader` is the letter of the call, `out` the number of buffers that are out when loading
/// begins.
Expected expectedLoad(char loader, size_t out) {
    const bool folderLoader = loader == 'f' || loader == 's';
    Expected expected;
    std::array<char, 64> scratch{};
    for (const std::string& name : fake::listedFiles(kFrame)) {
        const File& file = *fake::findFile(kFrame + "/" + name);
        const auto info = paramName(name);
        bool good = true;
        if (info) {
            if (folderLoader && name.find("KELV_TAG_ISCENE_INFO") != std::string::npos) continue;
            expected.sof = static_cast<int>(info->sofId);
            const int32_t size = shownSize(file);
            good = size > 0 && (info->dumpType != 0 || size <= 512000);
            if (good && info->dumpType == 0) {
                file.copy(0, scratch.data(), std::min(static_cast<size_t>(size), scratch.size()));
            }
            if (good) expected.calls.push_back({*info, &file, scratch});
        } else if (loader == 'i') {
            const auto image = imageName(name).value_or(PipelineSimulation::imageInfo{});
            good = fake::poolOffers(image.width, image.height) &&
                   out + expected.buffers < device().poolLimit;
            if (good) {
                ++expected.buffers;
                expected.image = image;
                expected.imageFile = &file;
            }
        }
        if (!good && !folderLoader) {
            expected.queued = false;
            break;
        }
    }
    return expected;
}

/// Checks that `data` has the first `size` bytes of `file`, or all of them if the file is shorter.
void checkContent(const File& file, const void* data, size_t size) {
    FAKE_EXPECT(size == 0 || !fake::isPoisoned(data, size));
    std::array<char, 64> head;
    const size_t count = file.copy(0, head.data(), std::min(size, head.size()));
    FAKE_EXPECT(std::memcmp(head.data(), data, count) == 0);
}

void checkCall(const fake::Published& call, const Expected::Call& expected, bool queued) {
    const PipelineSimulation::tagInfo& info = expected.info;
    FAKE_EXPECT(!call.byNode && call.camId == info.camId && call.pipe == info.pipe &&
                call.sofId == info.sofId && call.tag == info.tag);
    const fake::Tag* const tag = fake::findTag(info.tag);
    if (!tag) return;
    if (tag->block && info.dumpType != 0) {
        const auto size = static_cast<uint32_t>(shownSize(*expected.file));
        FAKE_EXPECT(call.block.size == size);
        // An abandoned frame has freed its blocks.
        if (queued) checkContent(*expected.file, call.block.data, size);
    } else if (!tag->block && info.dumpType == 0) {
        // If the file is shorter than the value, the rest comes from the file before it.
        const size_t size = std::min(call.bytes.size(), expected.scratch.size());
        FAKE_EXPECT(std::memcmp(call.bytes.data(), expected.scratch.data(), size) == 0);
    }
}

/// Checks the calls after the files of a folder: overrides and side records.
void checkSideCalls(size_t from, uint32_t sof) {
    using Side = std::tuple<unsigned int, int, unsigned int, bool>;  // tag, pipe, sof id, by node
    const File* const file = fake::findFile(kFrame + "/iSceneInfo.xml");
    std::vector<Side> expected = {{8208, 1, 0, false}, {8198, 1, 0, false}};
    if (file && isReadable(*file) && file->size <= 512001) {
        std::string xml(static_cast<size_t>(file->size), '\0');
        pugi::xml_document document;
        if (file->copy(0, xml.data(), xml.size()) == xml.size() &&
            document.load_buffer(xml.data(), xml.size())) {
            expected.insert(expected.end(), {{2118, 0, sof, true}, {2118, 1, sof, true}});
        }
    }
    expected.emplace_back(65622, 1, sof, true);
    const auto& calls = device().published;
    FAKE_EXPECT(calls.size() == from + expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const fake::Published& call = calls[from + i];
        FAKE_EXPECT(expected[i] == Side(call.tag, call.pipe, call.sofId, call.byNode));
        FAKE_EXPECT(call.camId == 3);
    }
}

void checkImage(const Expected& expected, const tyk::Buffer& buffer) {
    const tyk::ImageDescriptor& image = *buffer.image;
    FAKE_EXPECT(image.camId == (expected.image.camId & 0xFF) && image.pipeId == 1 &&
                static_cast<int>(image.sofId) == expected.image.sofId &&
                image.width == expected.image.width && image.height == expected.image.height);
    const int64_t size = int64_t{image.width} * image.height * 3 / 2;
    if (isReadable(*expected.imageFile)) {
        checkContent(*expected.imageFile, image.data, static_cast<size_t>(size));
    }
}

/// Makes the calls and tracks the frames that must be queued and the buffers that must be out.
class Run {
public:
    explicit Run(PipelineSimulation& object) : object_(object) {
        object_.deinit();
        object_.taskList.clear();
        object_.frameNameMap.clear();
    }

    void call(char step) {
        if (step == 'd') {
            object_.deinit();
            while (!queue_.empty()) retireFront();
        } else if (step == 'q') {
            for (; queue_.size() < 10; queue_.push_back(nullptr)) object_.frameQueue.emplace();
        } else if (std::string_view("fspi").find(step) != std::string::npos) {
            load(step);
        }
        FAKE_EXPECT(object_.frameQueue.size() == queue_.size());
        FAKE_EXPECT(device().openHandles == 0 && device().out.size() == out_.size());
    }

private:
    void load(char step) {
        if ((step == 'p' || step == 'i') && object_.frameList.empty()) startTask();
        // The call first retires a frame, whose image buffer is then available again.
        if (step == 'i' && queue_.size() >= 11) retireFront();
        const Expected expected = expectedLoad(step, out_.size());
        device().published.clear();
        tyk::Buffer before{};
        tyk::Buffer* image = &before;
        object_.frameIndex = 0;
        make(step, image);
        FAKE_EXPECT((image == &before) == (expected.buffers == 0));
        if (image == &before) image = nullptr;
        FAKE_EXPECT(object_.frameIndex == (expected.queued ? 1 : 0));
        const auto& calls = device().published;
        FAKE_EXPECT(calls.size() >= expected.calls.size());
        for (size_t i = 0; i < expected.calls.size(); ++i) {
            checkCall(calls[i], expected.calls[i], expected.queued);
        }
        if (step == 'f' || step == 's') {
            checkSideCalls(expected.calls.size(), static_cast<uint32_t>(expected.sof));
        } else {
            FAKE_EXPECT(calls.size() == expected.calls.size());
        }
        countBuffers(expected, image);
    }

    void countBuffers(const Expected& expected, tyk::Buffer* image) {
        FAKE_EXPECT(device().out.size() == out_.size() + expected.buffers);
        for (const auto& held : device().out) out_.insert(&held->buffer);
        if (!expected.queued) return;
        queue_.push_back(image);
        FAKE_EXPECT(object_.frameQueue.back().image == image);
        if (image) checkImage(expected, *image);
    }

    void retireFront() {
        out_.erase(queue_.front());
        queue_.pop_front();
    }

    void startTask() {
        if (!object_.initialised) object_.init(1);
        object_.taskIndex = 0;
        object_.start();
        FAKE_EXPECT(object_.getFrameSize() > 0);
    }

    void make(char step, tyk::Buffer*& image) {
        if (step == 'f') FAKE_EXPECT(object_.loadParam2(kFrame));
        if (step == 's') FAKE_EXPECT(PipelineSimulation::loadParam(1, kFrame, 3));
        if (step == 'p') object_.loadParam(0);
        if (step == 'i') object_.loadParamAndImage(0, image);
    }

    PipelineSimulation& object_;
    std::deque<tyk::Buffer*> queue_;  ///< the queued frames' images
    std::set<tyk::Buffer*> out_;      ///< the buffers that must be out
};

void run(std::string_view input) {
    Run run(simulation(1));
    const std::string steps = takeLine(input).substr(0, kMostCalls);
    device().files[kFrame].type = DT_DIR;
    while (!input.empty()) addLine(takeLine(input));
    device().listsBackwards = steps.find('b') != std::string::npos;
    if (steps.find('r') != std::string::npos) device().readBytes = 3;
    if (steps.find('n') != std::string::npos) device().poolLimit = 1;
    for (const char step : steps + 'd') run.call(step);
}

const Known known(libraryTarget<run>("frame_folder"));

}  // namespace
