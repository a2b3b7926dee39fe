// Image files of a tree, read as pictures.
#pragma once

#include "tools/console/Console.h"
#include "tools/picture/Picture.h"

#include <cstdint>
#include <string>

namespace tyksim {

/// An image file cannot be read. what() names the path and the reason, reason() only that.
class NoPicture : public Failure {
public:
    NoPicture(const std::string& path, const std::string& reason);
    const std::string& reason() const { return reason_; }

private:
    std::string reason_;
};

/// An image file open for reading. Whatever its length, it is a picture: what the file lacks is
/// black, and what it has beyond the picture is left out. One object serves one thread.
class PictureFile {
public:
    /// Opens the file at `path`, which must be a regular one. Throws NoPicture when that does not
    /// work, when it is empty, or when the layout's sides are none.
    PictureFile(std::string path, const PictureLayout& layout);
    ~PictureFile();
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;

    const PictureLayout& layout() const { return layout_; }
    uint64_t bytes() const { return bytes_; }  ///< length of the file when it was opened

    /// The file ends before a dump of the picture does.
    bool isShort() const { return bytes_ < layout_.dumpedBytes(); }
    /// The file goes on behind the picture.
    bool isLong() const { return bytes_ > layout_.bytes(); }
    /// Chroma bytes that a dump leaves out of a picture with an odd side, and this file lacks.
    uint64_t notDumped() const;

    /// The picture in strips, read as they are asked for. Valid as long as this object. Its
    /// rows() throws NoPicture when the file cannot be read.
    PictureSource source();

    /// All of it. Valid until the source's rows() are asked for.
    Picture whole();

private:
    Picture rows(int first, int rows);
    /// Reads what the file has of `size` bytes from `offset` and fills up the rest.
    void read(uint8_t* out, size_t size, uint64_t offset, uint8_t filling);

    std::string path_;
    PictureLayout layout_;
    int descriptor_ = -1;
    uint64_t bytes_ = 0;
    SampleBuffer buffer_;
};

/// Why no picture of this size is read; "" for a size that is.
std::string sizeProblem(int width, int height);

}  // namespace tyksim
