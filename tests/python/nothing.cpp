// A processor that returns every frame unchanged. It shows the cost of the process itself.
#include <tyksim_processor.h>

int tyksim_processor_version() {
    return TYKSIM_PROCESSOR_VERSION;
}

int tyksim_open(const char* const*, size_t, void**, char*, size_t) {
    return 0;
}

int tyksim_process(void*, const tyksim_frame* frame, const tyksim_output* output) {
    return frame->picture ? output->set_picture(output->context, frame->picture) : 0;
}

void tyksim_close(void*) {}
