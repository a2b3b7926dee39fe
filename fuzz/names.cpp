// The names of parameter files, images and frame folders: the input is the name.
#include "core/TreeNames.h"
#include "fuzz/NameRules.h"

#include <cstring>

using fuzz::fields;

namespace {

using PS = PipelineSimulation;

/// Checks that names made of numbers give the same numbers when they are read.
void checkRoundTrip(PS& object, const std::array<int, 4>& n, const fake::Tag& tag) {
    char path[1024];
    FAKE_EXPECT(object.getFileName(path, n[1], n[0], n[2], n[3], tag.name) == path);
    PS::tagInfo param{};
    FAKE_EXPECT(object.parseFileName(std::strrchr(path, '/') + 1, &param) == 0);
    const auto sof = static_cast<uint32_t>(n[0]), camera = static_cast<uint32_t>(n[1]);
    FAKE_EXPECT(fields(param) == std::tie(tag.id, n[2], camera, sof, n[3]));
    PS::imageInfo image{nullptr, 0, 0, 0, 0, 0, 0, 9};
    object.parseImageName(imageFilePath("", n[0], n[1], n[2], n[3]).substr(1), &image);
    FAKE_EXPECT(fields(image) == std::make_tuple(n[0], n[1], n[2], n[3], 0));
}

void run(std::string_view input) {
    PS& object = fuzz::simulation(1);
    const std::string name(input);
    const PS::tagInfo noParam{1, 2, 3, 4, 5};
    PS::tagInfo param = noParam;
    const auto expectedParam = fuzz::paramName(name);
    FAKE_EXPECT(object.parseFileName(name, &param) == (expectedParam ? 0 : 1));
    FAKE_EXPECT(fields(param) == fields(expectedParam.value_or(noParam)));

    const PS::imageInfo noImage{&param, 1, 2, 3, 4, 5, 6, 7};
    PS::imageInfo image = noImage;
    object.parseImageName(name, &image);
    FAKE_EXPECT(fields(image) == fields(fuzz::imageName(name).value_or(noImage)));
    FAKE_EXPECT(image.buffer == &param && image.reqId == 1 && image.pipeId == 4);

    FAKE_EXPECT(object.parseReqID(name) == -1);
    std::array<int, 4> numbers;
    const auto last = static_cast<unsigned char>(name.empty() ? 1 : name.back());
    if (name.size() > sizeof(numbers) && last % 4 == 0) {
        std::memcpy(numbers.data(), name.data(), sizeof(numbers));
        checkRoundTrip(object, numbers, fake::kTags[last / 4U % fake::kTags.size()]);
    }
}

const fuzz::Known known(fuzz::libraryTarget<run>("names"));

}  // namespace
