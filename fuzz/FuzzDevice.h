// The device that the fuzzers run the library on.
//
// Everything is in memory and belongs to the fuzzer's one thread: the files below the device's two
// folders, the parameter-set service, the buffer pool, the properties. The log formats nothing, but
// reads every string it is given. A broken expectation ends the process, which libFuzzer reports.
#pragma once

#include "core/PipelineSimulation.h"

#include <cstddef>
#include <cstdint>
#include <dirent.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// Ends the process with the place and the text of `condition` unless it holds.
#define FUZZ_EXPECT(condition) \
    ((condition) ? static_cast<void>(0) : fuzz::fail(#condition, __FILE__, __LINE__))

namespace fuzz {

[[noreturn]] void fail(const char* condition, const char* file, int line);

constexpr const char* kRoot = "/data/vendor/cameraserver/tykdump";
constexpr const char* kPipeFolder = "/data/vendor/cameraserver/tykdump/pipe_1";

/// A file or folder. The content of a file is `bytes` over and over up to `size`, nothing at all
/// where `bytes` is empty; of a written file only the first kKeptBytes are kept in `bytes`.
struct File {
    static constexpr size_t kKeptBytes = 1 << 16;
    std::string bytes;
    int64_t size = 0;
    unsigned char type = DT_REG;
    bool opens = true;

    /// Copies up to `count` bytes from position `at` and returns how many there were.
    size_t copy(int64_t at, void* to, size_t count) const;
};

/// One tag of the service. getSize() gives `size`; a block's is that of its BlockParamDesc's block.
struct Tag {
    unsigned int id;
    const char* name;
    int size;
    bool block;
};
extern const std::vector<Tag> kTags;
const Tag* findTag(unsigned int id);

/// A call of setParam() or setPsParam().
struct Published {
    unsigned int camId;
    int pipe;
    unsigned int sofId;
    unsigned int tag;
    bool byNode;        ///< by setPsParam()
    std::string bytes;  ///< the head of a fixed-size value
    BlockParamDesc block;
};

/// A buffer of the pool, its pixels no byte longer than asked for.
struct PoolBuffer {
    tyk::Buffer buffer;
    tyk::ImageDescriptor image;
    std::unique_ptr<unsigned char[]> pixels;
};

struct Device {
    std::map<std::string, File> files;
    bool listsBackwards = false;
    size_t readBytes = SIZE_MAX;  ///< most that one read() gives of a file's head
    int openHandles = 0;          ///< files and listings
    std::string mfnrVersion;      ///< empty: unset
    unsigned char fill = 0;       ///< every byte of every fixed-size value
    std::vector<Published> published;
    std::vector<std::unique_ptr<PoolBuffer>> out;  ///< buffers not returned, oldest first
    size_t poolLimit = SIZE_MAX;
};

/// The device; restart() ends a run: it brings the device back to its first state, with no files
/// but the folders of the dump root and of pipe 1.
Device& device();
void restart();

/// Makes a file of `size` bytes, `bytes` over and over.
File& addFile(const std::string& path, const std::string& bytes, int64_t size);
inline File& addFile(const std::string& path, const std::string& bytes) {
    return addFile(path, bytes, static_cast<int64_t>(bytes.size()));
}
const File* findFile(const std::string& path);

/// To be told of what the device writes for the library.
void noteWrite(const void* data, size_t size);

/// The names in `folder` that are not folders, in the order in which a listing gives them.
std::vector<std::string> listedFiles(const std::string& folder);

/// Whether the pool has buffers of this size: neither negative nor above 1 MiB.
bool poolOffers(int width, int height);

/// The object of pipe 1, initialised for `mode` when it is made.
PipelineSimulation& simulation(int mode);

/// Takes the next line off `text`, without its end.
std::string takeLine(std::string& text);

}  // namespace fuzz
