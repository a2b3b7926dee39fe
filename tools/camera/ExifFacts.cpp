#include "tools/camera/ExifFacts.h"

#include "tools/picture/ExifPointer.h"

#include <algorithm>

namespace tyksim {

namespace {

// EXIF data are among the first segments of a file, each of at most 64 KiB.
constexpr size_t kSearchedBytes = size_t{1024} * 1024;

/// The entry of `tag` if it has at least one value of `format` and its data hold all of them; else
/// null.
const ExifEntry* findEntry(const ExifData& exif, ExifTag tag, ExifFormat format) {
    for (const ExifIfd ifd : {EXIF_IFD_EXIF, EXIF_IFD_0}) {
        const ExifEntry* const entry = exif_content_get_entry(exif.ifd[ifd], tag);
        if (!entry || entry->format != format || !entry->data || entry->components < 1) continue;
        if (entry->size >= exif_format_get_size(format)) return entry;
    }
    return nullptr;
}

/// A whole number in either of the two widths that cameras use; 0 if there is none.
uint32_t number(const ExifData& exif, ExifTag tag, ExifByteOrder order) {
    if (const ExifEntry* const entry = findEntry(exif, tag, EXIF_FORMAT_SHORT)) {
        return exif_get_short(entry->data, order);
    }
    const ExifEntry* const entry = findEntry(exif, tag, EXIF_FORMAT_LONG);
    return entry ? exif_get_long(entry->data, order) : 0;
}

std::optional<uint64_t> exposureNs(const ExifData& exif, ExifByteOrder order) {
    const ExifEntry* const entry = findEntry(exif, EXIF_TAG_EXPOSURE_TIME, EXIF_FORMAT_RATIONAL);
    if (!entry) return std::nullopt;
    const ExifRational seconds = exif_get_rational(entry->data, order);
    if (seconds.numerator == 0 || seconds.denominator == 0) return std::nullopt;
    return uint64_t{seconds.numerator} * 1000000000U / seconds.denominator;
}

/// A sensitivity too large for the first number is in one of three others.
std::optional<uint32_t> iso(const ExifData& exif, ExifByteOrder order) {
    constexpr uint32_t kBeyond = 65535;
    const uint32_t value = number(exif, EXIF_TAG_ISO_SPEED_RATINGS, order);
    if (value != 0 && value != kBeyond) return value;
    for (const ExifTag tag : {EXIF_TAG_RECOMMENDED_EXPOSURE_INDEX, EXIF_TAG_ISO_SPEED,
                              EXIF_TAG_STANDARD_OUTPUT_SENSITIVITY}) {
        const uint32_t larger = number(exif, tag, order);
        if (larger != 0) return larger;
    }
    if (value == 0) return std::nullopt;
    return value;
}

std::optional<float> biasEv(const ExifData& exif, ExifByteOrder order) {
    const ExifEntry* const entry =
        findEntry(exif, EXIF_TAG_EXPOSURE_BIAS_VALUE, EXIF_FORMAT_SRATIONAL);
    if (!entry) return std::nullopt;
    const ExifSRational ev = exif_get_srational(entry->data, order);
    if (ev.denominator == 0) return std::nullopt;
    return static_cast<float>(static_cast<double>(ev.numerator) / ev.denominator);
}

}  // namespace

ExifFacts readExifFacts(const std::vector<uint8_t>& jpeg) {
    const auto searched = static_cast<unsigned int>(std::min(jpeg.size(), kSearchedBytes));
    const ExifPointer<ExifData> exif(exif_data_new());
    if (!exif) return {};
    // Conversion to the standard's form would cut numbers to its width.
    exif_data_unset_option(exif.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_load_data(exif.get(), jpeg.data(), searched);
    const ExifByteOrder order = exif_data_get_byte_order(exif.get());
    return {exposureNs(*exif, order), iso(*exif, order), biasEv(*exif, order)};
}

}  // namespace tyksim
