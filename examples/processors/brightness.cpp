// A processor that brightens dark frames: the lower the frame's sensitivity, the flatter the curve.
// It follows one parameter of the frame and shows how to return a picture and a parameter.
//
//   tyksim replay TREE --with libbrightness.so -o OUT --option KELV_TAG_SENSITIVITY
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <tyksim_processor.h>
#include <vector>

namespace {

/// The tag whose first 32 bits are the sensitivity, and a reused buffer of pixels.
struct State {
    std::string tag = "KELV_TAG_SENSITIVITY";
    std::vector<uint8_t> pixels;
};

const tyksim_parameter* find(const tyksim_frame& frame, const std::string& tag) {
    for (size_t i = 0; i < frame.parameter_count; ++i) {
        if (tag == frame.parameters[i].name) return &frame.parameters[i];
    }
    return nullptr;
}

/// Gamma 1 at ISO 1600 and above, down to 0.6 at ISO 100 and below.
std::array<uint8_t, 256> curveFor(uint32_t iso) {
    const double stops = std::log2(std::fmin(std::fmax(iso, 100.0), 1600.0) / 100.0);
    const double gamma = 0.6 + 0.1 * stops;
    std::array<uint8_t, 256> curve{};
    for (size_t i = 0; i < curve.size(); ++i) {
        const double value = std::pow(static_cast<double>(i) / 255.0, gamma);
        curve[i] = static_cast<uint8_t>(std::lround(value * 255.0));
    }
    return curve;
}

}  // namespace

int tyksim_processor_version(void) {
    return TYKSIM_PROCESSOR_VERSION;
}

int tyksim_open(const char* const* options, size_t option_count, void** state, char* error,
                size_t error_size) {
    if (option_count > 1) {
        std::snprintf(error, error_size, "expected one option, the tag of the sensitivity");
        return 1;
    }
    auto* const made = new State;
    if (option_count == 1) made->tag = options[0];
    *state = made;
    return 0;
}

int tyksim_process(void* state, const tyksim_frame* frame, const tyksim_output* output) {
    State& own = *static_cast<State*>(state);
    const tyksim_parameter* const sensitivity = find(*frame, own.tag);
    if (!frame->picture || !sensitivity || sensitivity->size < sizeof(uint32_t)) {
        output->fail(output->context, "expected a picture and the sensitivity, found less");
        return 1;
    }
    uint32_t iso = 0;
    std::memcpy(&iso, sensitivity->data, sizeof(iso));
    const std::array<uint8_t, 256> curve = curveFor(iso);

    const tyksim_picture& picture = *frame->picture;
    const size_t luma = static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height);
    own.pixels.assign(picture.pixels, picture.pixels + picture.size);
    for (size_t i = 0; i < luma; ++i) own.pixels[i] = curve[own.pixels[i]];

    tyksim_picture result = picture;
    result.pixels = own.pixels.data();
    return output->set_picture(output->context, &result);
}

void tyksim_close(void* state) {
    delete static_cast<State*>(state);
}
