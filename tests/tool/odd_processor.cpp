// A processor that does what its one option says: things that go wrong, and a picture of another
// size.
#include <cstdlib>
#include <cstring>
#include <string>
#include <tyksim_processor.h>
#include <vector>

namespace {
std::string mode;
}

int tyksim_processor_version(void) {
    return TYKSIM_PROCESSOR_VERSION;
}

int tyksim_open(const char* const* options, size_t, void**, char* error, size_t) {
    mode = options[0];
    if (mode == "refuse") std::strcpy(error, "no, thank you");
    return mode == "refuse" ? 1 : 0;
}

int tyksim_process(void*, const tyksim_frame* frame, const tyksim_output* output) {
    if (mode == "crash" && frame->position == 2) std::abort();
    if (mode == "nothing" || (mode == "once" && frame->position != 1)) return 0;
    if (mode == "error" && frame->position == 2) {
        output->fail(output->context, "had a bad day");
        return 1;
    }
    const std::vector<uint8_t> gray(10 * 8 * 3 / 2, 128);
    tyksim_picture picture{gray.data(), gray.size(), 10, 8, 0};
    if (mode == "short") picture.size = 100;
    for (size_t i = 0; mode == "set" && i < frame->parameter_count; ++i) {
        const std::vector<uint8_t> ones(frame->parameters[i].size, 1);
        if (std::strcmp(frame->parameters[i].name, "KELV_TAG_WB_GAINS") != 0) continue;
        output->set_parameter(output->context, frame->parameters[i].tag, ones.data(), ones.size());
    }
    return output->set_picture(output->context, &picture);
}

void tyksim_close(void*) {}
