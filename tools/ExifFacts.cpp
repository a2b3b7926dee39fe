#include "tools/ExifFacts.h"

#include <libexif/exif-data.h>

#include <algorithm>
#include <memory>

namespace tyksim {

namespace {

// The block of facts stands among the first segments of a file, each of at most 64 KiB.
constexpr size_t kSearchedBytes = size_t{1024} * 1024;

struct ExifRelease {
    void operator()(ExifData* data) const { exif_data_unref(data); }
};
using Exif = std::unique_ptr<ExifData, ExifRelease>;

/// The entry of `tag` when it has values of `format`, at least one, all within its data.
const ExifEntry* findEntry(const ExifData& exif, ExifTag tag, ExifFormat format) {
    for (const ExifIfd ifd : {EXIF_IFD_EXIF, EXIF_IFD_0}) {
        const ExifEntry* const entry = exif_content_get_entry(exif.ifd[ifd], tag);
        if (!entry || entry->format != format || !entry->data || entry->components < 1) continue;
        if (entry->size >= exif_format_get_size(format)) return entry;
    }
    return nullptr;
}

std::optional<uint64_t> exposureNs(const ExifData& exif, ExifByteOrder order) {
    const ExifEntry* const entry = findEntry(exif, EXIF_TAG_EXPOSURE_TIME, EXIF_FORMAT_RATIONAL);
    if (!entry) return std::nullopt;
    const ExifRational seconds = exif_get_rational(entry->data, order);
    if (seconds.numerator == 0 || seconds.denominator == 0) return std::nullopt;
    return uint64_t{seconds.numerator} * 1000000000U / seconds.denominator;
}

std::optional<uint32_t> iso(const ExifData& exif, ExifByteOrder order) {
    const ExifEntry* const entry = findEntry(exif, EXIF_TAG_ISO_SPEED_RATINGS, EXIF_FORMAT_SHORT);
    if (!entry) return std::nullopt;
    const uint32_t value = exif_get_short(entry->data, order);
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
    const Exif exif(exif_data_new_from_data(jpeg.data(), searched));
    if (!exif) return {};
    const ExifByteOrder order = exif_data_get_byte_order(exif.get());
    return {exposureNs(*exif, order), iso(*exif, order), biasEv(*exif, order)};
}

}  // namespace tyksim
