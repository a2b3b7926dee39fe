#include "tools/console/Console.h"
#include "tools/picture/Encoders.h"

// libjpeg's header does not declare FILE itself.
#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <exception>
#include <fmt/format.h>
#include <jpeglib.h>

namespace tyksim {

namespace {

// libjpeg takes planes sixteen rows of luma at a time, and reads rows to the end of their last
// block. TurboJPEG, which decodes photographs, would need whole planes in memory: with it, an
// export of large images takes four times the memory and one and a half times as long.
constexpr int kStripRows = 16;
constexpr int kBlock = 8;
constexpr size_t kMaxMarkerBytes = 65533;

/// Pointers to the rows of a strip, for one component.
using RowList = std::array<JSAMPROW, kStripRows>;

/// The data of one call of the encoder. libjpeg's objects are the first members, because its
/// functions return pointers to them.
struct Job {
    const PictureSource* source = nullptr;
    bool grey = false;
    int quality = 0;
    const std::vector<uint8_t>* exif = nullptr;
    SampleBuffer* padded = nullptr;
    std::string* file = nullptr;
    std::array<RowList, 3> rows{};
    jpeg_destination_mgr* destination = nullptr;
    std::exception_ptr error;
    std::jmp_buf stop{};
};

struct Errors {
    jpeg_error_mgr manager{};
    Job* job = nullptr;
};

struct Destination {
    jpeg_destination_mgr manager{};
    Job* job = nullptr;
    std::array<JOCTET, 65536> bytes;
};

Job& jobOf(j_common_ptr jpeg) {
    return *reinterpret_cast<Errors*>(jpeg->err)->job;
}

/// Runs one of our functions that libjpeg calls. No exception may pass through libjpeg.
template <typename Step>
void guarded(Job& job, Step step) {
    try {
        step();
        return;
    } catch (...) {
        job.error = std::current_exception();
    }
    std::longjmp(job.stop, 1);  // NOLINT(cert-err52-cpp): libjpeg requires it
}

void onError(j_common_ptr jpeg) {
    guarded(jobOf(jpeg), [jpeg] {
        std::array<char, JMSG_LENGTH_MAX> message{};
        jpeg->err->format_message(jpeg, message.data());
        throw Failure(fmt::format("JPEG: {}", message.data()));
    });
}

void onMessage(j_common_ptr /*jpeg*/) {}

void startOutput(j_compress_ptr jpeg) {
    auto* const to = reinterpret_cast<Destination*>(jpeg->dest);
    to->manager.next_output_byte = to->bytes.data();
    to->manager.free_in_buffer = to->bytes.size();
}

void store(j_compress_ptr jpeg, size_t size) {
    auto* const to = reinterpret_cast<Destination*>(jpeg->dest);
    guarded(*to->job, [to, size] {
        to->job->file->append(reinterpret_cast<const char*>(to->bytes.data()), size);
    });
    startOutput(jpeg);
}

boolean onFull(j_compress_ptr jpeg) {
    store(jpeg, reinterpret_cast<Destination*>(jpeg->dest)->bytes.size());
    return TRUE;
}

void endOutput(j_compress_ptr jpeg) {
    auto* const to = reinterpret_cast<Destination*>(jpeg->dest);
    store(jpeg, to->bytes.size() - to->manager.free_in_buffer);
}

void describe(jpeg_compress_struct& jpeg, const Job& job) {
    jpeg.image_width = static_cast<JDIMENSION>(job.source->width);
    jpeg.image_height = static_cast<JDIMENSION>(job.source->height);
    jpeg.input_components = job.grey ? 1 : 3;
    jpeg.in_color_space = job.grey ? JCS_GRAYSCALE : JCS_YCbCr;
    // Sets one chroma sample per 2 x 2 pixels.
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, job.quality, TRUE);
    jpeg.raw_data_in = TRUE;
}

/// Lists the rows of a strip's plane, each extended to `width` samples; the last column and row
/// fill the missing samples. `spare` is memory for extended rows.
void listRows(const Plane& plane, int width, int rows, uint8_t* spare, RowList& list) {
    for (int row = 0; row < rows; ++row) {
        const int from = std::min(row, plane.height - 1);
        const uint8_t* samples =
            plane.samples + static_cast<size_t>(from) * static_cast<size_t>(plane.stride);
        if (plane.width < width) {
            uint8_t* const longer = spare + static_cast<size_t>(row) * static_cast<size_t>(width);
            std::copy_n(samples, plane.width, longer);
            std::fill(longer + plane.width, longer + width, samples[plane.width - 1]);
            samples = longer;
        }
        // libjpeg does not change the rows that it compresses.
        list[static_cast<size_t>(row)] = const_cast<JSAMPROW>(samples);
    }
}

void listStrip(Job& job, int first, int rows, int blocks) {
    const Picture strip = job.source->rows(first, std::min(rows, job.source->height - first));
    const int width = blocks * kBlock;
    const size_t planeBytes = static_cast<size_t>(width) * static_cast<size_t>(rows);
    uint8_t* const spare = job.padded->reserve(3 * planeBytes);
    listRows(strip.y, width, rows, spare, job.rows[0]);
    if (job.grey) return;
    listRows(strip.u, width / 2, rows / 2, spare + planeBytes, job.rows[1]);
    listRows(strip.v, width / 2, rows / 2, spare + 2 * planeBytes, job.rows[2]);
}

/// Returns false when it was stopped. No object with a destructor is alive across the jump.
bool compress(Job& job, jpeg_compress_struct& jpeg) {
    if (setjmp(job.stop) != 0) return false;  // NOLINT(cert-err52-cpp): libjpeg requires it
    jpeg_create_compress(&jpeg);
    jpeg.dest = job.destination;
    describe(jpeg, job);
    jpeg_start_compress(&jpeg, TRUE);
    if (!job.exif->empty() && job.exif->size() <= kMaxMarkerBytes) {
        jpeg_write_marker(&jpeg, JPEG_APP0 + 1, job.exif->data(),
                          static_cast<unsigned int>(job.exif->size()));
    }
    const int rows = job.grey ? kBlock : kStripRows;
    const auto blocks = static_cast<int>(jpeg.comp_info[0].width_in_blocks);
    const int padded = job.grey ? blocks : blocks + blocks % 2;
    std::array<JSAMPARRAY, 3> planes = {job.rows[0].data(), job.rows[1].data(), job.rows[2].data()};
    while (jpeg.next_scanline < jpeg.image_height) {
        guarded(job, [&job, &jpeg, rows, padded] {
            listStrip(job, static_cast<int>(jpeg.next_scanline), rows, padded);
        });
        jpeg_write_raw_data(&jpeg, planes.data(), static_cast<JDIMENSION>(rows));
    }
    jpeg_finish_compress(&jpeg);
    return true;
}

void encodeJob(Job& job) {
    job.file->clear();
    Errors errors;
    errors.job = &job;
    Destination destination;
    destination.job = &job;
    job.destination = &destination.manager;
    destination.manager.init_destination = startOutput;
    destination.manager.empty_output_buffer = onFull;
    destination.manager.term_destination = endOutput;
    jpeg_compress_struct jpeg{};
    jpeg.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = onError;
    errors.manager.output_message = onMessage;
    const bool done = compress(job, jpeg);
    jpeg_destroy_compress(&jpeg);
    if (!done) std::rethrow_exception(job.error);
}

}  // namespace

std::string_view JpegEncoder::encode(const PictureSource& source,
                                     const std::vector<uint8_t>& exif) {
    return encode(source, false, exif);
}

std::string_view JpegEncoder::encode(const Plane& plane, const std::vector<uint8_t>& exif) {
    return encode(sourceOf({plane, {}, {}}), true, exif);
}

std::string_view JpegEncoder::encode(const PictureSource& source, bool grey,
                                     const std::vector<uint8_t>& exif) {
    Job job;
    job.source = &source;
    job.grey = grey;
    job.quality = quality_;
    job.exif = &exif;
    job.padded = &padded_;
    job.file = &file_;
    encodeJob(job);
    return file_;
}

}  // namespace tyksim
