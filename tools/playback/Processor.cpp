#include "tools/playback/Processor.h"

#include "tools/output/Console.h"
#include "tools/picture/Nv21.h"
#include "tree/Escape.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <unistd.h>

namespace tyksim {

namespace {

/// What the crash handler says: it may format and allocate nothing.
struct CrashNote {
    std::array<char, 1024> text{};
    std::atomic<size_t> size{0};
};
CrashNote crashNote;

constexpr std::array<int, 5> kCrashes{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

/// Names the processor and lets the signal do what it does by default.
void sayWhoCrashed(int signal) {
    static_cast<void>(!::write(STDERR_FILENO, crashNote.text.data(), crashNote.size.load()));
    static_cast<void>(std::signal(signal, SIG_DFL));
    static_cast<void>(std::raise(signal));
}

/// While it lives, a crash is the processor's.
class CrashWatch {
public:
    explicit CrashWatch(const std::string& note) {
        const std::string line = note.substr(0, crashNote.text.size() - 1) + "\n";
        std::copy(line.begin(), line.end(), crashNote.text.begin());
        crashNote.size = line.size();
        for (size_t i = 0; i < kCrashes.size(); ++i) {
            before_[i] = std::signal(kCrashes[i], sayWhoCrashed);
        }
    }
    ~CrashWatch() {
        for (size_t i = 0; i < kCrashes.size(); ++i) {
            static_cast<void>(std::signal(kCrashes[i], before_[i]));
        }
    }
    CrashWatch(const CrashWatch&) = delete;
    CrashWatch& operator=(const CrashWatch&) = delete;

private:
    std::array<void (*)(int), kCrashes.size()> before_{};
};

/// What a frame's results are collected in, behind the interface's context.
struct Collector {
    const tyksim_frame& frame;
    Processed& result;
};

/// Copies `rows` rows without the gaps between them.
void copyRows(const uint8_t* from, size_t stride, size_t rowBytes, int rows,
              std::vector<uint8_t>& to) {
    for (int row = 0; row < rows; ++row, from += stride) {
        to.insert(to.end(), from, from + rowBytes);
    }
}

bool isSensible(const tyksim_picture& picture, size_t stride) {
    if (!picture.pixels || picture.width < 1 || picture.height < 1) return false;
    if (picture.width > kMaxWidth || picture.height > kMaxHeight) return false;
    const auto chromaBytes = static_cast<size_t>(chromaLength(picture.width)) * 2;
    if (picture.stride < 0 || stride < static_cast<size_t>(picture.width)) return false;
    const size_t chromaStride = std::max(stride, chromaBytes);
    const size_t needed = stride * static_cast<size_t>(picture.height) +
                          chromaStride * static_cast<size_t>(chromaLength(picture.height) - 1) +
                          chromaBytes;
    return picture.size >= needed;
}

int setPicture(void* context, const tyksim_picture* picture) {
    auto& collector = *static_cast<Collector*>(context);
    if (!picture) return 1;
    const auto width = static_cast<size_t>(std::max(picture->width, 0));
    const size_t stride = picture->stride == 0 ? width : static_cast<size_t>(picture->stride);
    if (!isSensible(*picture, stride)) {
        collector.result.error = "handed back a picture whose size, stride or bytes do not fit";
        return 1;
    }
    const auto chromaBytes = static_cast<size_t>(chromaLength(picture->width)) * 2;
    ProcessedPicture copy{picture->width, picture->height, {}};
    copyRows(picture->pixels, stride, width, picture->height, copy.bytes);
    copyRows(picture->pixels + stride * static_cast<size_t>(picture->height),
             std::max(stride, chromaBytes), chromaBytes, chromaLength(picture->height), copy.bytes);
    collector.result.picture = std::move(copy);
    return 0;
}

int setParameter(void* context, uint32_t tag, const void* data, size_t size) {
    auto& collector = *static_cast<Collector*>(context);
    const auto* const end = collector.frame.parameters + collector.frame.parameter_count;
    const auto* const found =
        std::find_if(collector.frame.parameters, end,
                     [tag](const tyksim_parameter& parameter) { return parameter.tag == tag; });
    const bool fits =
        found != end && (found->is_block != 0 ? size <= INT32_MAX : size == found->size);
    if (!fits || (!data && size > 0)) {
        collector.result.error =
            text("handed back a value of ", size, " bytes for tag ", tag,
                 found == end ? ", which the frame does not have" : ", which does not fit");
        return 1;
    }
    const auto* const bytes = static_cast<const uint8_t*>(data);
    collector.result.parameters[tag].assign(bytes, bytes + size);
    return 0;
}

void noteFailure(void* context, const char* message) {
    if (message) static_cast<Collector*>(context)->result.error = message;
}

}  // namespace

template <typename Function>
Function* Processor::find(const char* name) const {
    void* const symbol = dlsym(library_, name);
    if (!symbol) {
        throw Failure(text(tyktree::escaped(path_), ": expected a processor with the function ",
                           name, ", found none"));
    }
    return reinterpret_cast<Function*>(symbol);
}

Processor::Processor(const std::string& path, const std::vector<std::string>& options)
    : path_(path) {
    // A name without a slash would be looked for among the system's libraries.
    const std::string file = std::filesystem::absolute(path).string();
    library_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library_) {
        throw Failure(
            text(tyktree::escaped(path), ": expected a processor: ", tyktree::escaped(dlerror())));
    }
    const int version = find<int()>("tyksim_processor_version")();
    if (version != TYKSIM_PROCESSOR_VERSION) {
        throw Failure(text(tyktree::escaped(path), ": expected a processor for version ",
                           TYKSIM_PROCESSOR_VERSION, " of the interface, found version ", version));
    }
    auto* const open = find<decltype(tyksim_open)>("tyksim_open");
    process_ = find<decltype(tyksim_process)>("tyksim_process");
    close_ = find<decltype(tyksim_close)>("tyksim_close");
    std::vector<const char*> words;
    words.reserve(options.size());
    for (const std::string& option : options) words.push_back(option.c_str());
    std::array<char, 512> error{};
    const CrashWatch watch(text("tyksim: ", tyktree::escaped(path_), " crashed while it opened"));
    if (open(words.data(), words.size(), &state_, error.data(), error.size()) != 0) {
        error.back() = '\0';
        throw Failure(
            text(tyktree::escaped(path), ": refuses to open: ", tyktree::escaped(error.data())));
    }
}

// The shared object stays loaded: what it left behind, a thread or a handler at exit, may still
// need it.
Processor::~Processor() {
    const CrashWatch watch(text("tyksim: ", tyktree::escaped(path_), " crashed while it closed"));
    close_(state_);
}

Processed Processor::process(const tyksim_frame& frame) {
    Processed result;
    Collector collector{frame, result};
    const tyksim_output output{&collector, setPicture, setParameter, noteFailure};
    const CrashWatch watch(text("tyksim: ", tyktree::escaped(path_), " crashed at frame ",
                                frame.position, " of task ", frame.task, ", request ",
                                frame.request));
    const int status = process_(state_, &frame, &output);
    if (status != 0 && result.error.empty()) result.error = text("gave the error ", status);
    return result;
}

}  // namespace tyksim
