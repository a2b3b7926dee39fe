// The device in memory, for whatever makes the library's surroundings misbehave: the fault tests
// and every fuzzer.
//
// The library's sources are compiled in and the linker sends their calls here: the files below the
// device's two folders, memory, the platform. All of it belongs to one thread and is plain data
// that a test sets and reads. A broken expectation ends the process.
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

/// Ends the process with the place and the text of `condition` unless it holds.
#define FAKE_EXPECT(condition) \
    ((condition) ? static_cast<void>(0) : fake::fail(#condition, __FILE__, __LINE__))

namespace fake {

[[noreturn]] void fail(const char* condition, const char* file, int line);

const std::string kRoot = "/data/vendor/cameraserver/tykdump";
const std::string kPipeFolder = kRoot + "/pipe_1";
const std::string kTuning = "/vendor/firmware/my_mfnr5.2_tuning.xml";

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

    bool operator==(const File& other) const { return size == other.size && bytes == other.bytes; }
};

/// One tag of the service. getSize() gives `size`; a block's is that of its BlockParamDesc's block.
struct Tag {
    uint32_t id;
    const char* name;
    int size;
    bool block;
};
extern const std::vector<Tag> kTags;
const Tag* findTag(uint32_t id);

/// A tag's value in frame `sofId`: bytes below 0x40, which make numbers that every type of the
/// scene record can carry; of the name table of the tuning the name of kTuning.
File valueOf(const Tag& tag, uint32_t sofId);

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

enum class Call { none, access, close, fstat, limit, list, mkdir, open, read, write, allocate };

constexpr int kShort = -1;        ///< no error: reads and writes transfer half of what they should
constexpr int kEnd = -2;          ///< no error: they transfer nothing, as at the end of a file
constexpr int kBytes = -3;        ///< no call: there are `at` free bytes
constexpr int kDescriptors = -4;  ///< no call: there are `at` free descriptors
constexpr int kAllocations = 0;   ///< instead of files' calls: they give null or std::bad_alloc

/// Which calls fail while it is armed: the `at`-th (from 1) of its kind and, where `onwards`, every
/// one after it.
struct Fault {
    int error;  ///< an errno or one of the above; EINTR too is for reads and writes only
    bool onwards;
    long at;
};

/// What has failed.
struct Outcome {
    long hits = 0;           ///< calls that failed
    Call call = Call::none;  ///< the first of them
    size_t bytes = 0;        ///< of an allocation
    char path[512] = "";     ///< where there is one
};

/// What the parameter-set service does: `refuses` gives no value, `throws` a number, which is no
/// std::exception.
enum class Service { answers, refuses, throws };

struct Device {
    Device();  ///< with no files but the folders of the dump root and of pipe 1

    std::map<std::string, File> files;
    int64_t freeBytes = INT64_MAX;
    int freeDescriptors = 1024;
    int openHandles = 0;  ///< files, folders and listings
    int mostHandles = 0;  ///< that were open at a time
    int foldersOpened = 0;
    bool listsBackwards = false;
    size_t readBytes = SIZE_MAX;  ///< most that one read() gives of a file's head
    std::map<std::string, std::string> properties;
    Service service = Service::answers;
    std::vector<Published> published;
    std::vector<std::shared_ptr<PoolBuffer>> out;  ///< buffers not returned, oldest first
    size_t poolLimit = SIZE_MAX;
    const void* asked = nullptr;                ///< what the last buffer was to be stored in
    bool logThrows = false;                     ///< once a failure is to be logged
    std::vector<std::string>* story = nullptr;  ///< takes every line as "level function: text"
    std::vector<std::string> failures;          ///< the lines at level 1
};

Device& device();

/// Brings the device back to its first state, or to another.
void restart(Device state = Device());

/// Makes a file of `size` bytes, `bytes` over and over; without a size, of those bytes.
File& addFile(const std::string& path, const std::string& bytes, int64_t size = -1);
const File* findFile(const std::string& path);

/// The names in `folder` that are not folders, in the order in which a listing gives them.
std::vector<std::string> listedFiles(const std::string& folder);

/// Whether the pool has buffers of this size: neither negative nor above 1 MiB.
bool poolOffers(int width, int height);

/// Between the two, calls made by the library count and fail.
void arm(const Fault& fault);
Outcome disarm();

/// Allocations that were not freed yet: the library's and the test's own.
extern long liveAllocations;

/// Looks for leaks where a sanitizer can. At the end of the process it would be too late: the
/// manager drops its objects as storage, with what they hold.
void checkLeaks();

/// Whether a sanitizer knows of a byte there that may not be touched.
bool isPoisoned(const void* data, size_t size);

// For the device's own parts.

/// Keeps what is called meanwhile from counting: it is the device that calls.
class Outside {
public:
    Outside() { ++depth; }
    ~Outside() { --depth; }
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;

    static int depth;
};

/// Whether this call is to fail; errno says how.
bool fails(Call call, const char* path, size_t bytes = 0);

/// To be told of what the device writes for the library.
void noteWrite(const void* data, size_t size);

}  // namespace fake
