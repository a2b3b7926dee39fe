#include "tests/tool/Photographs.h"

#include <stdexcept>
#include <vector>

namespace tooltest {

std::string redJpeg(int width, int height, int subsampling, int pixelFormat) {
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::vector<unsigned char> source;
    for (size_t i = 0; i < pixels; ++i) {
        source.insert(source.end(), {255, 0, 0});
        if (pixelFormat == TJPF_CMYK) source.push_back(0);
    }
    tjhandle encoder = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    const int status = tjCompress2(encoder, source.data(), width, 0, height, pixelFormat, &jpeg,
                                   &size, subsampling, 95, 0);
    if (status != 0) throw std::runtime_error(tjGetErrorStr2(encoder));
    std::string bytes(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(encoder);
    return bytes;
}

static std::string little(uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 255);
    return text;
}

std::string withExif(const std::string& jpeg, uint32_t denominator, uint32_t isoType,
                     uint32_t iso) {
    const auto entry = [](uint32_t tag, uint32_t type, uint32_t value) {
        return little(tag, 2) + little(type, 2) + little(1, 4) + little(value, 4);
    };
    const std::string tiff =
        "II" + little(42, 2) + little(8, 4) + little(1, 2) + entry(0x8769, 4, 26) + little(0, 4) +
        little(3, 2) + entry(0x829a, 5, 68) + entry(0x8827, isoType, iso) + entry(0x9204, 10, 76) +
        little(0, 4) + little(1, 4) + little(denominator, 4) + little(0xffffffff, 4) + little(2, 4);
    const std::string block = std::string("Exif\0\0", 6) + tiff;
    const auto length = static_cast<uint32_t>(block.size() + 2);
    return jpeg.substr(0, 2) + "\xff\xe1" + static_cast<char>(length >> 8) +
           static_cast<char>(length & 255) + block + jpeg.substr(2);
}

}  // namespace tooltest
