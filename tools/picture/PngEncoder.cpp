#include "tools/console/Console.h"
#include "tools/picture/Encoders.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdlib>
#include <exception>
#include <fmt/format.h>
#include <functional>
#include <new>
#include <png.h>

namespace tyksim {

namespace {

// On photographs this takes a third of the time of zlib's default and gives a twentieth more bytes.
constexpr int kCompression = 3;
constexpr int kRowsAtOnce = 16;

/// The prefix of EXIF data, which a PNG file does not have.
constexpr size_t kExifPrefix = 6;

/// The picture to write, and the output.
struct Job {
    int width = 0;
    int height = 0;
    int colourType = PNG_COLOR_TYPE_GRAY;
    const std::vector<uint8_t>* palette = nullptr;
    const std::vector<uint8_t>* exif = nullptr;
    std::function<const uint8_t*(int row)> row;
    std::string* file = nullptr;
    std::exception_ptr error;
};

/// Runs one of our functions that libpng calls. No exception may pass through libpng.
template <typename Step>
void guarded(png_structp png, Step step) {
    try {
        step();
        return;
    } catch (...) {
        static_cast<Job*>(png_get_error_ptr(png))->error = std::current_exception();
    }
    png_longjmp(png, 1);
}

void onError(png_structp png, png_const_charp message) {
    guarded(png, [message] { throw Failure(fmt::format("PNG: {}", message)); });
    std::abort();  // not reached: guarded() has jumped; libpng declares this function noreturn
}

void onWarning(png_structp /*png*/, png_const_charp /*message*/) {}

void onBytes(png_structp png, png_bytep bytes, size_t size) {
    auto* const job = static_cast<Job*>(png_get_io_ptr(png));
    guarded(png, [=] { job->file->append(reinterpret_cast<const char*>(bytes), size); });
}

void onFlush(png_structp /*png*/) {}

void describe(png_structp png, png_infop info, const Job& job) {
    png_set_IHDR(png, info, static_cast<png_uint_32>(job.width),
                 static_cast<png_uint_32>(job.height), 8, job.colourType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, kCompression);
    const bool palette = job.colourType == PNG_COLOR_TYPE_PALETTE;
    png_set_filter(png, PNG_FILTER_TYPE_BASE, palette ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    if (palette) {
        static_assert(sizeof(png_color) == 3, "a palette's entry is its three bytes");
        png_set_PLTE(png, info, reinterpret_cast<png_const_colorp>(job.palette->data()),
                     static_cast<int>(job.palette->size() / 3));
    }
}

/// libpng's own function would put it at the end of the file, where some readers do not look.
void writeExif(png_structp png, const std::vector<uint8_t>& exif) {
    static constexpr std::array<png_byte, 5> kName = {'e', 'X', 'I', 'f', 0};
    if (exif.size() <= kExifPrefix) return;
    png_write_chunk(png, kName.data(), exif.data() + kExifPrefix, exif.size() - kExifPrefix);
}

/// Returns false on failure. No object with a destructor is alive across the jump.
bool write(Job& job, png_structp png, png_infop info) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT(cert-err52-cpp): libpng requires it
    png_set_write_fn(png, &job, onBytes, onFlush);
    describe(png, info, job);
    png_write_info(png, info);
    writeExif(png, *job.exif);
    for (int y = 0; y < job.height; ++y) {
        const uint8_t* row = nullptr;
        guarded(png, [&row, &job, y] { row = job.row(y); });
        png_write_row(png, row);
    }
    png_write_end(png, info);
    return true;
}

void encodeTo(std::string& file, Job& job) {
    file.clear();
    job.file = &file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, onError, onWarning);
    if (!png) throw std::bad_alloc();
    png_infop info = png_create_info_struct(png);
    const bool written = info && write(job, png, info);
    png_destroy_write_struct(&png, &info);
    if (job.error) std::rethrow_exception(job.error);
    if (!written) throw std::bad_alloc();
}

Job jobOf(const Plane& plane, const std::vector<uint8_t>& exif) {
    Job job;
    job.width = plane.width;
    job.height = plane.height;
    job.exif = &exif;
    job.row = [&plane](int row) {
        return plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride);
    };
    return job;
}

}  // namespace

std::string_view PngEncoder::encode(const PictureSource& source, const ColourRule& rule,
                                    const std::vector<uint8_t>& exif) {
    const size_t rowBytes = 3 * static_cast<size_t>(source.width);
    uint8_t* const rows = rows_.reserve(rowBytes * kRowsAtOnce);
    Job job;
    job.width = source.width;
    job.height = source.height;
    job.colourType = PNG_COLOR_TYPE_RGB;
    job.exif = &exif;
    job.row = [&source, &rule, rows, rowBytes](int row) -> const uint8_t* {
        if (row % kRowsAtOnce == 0) {
            toRgb(source.rows(row, std::min(kRowsAtOnce, source.height - row)), rule, rows);
        }
        return rows + static_cast<size_t>(row % kRowsAtOnce) * rowBytes;
    };
    encodeTo(file_, job);
    return file_;
}

std::string_view PngEncoder::encodeRgb(const uint8_t* pixels, int width, int height,
                                       const std::vector<uint8_t>& exif) {
    const Plane rows{pixels, 3 * width, width, height};
    Job job = jobOf(rows, exif);
    job.colourType = PNG_COLOR_TYPE_RGB;
    encodeTo(file_, job);
    return file_;
}

std::string_view PngEncoder::encode(const Plane& plane, const std::vector<uint8_t>& exif) {
    Job job = jobOf(plane, exif);
    encodeTo(file_, job);
    return file_;
}

std::string_view PngEncoder::encode(const Plane& plane, const std::vector<uint8_t>& palette,
                                    const std::vector<uint8_t>& exif) {
    Job job = jobOf(plane, exif);
    job.colourType = PNG_COLOR_TYPE_PALETTE;
    job.palette = &palette;
    encodeTo(file_, job);
    return file_;
}

}  // namespace tyksim
