// Image files of a tree, read as pictures: the one place that reads their samples.
#pragma once

#include "tools/console/Console.h"
#include "tools/picture/Picture.h"
#include "tree/read/RegularFile.h"

#include <cstdint>
#include <string>

namespace tyksim {

/// An image file cannot be read. what() names the path and the reason, reason() only the reason.
class NoPicture : public Failure {
public:
    NoPicture(const std::string& path, const std::string& reason);
    const std::string& reason() const { return reason_; }

private:
    std::string reason_;
};

/// Rows of a picture as they lie in its file, gaps included. Bytes that the file lacks are filled
/// in: luma is black, chroma has no colour.
struct StoredRows {
    const uint8_t* luma = nullptr;
    const uint8_t* chroma = nullptr;  ///< pairs in the layout's order
    size_t lumaBytes = 0;             ///< that the file has; the rest is filled in
    size_t chromaBytes = 0;           ///< that the file has; the rest is filled in
};

/// An image file open for reading. Whatever its length, it is a picture: samples that the file
/// lacks are black and without colour, and bytes behind the picture are left out. Planes and rows
/// that an operation returns are valid until the next operation that reads. One object serves one
/// thread.
class PictureFile {
public:
    /// Opens the regular file at `path`, which may be empty. Throws NoPicture when the file cannot
    /// be opened, is no regular file, or when the layout's size is none that pictures have.
    PictureFile(std::string path, const PictureLayout& layout);

    const PictureLayout& layout() const { return layout_; }
    /// Length of the file when it was opened.
    uint64_t bytes() const { return file_.size(); }
    /// Samples that the file has.
    SampleCounts samples() const { return layout_.samplesIn(bytes()); }

    /// Throws NoPicture when the file is empty.
    void requireSamples() const;

    /// The file ends before a dump of the picture does.
    bool isShort() const { return bytes() < layout_.dumpedBytes(); }
    /// The file goes on behind the picture.
    bool isLong() const { return bytes() > layout_.bytes(); }
    /// Chroma bytes that a dump leaves out of a picture with an odd side, and this file lacks.
    uint64_t notDumped() const;

    /// The picture in strips, read as they are asked for. Valid as long as this object. Its
    /// rows() throws NoPicture when the file cannot be read.
    PictureSource source();

    /// The whole picture. Throws NoPicture when the file cannot be read.
    Picture whole();

    /// Rows `first` to `first + rows - 1`, as PictureSource counts them, without splitting their
    /// chroma into planes. Throws NoPicture when the file cannot be read.
    StoredRows storedRows(int first, int rows);

    /// Reads up to `size` bytes from `offset` on and returns how many the file has. Throws
    /// NoPicture when the file cannot be read.
    size_t read(uint8_t* out, size_t size, uint64_t offset) const;

private:
    Picture rows(int first, int rows);

    std::string path_;
    PictureLayout layout_;
    tyktree::RegularFile file_;
    SampleBuffer stored_;
    SampleBuffer chroma_;
};

/// Why no picture of this size is read; "" for a size that is.
std::string sizeProblem(int width, int height);

}  // namespace tyksim
