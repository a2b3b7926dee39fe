// A device in memory, for the fault tests and the fuzzers.
//
// The library's sources are compiled in, and the linker redirects their calls to this device: files
// below the device's two folders, memory, the platform. Only one thread may use it. Its state is
// plain data that a test sets and reads. A failed expectation ends the process.
#pragma once

#include "core/PipelineSimulation.h"

#include <climits>

#include <cstddef>
#include <cstdint>
#include <dirent.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// Ends the process with the source line and the text of `condition` if it is false.
#define FAKE_EXPECT(condition) \
    ((condition) ? static_cast<void>(0) : fake::fail(#condition, __FILE__, __LINE__))

namespace fake {

[[noreturn]] void fail(const char* condition, const char* file, int line);

const std::string kRoot = "/data/vendor/cameraserver/tykdump";
const std::string kPipeFolder = kRoot + "/pipe_1";
const std::string kTuning = "/vendor/firmware/my_mfnr5.2_tuning.xml";

/// A file or folder. A file's content repeats `bytes` up to `size`; it is empty if `bytes` is
/// empty. Of a written file, `bytes` keeps only the first kKeptBytes.
struct File {
    static constexpr size_t kKeptBytes = 1 << 16;
    std::string bytes;
    int64_t size = 0;
    unsigned char type = DT_REG;
    bool opens = true;

    /// Copies up to `count` bytes from position `at` and returns their number.
    size_t copy(int64_t at, void* to, size_t count) const;

    bool operator==(const File& other) const { return size == other.size && bytes == other.bytes; }
};

/// One tag of the service. getSize() returns `size`; for a block tag that is the size of the block.
struct Tag {
    uint32_t id;
    const char* name;
    int size;
    bool block;
};
extern const std::vector<Tag> kTags;
const Tag* findTag(uint32_t id);

/// A tag's value in frame `sofId`: bytes below 0x40, whose numbers survive in every type of the
/// scene record; for the tuning's name table the name of kTuning.
File valueOf(const Tag& tag, uint32_t sofId);

/// A call of setParam() or setPsParam().
struct Published {
    unsigned int camId;
    int pipe;
    unsigned int sofId;
    unsigned int tag;
    bool byNode;        ///< true: setPsParam()
    std::string bytes;  ///< the head of a fixed-size value
    BlockParamDesc block;
};

/// A buffer of the pool, with exactly the requested bytes.
struct PoolBuffer {
    tyk::Buffer buffer;
    tyk::ImageDescriptor image;
    std::unique_ptr<unsigned char[]> pixels;
};

enum class Call { none, access, close, fstat, limit, list, mkdir, open, read, write, allocate };

constexpr int kShort = -1;        ///< no error: reads and writes transfer half the bytes
constexpr int kEnd = -2;          ///< no error: they transfer no bytes, as at the end of a file
constexpr int kBytes = -3;        ///< no call fails: the disk has `at` free bytes
constexpr int kDescriptors = -4;  ///< no call fails: there are `at` free descriptors
constexpr int kAllocations = 0;   ///< allocations fail, with null or std::bad_alloc

/// The calls that fail while the fault is armed: the `at`-th (from 1) of its kind and, if
/// `onwards`, all later ones.
struct Fault {
    int error;  ///< an errno or one of the above; EINTR applies to reads and writes only
    bool onwards;
    long at;
};

/// The failed calls.
struct Outcome {
    long hits = 0;           ///< calls that failed
    Call call = Call::none;  ///< the first of them
    size_t bytes = 0;        ///< size of a failed allocation
    char path[512] = "";     ///< "" if the call has none
};

/// The behaviour of the parameter-set service: `refuses` returns no value, `throws` throws a
/// number, which is not a std::exception.
enum class Service { answers, refuses, throws };

struct Device {
    Device();  ///< with the folders of the dump root and of pipe 1, and no files

    std::map<std::string, File> files;
    int64_t freeBytes = INT64_MAX;
    int freeDescriptors = 1024;
    int openHandles = 0;  ///< files, folders and listings
    int mostHandles = 0;  ///< most open handles at a time
    int foldersOpened = 0;
    bool listsBackwards = false;
    size_t readBytes = SIZE_MAX;  ///< limit of one read() at the head of a file
    std::map<std::string, std::string> properties;
    Service service = Service::answers;
    std::vector<Published> published;
    std::vector<std::shared_ptr<PoolBuffer>> out;  ///< buffers not returned, oldest first
    size_t poolLimit = SIZE_MAX;
    const void* asked = nullptr;  ///< the argument that was to receive the last buffer
    bool logThrows = false;       ///< the log throws at a failure
    std::vector<std::string>* story = nullptr;  ///< takes every line as "level function: text"
    std::vector<std::string> failures;          ///< the lines at level 1
};

Device& device();

/// Restores the device's first state, or sets another.
void restart(Device state = Device());

/// Makes a file that repeats `bytes` up to `size`; by default it has `bytes` once.
File& addFile(const std::string& path, const std::string& bytes, int64_t size = -1);
const File* findFile(const std::string& path);

/// The names in `folder` that are not folders, in the order of a listing.
std::vector<std::string> listedFiles(const std::string& folder);

/// Whether the pool has buffers of this size: not negative and at most 1 MiB.
bool poolOffers(int width, int height);

/// Between arm() and disarm(), calls of the library count and fail.
void arm(const Fault& fault);
Outcome disarm();

/// The number of allocations of library and test that are not freed yet.
extern long liveAllocations;

/// Looks for leaks if a sanitizer can. At the end of the process it would be too late: the manager
/// releases its objects without destructors, so their contents leak.
void checkLeaks();

/// Whether a sanitizer knows of an invalid byte in this memory.
bool isPoisoned(const void* data, size_t size);

// For the implementation of the device.

/// During its lifetime calls do not count, because the device makes them.
class Outside {
public:
    Outside() { ++depth; }
    ~Outside() { --depth; }
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;

    static int depth;
};

/// Whether this call must fail; sets errno.
bool fails(Call call, const char* path, size_t bytes = 0);

/// The device reports memory that it writes for the library.
void noteWrite(const void* data, size_t size);

}  // namespace fake
