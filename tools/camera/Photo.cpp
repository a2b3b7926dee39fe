#include "tools/camera/Photo.h"

#include "tools/camera/PngPhoto.h"
#include "tools/console/Console.h"
#include "tools/console/Failures.h"
#include "tools/files/Files.h"
#include "tree/read/Escape.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <memory>
#include <new>

namespace tyksim {

namespace {

constexpr uint64_t kMaxFileBytes = uint64_t{1} << 30;
constexpr uint8_t kNoColour = 128;

struct HandleRelease {
    void operator()(void* handle) const { tjDestroy(handle); }
};
using Decoder = std::unique_ptr<void, HandleRelease>;

/// One component as the file stores it.
struct Plane {
    int stride = 0;
    std::vector<uint8_t> samples;

    const uint8_t* row(int y) const {
        return samples.data() + static_cast<size_t>(y) * static_cast<size_t>(stride);
    }
};

struct Header {
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colourSpace = 0;
};

std::string reasonOf(const Decoder& decoder, const std::string& path) {
    return fmt::format("{}: expected a complete JPEG photograph, found: {}", tyktree::escaped(path),
                       tjGetErrorStr2(decoder.get()));
}

Header readHeader(const Decoder& decoder, const std::vector<uint8_t>& jpeg,
                  const std::string& path) {
    Header header;
    if (tjDecompressHeader3(decoder.get(), jpeg.data(), jpeg.size(), &header.width, &header.height,
                            &header.subsampling, &header.colourSpace) != 0) {
        throw Failure(reasonOf(decoder, path));
    }
    // For a file that ends before the picture's header, the decoder returns tables and no error.
    if (header.width < 1 || header.height < 1) {
        throw Failure(
            fmt::format("{}: expected a complete JPEG photograph, found a header that breaks off",
                        tyktree::escaped(path)));
    }
    if (header.width > kMaxWidth || header.height > kMaxHeight) {
        throw Failure(fmt::format("{}: expected at most {}x{} pixels, found {}x{}",
                                  tyktree::escaped(path), kMaxWidth, kMaxHeight, header.width,
                                  header.height));
    }
    if (header.colourSpace != TJCS_YCbCr && header.colourSpace != TJCS_GRAY) {
        const char* const found = header.colourSpace == TJCS_RGB ? "RGB" : "CMYK";
        throw Failure(fmt::format("{}: expected a photograph in YCbCr or gray, found {}",
                                  tyktree::escaped(path), found));
    }
    return header;
}

/// Decodes the components without conversion to RGB. A warning counts as an error, because the
/// decoder makes up the missing part of a damaged file, which is useless for tuning.
std::array<Plane, 3> decodePlanes(const Decoder& decoder, const std::vector<uint8_t>& jpeg,
                                  const Header& header, const std::string& path) {
    std::array<Plane, 3> planes;
    std::array<unsigned char*, 3> addresses{};
    std::array<int, 3> strides{};
    const int count = header.subsampling == TJSAMP_GRAY ? 1 : 3;
    for (int i = 0; i < count; ++i) {
        Plane& plane = planes[static_cast<size_t>(i)];
        plane.stride = tjPlaneWidth(i, header.width, header.subsampling);
        plane.samples.resize(
            tjPlaneSizeYUV(i, header.width, plane.stride, header.height, header.subsampling));
        addresses[static_cast<size_t>(i)] = plane.samples.data();
        strides[static_cast<size_t>(i)] = plane.stride;
    }
    if (tjDecompressToYUVPlanes(decoder.get(), jpeg.data(), jpeg.size(), addresses.data(),
                                header.width, strides.data(), header.height,
                                TJFLAG_LIMITSCANS) != 0) {
        throw Failure(reasonOf(decoder, path));
    }
    return planes;
}

/// Converts a chroma component to one sample per 2 x 2 pixels: the mean of the four pixels'
/// samples. For a 4:2:0 file that is the sample itself.
void placeChroma(const Plane& plane, int subsampling, int offset, Nv21Image& image) {
    const int across = tjMCUWidth[subsampling] / 8;
    const int down = tjMCUHeight[subsampling] / 8;
    for (int y = 0; y < chromaLength(image.height); ++y) {
        const uint8_t* const upper = plane.row(2 * y / down);
        const uint8_t* const lower = plane.row(std::min(2 * y + 1, image.height - 1) / down);
        uint8_t* out = image.chromaRow(y) + offset;
        for (int x = 0; x < chromaLength(image.width); ++x, out += 2) {
            const int left = 2 * x / across;
            const int right = std::min(2 * x + 1, image.width - 1) / across;
            const int sum = upper[left] + upper[right] + lower[left] + lower[right];
            *out = static_cast<uint8_t>((sum + 2) / 4);
        }
    }
}

Nv21Image interleave(const std::array<Plane, 3>& planes, const Header& header) {
    Nv21Image image(header.width, header.height);
    for (int y = 0; y < image.height; ++y) {
        std::copy_n(planes[0].row(y), image.width, image.lumaRow(y));
    }
    if (header.subsampling == TJSAMP_GRAY) {
        std::fill_n(image.chromaRow(0), image.chromaRowBytes() * image.chromaRows(), kNoColour);
    } else {
        placeChroma(planes[2], header.subsampling, 0, image);
        placeChroma(planes[1], header.subsampling, 1, image);
    }
    return image;
}

/// Refuses a file that is not a photograph, with the option or the command for it.
void requireJpeg(const std::vector<uint8_t>& file, const std::string& path) {
    constexpr std::string_view kJpeg = "\xff\xd8";
    constexpr std::string_view kVideo = "YUV4MPEG2";
    const auto begins = [&file](std::string_view with) {
        return file.size() >= with.size() &&
               std::equal(with.begin(), with.end(), file.begin(),
                          [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; });
    };
    if (begins(kJpeg)) return;
    if (begins(kVideo)) fail({path, "a JPEG or PNG picture", "a video", "--y4m takes it"});
    fail({path, "a JPEG or PNG picture", "something else",
          "ffmpeg -i FILE -pix_fmt yuv420p -f yuv4mpegpipe - | tyksim record ROOT --y4m - takes "
          "what ffmpeg reads"});
}

}  // namespace

Photo readPhoto(const std::string& path) {
    const std::vector<uint8_t> jpeg = readFile(path, kMaxFileBytes);
    if (isPng(jpeg)) return readPng(jpeg, path);
    requireJpeg(jpeg, path);
    const Decoder decoder(tjInitDecompress());
    if (!decoder) throw std::bad_alloc();
    const Header header = readHeader(decoder, jpeg, path);
    return {interleave(decodePlanes(decoder, jpeg, header, path), header), readExifFacts(jpeg)};
}

}  // namespace tyksim
