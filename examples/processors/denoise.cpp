// A processor that filters noise over time: it mixes each pixel with the result of the frames
// before, and mixes less if the two differ more, so that moving parts stay sharp.
//
//   tyksim replay TREE --with libdenoise.so -o OUT --option strength=0.7
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <tyksim_processor.h>
#include <vector>

namespace {

struct State {
    double strength = 0.7;          ///< share of the past in a pixel that does not change
    std::vector<uint8_t> past;      ///< the last result
    int32_t width = 0, height = 0;  ///< of the last result
    uint32_t task = 0;              ///< of the last result
};

constexpr int kMotion = 24;  ///< differences from here on count as motion

/// The share of the past, in 256ths, for each difference.
std::vector<int> weights(double strength) {
    std::vector<int> table(256);
    for (int difference = 0; difference < kMotion; ++difference) {
        const double still = 1.0 - static_cast<double>(difference) / kMotion;
        table[static_cast<size_t>(difference)] = static_cast<int>(strength * still * 256.0);
    }
    return table;
}

void mix(const State& state, const uint8_t* now, std::vector<uint8_t>& result) {
    const std::vector<int> table = weights(state.strength);
    for (size_t i = 0; i < result.size(); ++i) {
        const int difference = state.past[i] - now[i];
        const int weight = table[static_cast<size_t>(std::abs(difference))];
        result[i] = static_cast<uint8_t>(now[i] + difference * weight / 256);
    }
}

}  // namespace

int tyksim_processor_version(void) {
    return TYKSIM_PROCESSOR_VERSION;
}

int tyksim_open(const char* const* options, size_t option_count, void** state, char* error,
                size_t error_size) {
    auto* const made = new State;
    for (size_t i = 0; i < option_count; ++i) {
        const bool known = std::strncmp(options[i], "strength=", 9) == 0;
        if (known) made->strength = std::strtod(options[i] + 9, nullptr);
        if (known && made->strength >= 0 && made->strength < 1) continue;
        std::snprintf(error, error_size, "expected strength=0 to below 1, found %s", options[i]);
        delete made;
        return 1;
    }
    *state = made;
    return 0;
}

int tyksim_process(void* state, const tyksim_frame* frame, const tyksim_output* output) {
    State& own = *static_cast<State*>(state);
    if (!frame->picture) return 0;  // nothing to filter: no frame is recorded
    const tyksim_picture& picture = *frame->picture;
    std::vector<uint8_t> result(picture.pixels, picture.pixels + picture.size);
    const bool follows = own.task == frame->task && own.width == picture.width &&
                         own.height == picture.height && own.past.size() == picture.size;
    if (follows) mix(own, picture.pixels, result);
    own.past = result;
    own.width = picture.width;
    own.height = picture.height;
    own.task = frame->task;
    tyksim_picture filtered = picture;
    filtered.pixels = result.data();
    return output->set_picture(output->context, &filtered);
}

void tyksim_close(void* state) {
    delete static_cast<State*>(state);
}
