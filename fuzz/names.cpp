// The names of parameter files, images and frame folders: the input is the name.
#include "dump/TreeNames.h"
#include "fuzz/NameRules.h"

using namespace fuzz;

namespace {

void checkParam(PipelineSimulation& object, const std::string& name) {
    const PipelineSimulation::tagInfo untouched{1, 2, 3, 4, 5};
    const auto expected = paramName(name);
    auto info = untouched;
    FUZZ_EXPECT(object.parseFileName(name, &info) == (expected ? 0 : 1));
    FUZZ_EXPECT(same(info, expected.value_or(untouched)));
}

void checkImage(PipelineSimulation& object, const std::string& name) {
    char pixel = 0;
    const PipelineSimulation::imageInfo untouched{&pixel, 1, 2, 3, 4, 5, 6, 7};
    auto expected = imageName(name).value_or(untouched);
    expected.buffer = &pixel;
    expected.reqId = untouched.reqId;
    expected.pipeId = untouched.pipeId;
    auto info = untouched;
    object.parseImageName(name, &info);
    FUZZ_EXPECT(same(info, expected));
}

/// What is made of numbers is read back as those numbers.
void checkRoundTrip(PipelineSimulation& object, const std::array<int, 4>& n, const Tag& tag) {
    char path[1024];
    FUZZ_EXPECT(object.getFileName(path, n[1], n[0], n[2], n[3], tag.name) == path);
    PipelineSimulation::tagInfo param{};
    FUZZ_EXPECT(object.parseFileName(std::strrchr(path, '/') + 1, &param) == 0);
    FUZZ_EXPECT(same(
        param, {tag.id, n[2], static_cast<uint32_t>(n[1]), static_cast<uint32_t>(n[0]), n[3]}));
    const std::string image = imageFilePath("", n[0], n[1], n[2], n[3]);
    PipelineSimulation::imageInfo info{};
    object.parseImageName(image.substr(1), &info);
    FUZZ_EXPECT(same(info, {nullptr, 0, n[0], n[1], 0, n[2], n[3], 0}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PipelineSimulation& object = simulation(1);
    const std::string name(reinterpret_cast<const char*>(data), size);
    checkParam(object, name);
    checkImage(object, name);
    FUZZ_EXPECT(object.parseReqID(name) == -1);
    std::array<int, 4> numbers;
    if (size > sizeof(numbers) && data[size - 1] % 4 == 0) {
        std::memcpy(numbers.data(), data, sizeof(numbers));
        checkRoundTrip(object, numbers, kTags[data[size - 1] / 4U % kTags.size()]);
    }
    return 0;
}
