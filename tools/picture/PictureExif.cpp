#include "tools/picture/PictureExif.h"

#include "tools/picture/ExifPointer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace tyksim {

namespace {

constexpr ExifByteOrder kOrder = EXIF_BYTE_ORDER_INTEL;
constexpr double kUnityIso = 100;

/// Adds an entry with `size` bytes of `format` to `ifd` and returns its memory.
unsigned char* addEntry(ExifData& exif, ExifIfd ifd, ExifTag tag, ExifFormat format,
                        size_t components) {
    const ExifPointer<ExifEntry> entry(exif_entry_new());
    if (!entry) throw std::bad_alloc();
    const size_t size = components * exif_format_get_size(format);
    entry->tag = tag;
    entry->format = format;
    entry->components = components;
    entry->size = static_cast<unsigned int>(size);
    // The entry releases it with free().
    entry->data = static_cast<unsigned char*>(std::calloc(std::max<size_t>(size, 1), 1));
    if (!entry->data) throw std::bad_alloc();
    exif_content_add_entry(exif.ifd[ifd], entry.get());
    return entry->data;
}

void addText(ExifData& exif, ExifIfd ifd, ExifTag tag, const std::string& words) {
    if (words.empty()) return;
    const size_t size = words.size() + 1;
    std::memcpy(addEntry(exif, ifd, tag, EXIF_FORMAT_ASCII, size), words.c_str(), size);
}

/// The time in a form that viewers show well: 1/125 if it is such a fraction, else in microseconds.
ExifRational exposureOf(uint64_t nanoseconds) {
    constexpr uint64_t second = 1000000000;
    constexpr uint64_t most = std::numeric_limits<uint32_t>::max();
    if (nanoseconds > 0 && nanoseconds <= second && second % nanoseconds == 0) {
        return {1, static_cast<ExifLong>(second / nanoseconds)};
    }
    if (nanoseconds <= most) return {static_cast<ExifLong>(nanoseconds), second};
    return {static_cast<ExifLong>(std::min(most, nanoseconds / 1000)), 1000000};
}

ExifSRational biasOf(double ev) {
    constexpr double steps = 1000;
    const double bounded = std::isfinite(ev) ? std::clamp(ev, -1e5, 1e5) : 0;
    return {static_cast<ExifSLong>(std::lround(bounded * steps)), static_cast<ExifSLong>(steps)};
}

/// The number in 16 bits; saturates.
ExifShort isoOf(double gain) {
    const double iso = std::isfinite(gain) ? gain * kUnityIso : 0;
    return static_cast<ExifShort>(std::lround(std::clamp(iso, 0.0, 65535.0)));
}

void addShot(ExifData& exif, const CaptureFacts& facts) {
    if (facts.exposureNs) {
        exif_set_rational(
            addEntry(exif, EXIF_IFD_EXIF, EXIF_TAG_EXPOSURE_TIME, EXIF_FORMAT_RATIONAL, 1), kOrder,
            exposureOf(*facts.exposureNs));
    }
    if (facts.gain) {
        exif_set_short(
            addEntry(exif, EXIF_IFD_EXIF, EXIF_TAG_ISO_SPEED_RATINGS, EXIF_FORMAT_SHORT, 1), kOrder,
            isoOf(*facts.gain));
    }
    if (facts.biasEv) {
        exif_set_srational(
            addEntry(exif, EXIF_IFD_EXIF, EXIF_TAG_EXPOSURE_BIAS_VALUE, EXIF_FORMAT_SRATIONAL, 1),
            kOrder, biasOf(*facts.biasEv));
    }
}

}  // namespace

std::vector<uint8_t> makeExif(const CaptureFacts& facts) {
    const ExifPointer<ExifData> exif(exif_data_new());
    if (!exif) throw std::bad_alloc();
    exif_data_set_byte_order(exif.get(), kOrder);
    addText(*exif, EXIF_IFD_0, EXIF_TAG_IMAGE_DESCRIPTION, facts.description);
    addText(*exif, EXIF_IFD_0, EXIF_TAG_SOFTWARE, facts.software);
    addText(*exif, EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL, facts.taken);
    addShot(*exif, facts);
    unsigned char* bytes = nullptr;
    unsigned int size = 0;
    exif_data_save_data(exif.get(), &bytes, &size);
    const std::unique_ptr<unsigned char, decltype(&std::free)> saved(bytes, &std::free);
    if (!saved) throw std::bad_alloc();
    return {bytes, bytes + size};
}

}  // namespace tyksim
