#include "tools/camera/PngPhoto.h"

#include "tools/camera/ExifFacts.h"
#include "tools/console/Failures.h"
#include "tools/picture/Picture.h"

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <libyuv/convert.h>
#include <new>
#include <png.h>
#include <string_view>

namespace tyksim {

namespace {

constexpr size_t kSignatureBytes = 8;
constexpr std::string_view kExifPrefix{"Exif\0\0", 6};
constexpr size_t kRgb = 3;   ///< bytes of a pixel
constexpr size_t kRgba = 4;  ///< with opacity

/// The data for decoding a file. libpng leaves its functions by a jump, so no object with a
/// destructor may be made between two of its calls; all objects are here.
struct Job {
    const std::vector<uint8_t>* file = nullptr;
    size_t taken = 0;
    std::string reason;  ///< why it failed
    int width = 0;
    int height = 0;
    size_t pixelBytes = 0;
    std::vector<uint8_t> pixels;
    std::vector<uint8_t*> rows;
    std::vector<uint8_t> exif;
};

/// libpng's two objects.
struct Decoder {
    explicit Decoder(Job& job);
    ~Decoder() { png_destroy_read_struct(&png, &info, nullptr); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    png_structp png = nullptr;
    png_infop info = nullptr;
};

Job& jobOf(png_structp png) {
    return *static_cast<Job*>(png_get_error_ptr(png));
}

[[noreturn]] void onError(png_structp png, png_const_charp message) {
    try {
        jobOf(png).reason = message;
    } catch (const std::bad_alloc&) {
        jobOf(png).reason.clear();
    }
    png_longjmp(png, 1);
}

/// Ignores warnings: they concern unused times, profiles and texts.
void onWarning(png_structp /*png*/, png_const_charp /*message*/) {}

void onRead(png_structp png, png_bytep out, size_t size) {
    Job& job = *static_cast<Job*>(png_get_io_ptr(png));
    if (size > job.file->size() - job.taken) png_error(png, "the file ends before the picture");
    std::memcpy(out, job.file->data() + job.taken, size);
    job.taken += size;
}

Decoder::Decoder(Job& job)
    : png(png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, onError, onWarning)) {
    if (png) info = png_create_info_struct(png);
}

/// Converts all pixels to 8 bits of red, green and blue, and of opacity if the file has it.
void askForPixels(png_structp png, png_infop info) {
    png_set_expand(png);
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
}

void takeExif(png_structp png, png_infop info, Job& job) {
    png_uint_32 size = 0;
    png_bytep bytes = nullptr;
    if (png_get_eXIf_1(png, info, &size, &bytes) == 0) return;
    job.exif.assign(kExifPrefix.begin(), kExifPrefix.end());
    job.exif.insert(job.exif.end(), bytes, bytes + size);
}

void makeRoom(Job& job) {
    const size_t rowBytes = job.pixelBytes * static_cast<size_t>(job.width);
    job.pixels.resize(rowBytes * static_cast<size_t>(job.height));
    for (int y = 0; y < job.height; ++y) {
        job.rows.push_back(job.pixels.data() + rowBytes * static_cast<size_t>(y));
    }
}

/// Returns false on failure.
bool decode(Job& job, png_structp png, png_infop info) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT(cert-err52-cpp): libpng requires it
    png_set_user_limits(png, kMaxWidth, kMaxHeight);
    png_set_read_fn(png, &job, onRead);
    png_read_info(png, info);
    askForPixels(png, info);
    job.width = static_cast<int>(png_get_image_width(png, info));
    job.height = static_cast<int>(png_get_image_height(png, info));
    job.pixelBytes = png_get_channels(png, info);
    makeRoom(job);
    png_read_image(png, job.rows.data());
    png_read_end(png, info);
    takeExif(png, info, job);
    return true;
}

/// Removes the opacity from the pixels; returns false if a pixel is not opaque.
bool dropOpacity(Job& job) {
    if (job.pixelBytes == kRgb) return true;
    const size_t count = job.pixels.size() / kRgba;
    uint8_t* const pixels = job.pixels.data();
    for (size_t i = 0; i < count; ++i) {
        if (pixels[kRgba * i + kRgb] != UINT8_MAX) return false;
        std::memmove(pixels + kRgb * i, pixels + kRgba * i, kRgb);
    }
    return true;
}

Nv21Image toImage(const Job& job) {
    SampleBuffer buffer;
    const NewPicture made(buffer, job.width, job.height);
    const int pairs = made.picture.u.width;
    libyuv::RAWToJ420(job.pixels.data(), static_cast<int>(kRgb) * job.width, made.y, job.width,
                      made.u, pairs, made.v, pairs, job.width, job.height);
    Nv21Image image(job.width, job.height);
    toNv21(made.picture, image.bytes.data());
    return image;
}

}  // namespace

bool isPng(const std::vector<uint8_t>& file) {
    return file.size() >= kSignatureBytes && png_sig_cmp(file.data(), 0, kSignatureBytes) == 0;
}

Photo readPng(const std::vector<uint8_t>& file, const std::string& path) {
    Job job;
    job.file = &file;
    const Decoder decoder(job);
    if (!decoder.info) throw std::bad_alloc();
    if (!decode(job, decoder.png, decoder.info)) {
        fail({path, "a complete PNG picture", "", job.reason});
    }
    if (!dropOpacity(job)) {
        fail({path, "a picture without transparent pixels", "some",
              "convert it with ffmpeg -pix_fmt rgb24"});
    }
    return {toImage(job), readExifFacts(job.exif)};
}

}  // namespace tyksim
