// A processor for tests: its option selects a behaviour, mostly a failure at the second frame.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <poll.h>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <tyksim_processor.h>
#include <unistd.h>
#include <vector>

namespace {

std::string mode;
constexpr int kMostDescriptors = 64;

bool isSocket(int descriptor) {
    int type = 0;
    socklen_t size = sizeof(type);
    return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
}

void closeSockets() {
    for (int i = 3; i < kMostDescriptors; ++i) {
        if (isSocket(i)) close(i);
    }
}

void writeToSockets() {
    for (int i = 3; i < kMostDescriptors; ++i) {
        if (isSocket(i) && write(i, "tyksim", 6) != 6) abort();
    }
}

/// Reports its process id and loops.
void loop() {
    printf("looping %d\n", static_cast<int>(getpid()));
    fflush(stdout);
    volatile bool forever = true;
    while (forever) {
    }
}

/// Leaves a child process that has all descriptors until tyksim closes its end of one.
void leaveChild() {
    if (fork() == 0) {
        std::vector<pollfd> sockets;
        for (int i = 3; i < kMostDescriptors; ++i) {
            if (isSocket(i)) sockets.push_back({i, 0, 0});
        }
        poll(sockets.data(), sockets.size(), -1);
        _exit(0);
    }
    _exit(7);
}

/// Behaviours that end the process or make it useless.
const std::map<std::string, void (*)()> kEnds{
    {"abort", [] { abort(); }},
    {"segv", [] { raise(SIGSEGV); }},
    {"kill", [] { raise(SIGKILL); }},
    {"exit", [] { exit(0); }},
    {"_exit", [] { _exit(9); }},
    {"loop", loop},
    {"close", closeSockets},
    {"garbage", writeToSockets},
    {"fork", leaveChild},
    {"throw", [] { throw std::runtime_error("no luck"); }},
    {"throw-number", [] { throw 42; }},
    {"thread", [] { pthread_exit(nullptr); }},
};

void endAt(const char* place) {
    for (const auto& [name, end] : kEnds) {
        if (mode == name + place) end();
    }
}

/// Returns the picture with gaps between its rows, from a buffer without spare bytes.
int handBackWithGaps(const tyksim_picture& given, const tyksim_output* output) {
    const auto width = static_cast<size_t>(given.width);
    const auto rows = static_cast<size_t>(given.height);
    const size_t pairs = (width + 1) / 2 * 2, stride = width + 5;
    std::vector<uint8_t> bytes;
    for (size_t at = 0, row = 0; at < given.size; ++row) {
        const size_t length = row < rows ? width : pairs;
        bytes.resize(row * stride);
        const size_t end = std::min(at + length, given.size);
        bytes.insert(bytes.end(), given.pixels + at, given.pixels + end);
        at = end;
    }
    // In an allocation of its own, so that a sanitizer notices a read beyond its end.
    const std::vector<uint8_t> exact(bytes.begin(), bytes.end());
    const tyksim_picture picture{exact.data(), exact.size(), given.width, given.height,
                                 static_cast<int32_t>(stride)};
    return output->set_picture(output->context, &picture);
}

void setParameters(const tyksim_frame& frame, const tyksim_output* output) {
    for (size_t i = 0; i < frame.parameter_count; ++i) {
        const tyksim_parameter& parameter = frame.parameters[i];
        const std::vector<uint8_t> ones(parameter.size, 1);
        if (mode == "set" && std::strcmp(parameter.name, "KELV_TAG_WB_GAINS") == 0) {
            output->set_parameter(output->context, parameter.tag, ones.data(), ones.size());
        }
        const size_t size = parameter.is_block != 0 ? 0 : parameter.size - 1;
        if (mode == (parameter.is_block != 0 ? "empty" : "short") &&
            output->set_parameter(output->context, parameter.tag, "", size) == 0) {
            abort();
        }
    }
    if (mode == "unknown") output->set_parameter(output->context, 4711, "x", 1);
    if (mode == "null") {
        const tyksim_parameter& first = frame.parameters[0];
        output->set_parameter(output->context, first.tag, nullptr, first.size);
    }
}

int handBackGray(const tyksim_output* output) {
    const std::vector<uint8_t> gray(10 * 8 * 3 / 2, 128);
    tyksim_picture picture{gray.data(), gray.size(), 10, 8, 0};
    if (mode == "cut") picture.size = 119;
    if (mode == "narrow") picture.stride = 9;
    if (mode == "wide") picture.width = 1 << 20;
    if (mode == "nowhere") picture.pixels = nullptr;
    return output->set_picture(output->context, &picture);
}

}  // namespace

int tyksim_processor_version(void) {
    return TYKSIM_PROCESSOR_VERSION;
}

int tyksim_open(const char* const* options, size_t, void**, char* error, size_t) {
    mode = options[0];
    endAt("-open");
    if (mode == "status-exit") atexit([] { _exit(3); });
    if (mode == "refuse") std::strcpy(error, "no, thank you");
    return mode == "refuse" ? 1 : 0;
}

int tyksim_process(void*, const tyksim_frame* frame, const tyksim_output* output) {
    if (frame->position == 2) endAt("");
    if (mode.compare(0, 6, "touch=") == 0) std::ofstream(mode.substr(6)) << "x";
    if (mode == "nothing" || (mode == "once" && frame->position != 1)) return 0;
    if (mode == "error" && frame->position == 2) {
        output->fail(output->context, "had a bad day");
        return 1;
    }
    setParameters(*frame, output);
    if (mode == "gaps") return handBackWithGaps(*frame->picture, output);
    if (mode == "same") return output->set_picture(output->context, frame->picture);
    return handBackGray(output);
}

void tyksim_close(void*) {
    endAt("-close");
}
