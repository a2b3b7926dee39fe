// The library's interface: records what a camera pipeline captures, and replays it.
//
// Words used throughout:
// - pipe: one processing path of the camera pipeline, named by a small integer
// - task: one run of recording; a folder of frame folders
// - frame: one capture request; a folder of parameter files and an image
// - request id: names a capture request
// - sof id (start of frame): names a sensor exposure
// - tag: names one tuning parameter of the parameter-set service
// - fixed-size: a parameter whose value is copied
// - block: a parameter whose value is passed by address
// - pool: tyk::BufferManager, the owner of the image buffers
//
// Threads: nothing here takes a lock except the making of the manager. One thread at a time may use
// an object; different threads may use objects of different pipes at once after each object was
// initialised. init() rewrites tables that all objects share, so no other operation may run
// meanwhile.
//
// Errors: a failed step writes a log line at level 1 and the frame goes on. No content of a dump
// tree or a configuration file makes an operation throw. The entry points that the pipeline calls
// per frame (dumpIfneed, both loadParam, loadParam2, loadParamAndImage) do not throw std::bad_alloc
// either: they log the failed allocation and end one step. A dump then misses parameters, a side
// record or the image, and keeps the files already written; a replay misses a side record or queues
// no frame. The other operations throw std::bad_alloc.
#pragma once

#include "core/BlockParamDesc.h"
#include "core/Export.h"
#include "core/PipelineSimMgr.h"
#include "platform/BufferManager.h"
#include "platform/ParamSet.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <queue>
#include <string>
#include <utility>
#include <vector>

/// Records or replays the frames of one pipe.
///
/// PipelineSimMgr::getPipeSimInstance() makes the objects, which live as long as the process. Usual
/// order of calls: init(), then per task start(), the dump or load operations, stop(); after the
/// last task deinit(). The order is not enforced.
class TYK_EXPORT PipelineSimulation {
public:
    /// Identity of one parameter: an entry of the dump list, or the content of a parameter file's
    /// name.
    struct tagInfo {
        uint32_t tag;      ///< tag id; 0: no such tag
        int32_t pipe;      ///< pipe type, a value of the table that init() builds
        uint32_t camId;    ///< camera id; all bits set in a dump list: that of the frame
        uint32_t sofId;    ///< sof id; all bits set in a dump list: that of the frame
        int32_t dumpType;  ///< 0: fixed-size value; 1: block
    };

    /// Identity of one captured image. The caller owns the record and the pixels.
    struct imageInfo {
        void* buffer;    ///< NV21 pixels, rows tightly packed; read only
        int32_t reqId;   ///< request id
        int32_t sofId;   ///< sof id
        int32_t camId;   ///< camera id
        int32_t pipeId;  ///< pipe id; selects the object and with it the folder
        int32_t width;   ///< pixels
        int32_t height;  ///< pixels
        int32_t spare;   ///< not read by dumping
    };

    /// One replayed frame. A copy shares the blocks; the destructor never returns the image.
    struct FrameData {
        tyk::Buffer* image = nullptr;               ///< the pool's; null: the frame has no image
        std::vector<std::shared_ptr<void>> params;  ///< its block parameters, in replay order
    };

    /// Makes the default object (pipe id -1) on folder `root`. Its configuration path is the dump
    /// root itself, which is no file, so the default object never finds a configuration.
    /// Logs: level 4.
    explicit PipelineSimulation(const char* root);

    /// Makes the object of pipe `pipeId` on folder `root`. Its configuration is
    /// "pipe<pipeId>_dumpConfig.xml" in the dump root. Logs: level 4.
    PipelineSimulation(const char* root, int pipeId);

    PipelineSimulation(const PipelineSimulation&) = delete;
    PipelineSimulation& operator=(const PipelineSimulation&) = delete;

    /// Releases queued frames' blocks. Returns no image buffer: deinit() does.
    ~PipelineSimulation();

    /// Storage comes from malloc() because the manager releases it with free().
    /// Errors: std::bad_alloc.
    static void* operator new(std::size_t size);
    static void operator delete(void* storage);

    /// Prepares for dumping (mode 0, or any other than 1) or replay (mode 1).
    ///
    /// Finds or makes the parameter-set service, builds the name tables, then in dump mode makes
    /// `rootPath` and reads the configuration into `dumpTagList`, in replay mode makes the pool
    /// handle and appends `rootPath` to `taskList`. Calling it again runs all of it again.
    /// Logs: level 4; level 1 from parseConfig().
    void init(int mode);

    /// Begins a task: dump mode makes a task folder; replay mode lists the frames of the task at
    /// `taskIndex`, or only logs that all tasks are done; another mode does nothing. The caller
    /// must not call it with `taskIndex` beyond the end of `taskList`. Logs: level 4; level 1 when
    /// the task cannot be listed.
    void start();

    /// Ends a task: replay mode moves on to the next task and clears the frame list. Queued frames
    /// stay queued. Logs: level 4.
    void stop();

    /// Ends a run. In replay mode, retires every queued frame: releases its blocks and returns its
    /// image to the pool. No dump or load operation of this object may be running. Logs: level 4.
    void deinit();

    /// Reads a dump configuration into `out`, which is emptied first; one entry per configured tag,
    /// in document order, duplicates kept. Needs the name tables that init() builds. A file that
    /// cannot be read, is not XML or is larger than 16 MiB leaves `out` empty. Logs: level 4; level
    /// 1 for a refused file.
    void parseConfig(const char* path, std::vector<std::pair<std::string, tagInfo>>& out);

    /// Tag id of a tag name; 0 when there is no such tag.
    int getEnumByTagName(std::string name);

    /// Value of a pipe type name; 0 (also the value of "PREVIEW_TYPE") when there is no such name.
    int getEnumByPipeName(std::string name);

    int getTaskSize();   ///< number of tasks in `taskList`
    int getFrameSize();  ///< number of frames in `frameList`

    /// Whether a value of `size` bytes fits tag `tag`: false only for the scene-info record (2118)
    /// at a size other than 8512, the only layout that the library knows.
    bool isBinValid(int tag, int size);

    /// Makes a task folder below `rootPath`, named after the local time, and stores it in
    /// `currentTask`. Logs: level 5 from createFolder().
    void mkTaskDir();

    /// Makes a frame folder in `currentTask` and stores it in `currentFramePath`. Without a task
    /// folder it uses the pipe's folder. Logs: level 4; level 5 from createFolder().
    void mkDumpDir(int reqId, int sofId);

    /// Writes the path of a parameter file in `currentFramePath` to `dst`, which must have room for
    /// 1024 bytes, and returns `dst`. A longer path is cut at 1023 bytes. The order of `camId` and
    /// `sofId` is the reverse of that in the name; clients are compiled against it.
    char* getFileName(char* dst, int camId, int sofId, int pipe, int dumpType, const char* tagName);

    /// Appends the paths of the task folders below `rootPath` to `taskList` and sorts it.
    void getTaskList();

    /// Appends the frame folder names of a task to `frameList`, stores them in `frameNameMap`, and
    /// sorts `frameList`. A folder that cannot be listed to its end adds nothing. Logs: level 1
    /// when the folder cannot be listed.
    void getFrameList(const char* taskPath);

    /// Appends the paths of the subfolders of `path` (each cut at 255 bytes), unsorted. A folder
    /// that cannot be listed to its end adds nothing.
    /// Logs: level 4 per folder; level 1 when the folder cannot be listed.
    void getSubDirs(const char* path, std::vector<std::string>& out);

    /// Appends the names of the entries of `path` that are not folders, unsorted. A folder that
    /// cannot be listed to its end adds nothing. Logs: level 1 when the folder cannot be listed.
    void getSubFiles(const char* path, std::vector<std::string>& out);

    /// Reads a parameter file's name into `out` and returns 0. Returns 1 and leaves `out` unchanged
    /// for any other name. Numbers beyond int saturate. Logs: level 4.
    int parseFileName(std::string name, tagInfo* out);

    /// Reads an image file's name into `out` (sofId, camId, width, height; spare becomes 0). Leaves
    /// `out` unchanged for any other name. Numbers beyond int saturate. Logs: level 4.
    void parseImageName(std::string name, imageInfo* out);

    /// Request id in a frame folder's name; always -1 (see the definition).
    int parseReqID(std::string name);

    /// Dumps one captured frame when the property "persist.vendor.cam.isstest" asks for it: "0" or
    /// unset: none; "2" and a digit: the frames of that pipe; anything else: every frame. Writes
    /// all files before it returns and keeps nothing of `info`. Throws nothing. Logs: those of
    /// dumpParam() and dumpNV21(); level 1 when an exception ends one of them.
    static void dumpIfneed(imageInfo& info);

    /// Makes a frame folder and writes the parameters of `dumpTagList` and the side records into
    /// it. Calls init(0) first on an object that is not initialised. Logs: level 4; level 1 for a
    /// file that cannot be opened or a value of impossible size.
    void dumpParam(int reqId, int sofId, int camId);

    /// Writes `buffer`, (width x height x 3) / 2 bytes of NV21, into `currentFramePath`.
    /// Logs: level 1 when the file cannot be opened.
    void dumpNV21(void* buffer, int width, int height, int sofId, int camId);

    /// Writes a scene-info record (at least 8468 bytes, little-endian) into `currentFramePath` as
    /// "iSceneInfo.xml" and two raw files. Throws nothing.
    /// Logs: level 4; level 1 for a raw file that cannot be opened.
    void dumpIsceneInfo(void* record);

    /// Rebuilds a scene-info record from `folder` and publishes it for pipes 0 and 1 under `sofId`.
    /// Where the XML and the raw files differ, the XML takes precedence. Throws nothing. Logs:
    /// level 4; level 1 when the XML cannot be read, in which case nothing is published.
    void loadISceneInfo(std::string folder, int sofId);

    /// Copies the tuning file that the running MFNR version selects from `nameTable` (4096 bytes)
    /// into the folder of pipe 1. Throws nothing. Logs: levels 4 and 5; level 1 when source or copy
    /// cannot be opened.
    void dumpMFNRXml(void* nameTable);

    /// Appends "/vendor/firmware/" and the first of the 32 names in `nameTable` that contains `key`
    /// to `out`, which must have room for 146 bytes after its text, terminator included. An empty
    /// name ends the table. Logs: level 5.
    void matchXML(char (*nameTable)[128], const char* key, char* out);

    /// Publishes the MFNR name table of a replay under `sofId`. Throws nothing. Logs: level 4.
    void loadMFNRXml(int sofId);

    /// Replays folder `folder` into the object of pipe `pipeId` for camera `camId`; see
    /// loadParam2(). Throws nothing. Returns what loadParam2() returns.
    static bool loadParam(int pipeId, std::string folder, int camId);

    /// Replays the parameter files of any folder, then the fixed overrides and the side records,
    /// and queues the frame. Files that cannot be replayed are skipped. `frameIndex` advances even
    /// though the folder is not in `frameList`. Calls init(1) first on an object that is not
    /// initialised. Throws nothing. Returns false and queues nothing when memory runs out. Logs:
    /// level 4; level 1 per skipped file.
    bool loadParam2(std::string folder);

    /// Replays the parameter files of the frame at `frameIndex`, which must lie within `frameList`,
    /// and queues the frame. A file that cannot be replayed ends the frame: it is not queued and
    /// `frameIndex` stays. The argument is not used. Calls init(1) first on an object that is not
    /// initialised. Throws nothing. Logs: level 4; level 1 when a file ends the frame.
    void loadParam(unsigned int frame);

    /// Publishes the two fixed overrides of a folder replay. Logs: level 4.
    void prepareParams();

    /// Replays parameters and image of the frame at `frameIndex`, which must lie within
    /// `frameList`, and queues the frame; first retires the oldest frame when 11 are queued.
    /// init(1) and start() must have run. The argument `frame` is not used.
    ///
    /// `img` becomes the pool's buffer with the image; it keeps its value when the folder holds no
    /// image. The queued frame owns the buffer; retiring the frame returns it. A file that cannot
    /// be replayed ends the frame: it is not queued, `frameIndex` stays, and the caller must return
    /// a buffer already in `img`. Throws nothing. Logs: level 4; level 1 when a parameter file ends
    /// the frame.
    void loadParamAndImage(unsigned int frame, tyk::Buffer*& img);

    int32_t taskIndex = 0;     ///< index in `taskList` of the task being replayed
    int32_t frameIndex = 0;    ///< index in `frameList` of the next frame to replay
    int32_t mode = 0;          ///< 0: dump, 1: replay
    int32_t pipeId = -1;       ///< pipe id; -1: the default object
    int32_t camId = 0;         ///< camera of the folder replay
    bool initialised = false;  ///< true between init() and deinit()
    tyk::BufferManager* bufferManager = nullptr;  ///< the framework's; set by init(1)
    std::string rootPath;                         ///< the pipe's folder
    std::string configPath;                       ///< the dump configuration
    std::string currentTask;                      ///< folder of the current task
    std::string currentFramePath;                 ///< folder of the current frame
    std::vector<std::string> frameList;           ///< frame folder names of the current task
    std::vector<std::string> taskList;            ///< task folders, in replay order
    std::vector<std::pair<std::string, tagInfo>> dumpTagList;   ///< what to dump
    std::vector<std::pair<std::string, tagInfo>> spareTagList;  ///< always empty
    std::map<std::string, int> tagNameMap;                      ///< tag name to tag id
    std::map<std::string, int> pipeNameMap;                     ///< pipe type name to value
    std::map<std::string, int> frameNameMap;  ///< frame folder name to parseReqID() of it
    std::queue<FrameData> frameQueue;         ///< replayed frames, oldest first
};

// Clients are compiled against these layouts.
static_assert(sizeof(PipelineSimulation::tagInfo) == 20 &&
              offsetof(PipelineSimulation::tagInfo, pipe) == 4 &&
              offsetof(PipelineSimulation::tagInfo, camId) == 8 &&
              offsetof(PipelineSimulation::tagInfo, sofId) == 12 &&
              offsetof(PipelineSimulation::tagInfo, dumpType) == 16);
static_assert(sizeof(PipelineSimulation::imageInfo) == 40 &&
              offsetof(PipelineSimulation::imageInfo, reqId) == 8 &&
              offsetof(PipelineSimulation::imageInfo, sofId) == 12 &&
              offsetof(PipelineSimulation::imageInfo, camId) == 16 &&
              offsetof(PipelineSimulation::imageInfo, pipeId) == 20 &&
              offsetof(PipelineSimulation::imageInfo, width) == 24 &&
              offsetof(PipelineSimulation::imageInfo, height) == 28 &&
              offsetof(PipelineSimulation::imageInfo, spare) == 32);

// C linkage exports the two names unmangled: the mangled name of an object whose type contains
// std::string would depend on the standard library.
extern "C" {

/// The parameter-set service that init() found or made; null before the first init().
extern TYK_EXPORT tyk::ParamSet* pPs;

/// Dump requests by name, for clients. The library neither fills nor reads it.
extern TYK_EXPORT std::map<std::string, PipelineSimulation::tagInfo> gDumpList;

}  // extern "C"

// The library's own file primitives. Not exported: they serve the library's sources and programs
// that compile those sources in.

/// Makes one folder with mode 0777 unless an entry of that name exists; its parent must exist.
/// Logs: level 5, the result of mkdir().
void createFolder(const char* path);

/// Writes `size` bytes of `data` to a new file `path`. A short write is not reported.
/// Logs: level 1 when the file cannot be opened or `size` is negative (then there is no file).
void writeToBin(const char* path, void* data, int size);

/// Reads up to `size` bytes of the regular file `path` to `data`. A short read is not reported.
/// Logs: level 1 when the file cannot be opened or `size` is negative (then `data` is untouched).
void readBin(const char* path, void* data, int size);
