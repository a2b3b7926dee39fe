// Owns objects of libexif.
#pragma once

#include <libexif/exif-data.h>

#include <memory>

namespace tyksim {

struct ExifRelease {
    void operator()(ExifData* data) const { exif_data_unref(data); }
    void operator()(ExifEntry* entry) const { exif_entry_unref(entry); }
};

/// Holds one reference to ExifData or an ExifEntry.
template <typename Object>
using ExifPointer = std::unique_ptr<Object, ExifRelease>;

}  // namespace tyksim
