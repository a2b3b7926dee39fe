// Reads image files of a tree as pictures. All reading of samples is here.
#pragma once

#include "tags/Problem.h"
#include "tools/console/Console.h"
#include "tools/picture/Picture.h"
#include "tree/read/RegularFile.h"

#include <cstdint>
#include <string>

namespace tyksim {

/// An image file cannot be read. what() names the path and the reason.
class NoPicture : public Failure {
public:
    NoPicture(const std::string& path, const std::string& reason);
    const std::string& path() const { return path_; }
    const std::string& reason() const { return reason_; }

private:
    std::string path_;
    std::string reason_;
};

/// Rows of a picture as stored in its file, with gaps. Missing bytes are filled in: black luma,
/// chroma without colour.
struct StoredRows {
    const uint8_t* luma = nullptr;
    const uint8_t* chroma = nullptr;  ///< pairs in the layout's order
    size_t lumaBytes = 0;             ///< from the file; the rest is filled in
    size_t chromaBytes = 0;           ///< from the file; the rest is filled in
};

/// The planes to read.
struct WantedPlanes {
    bool luma = true;
    bool chroma = true;
};

/// An image file open for reading. A file of any length gives a picture: missing samples are black
/// and without colour, and bytes after the picture are ignored. Planes and rows are valid until the
/// next operation that reads. One thread at a time uses an object.
class PictureFile {
public:
    /// Opens the regular file at `path`, which may be empty. Throws NoPicture when the file cannot
    /// be opened, is not a regular file, or when the layout's size is invalid.
    PictureFile(std::string path, const PictureLayout& layout);

    const PictureLayout& layout() const { return layout_; }
    /// Length of the file at the time of opening.
    uint64_t bytes() const { return file_.size(); }
    /// The numbers of samples in the file.
    SampleCounts samples() const { return layout_.samplesIn(bytes()); }

    /// Throws NoPicture when the file is empty.
    void requireSamples() const;

    /// Whether the file is shorter than a dump of the picture.
    bool isShort() const { return bytes() < layout_.dumpedBytes(); }
    /// Whether the file is longer than the picture.
    bool isLong() const { return bytes() > layout_.bytes(); }
    /// The number of chroma bytes that a dump omits for a picture with an odd side and that this
    /// file does not have.
    uint64_t notDumped() const;

    /// The picture in strips, read on request. Valid as long as this object. Its rows() throws
    /// NoPicture when the file cannot be read.
    PictureSource source();

    /// One strip, with the conditions of PictureSource. Unwanted planes are not read and have no
    /// rows. Throws NoPicture when the file cannot be read.
    Picture rows(int first, int rows, WantedPlanes wanted = {});

    /// The whole picture. Throws NoPicture when the file cannot be read.
    Picture whole();

    /// Rows `first` to `first + rows - 1`, with the conditions of PictureSource, without splitting
    /// chroma into planes. Unwanted planes have no bytes. Throws NoPicture when the file cannot be
    /// read.
    StoredRows storedRows(int first, int rows, WantedPlanes wanted = {});

    /// Reads up to `size` bytes from `offset` on and returns their number. Throws NoPicture when
    /// the file cannot be read.
    size_t read(uint8_t* out, size_t size, uint64_t offset) const;

private:
    std::string path_;
    PictureLayout layout_;
    tyktree::RegularFile file_;
    SampleBuffer stored_;
    SampleBuffer chroma_;
};

/// Succeeds if pictures of this size are supported. The problem has only a reason.
tyktags::Status checkPictureSize(int width, int height);

}  // namespace tyksim
