// Tests of the manager, the objects' lifecycle, and the listings of the dump tree.
#include "tests/support/TestDevice.h"

#include <climits>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

static_assert(sizeof(PipelineSimulation::FrameData) == 32);

// The library calls these in place of the C library's functions.
#define NEXT(function) reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))

namespace {
[[maybe_unused]] thread_local int held, mostHeld;  // locks
[[maybe_unused]] const void* watched = nullptr;    // by free()
}  // namespace

#ifndef TYK_SANITIZED
extern "C" void __libc_free(void* block);
extern "C" TYK_EXPORT void free(void* block) noexcept {
    if (block && block == watched && ::write(STDERR_FILENO, "freed", 5) != 5) std::abort();
    __libc_free(block);
}

extern "C" TYK_EXPORT int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    mostHeld = std::max(mostHeld, ++held);
    return NEXT(pthread_mutex_lock)(mutex);
}

extern "C" TYK_EXPORT int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    --held;
    return NEXT(pthread_mutex_unlock)(mutex);
}
#endif

namespace {

class Lifecycle : public TestDevice {
protected:
    // The effects of the process's first call show only once, in the first test.
    Lifecycle() {
        if (manager_) return;
        mostHeld = 0;
        PipelineSimMgr::getPipeSimInstance(-1);
        locks_ = mostHeld;
        EXPECT_EQ(names("/data/vendor/cameraserver"), Strings());
        void* address = nullptr;
        std::sscanf(log.texts(3).at(0).c_str(), "create %p", &address);
        manager_ = static_cast<PipelineSimMgr*>(address);
        EXPECT_EQ(story(), Strings({"3 getPipeSimInstance: create @",
                                    "4 PipelineSimulation: root " + top + " config " + top}));
    }

    static inline PipelineSimMgr* manager_ = nullptr;
    static inline int locks_ = 0;  // of the first call
    const std::string top = kRoot;
};

TEST_F(Lifecycle, ManagerAndObjects) {
    mostHeld = 0;
    const PipelineSimulation other("/other");
    EXPECT_EQ(story(), Strings({"4 PipelineSimulation: root /other config " + top}));
    EXPECT_EQ(PipelineSimMgr::getPipeSimInstance(-1), manager_->defaultInstance);
    EXPECT_EQ(manager_->defaultInstance->rootPath, kRoot);
    const mode_t mask = umask(0);
    umask(mask);
    Strings expected{"5 createFolder: ret 0"};
    for (const int id : {5005, -3, INT_MIN}) {
        const std::string text = std::to_string(id);
        PipelineSimulation* const object = PipelineSimMgr::getPipeSimInstance(id);
        EXPECT_EQ(PipelineSimMgr::getPipeSimInstance(id), object);
        EXPECT_EQ(manager_->instances.at(id), object);
        expected.push_back("5 createFolder: ret 0");
        expected.push_back("4 PipelineSimulation: pipe " + text + " root " + top + "/pipe_" + text +
                           " config " + top + "/pipe" + text + "_dumpConfig.xml");
        EXPECT_EQ(story(), expected);
        expected.clear();
        EXPECT_EQ(permissions(top + "/pipe_" + text), 0777 & ~mask);
        EXPECT_FALSE(object->initialised);
        EXPECT_EQ(object->bufferManager, nullptr);
        EXPECT_EQ(object->getEnumByPipeName("SNAPSHOT_YUV_TYPE"), 0);
    }
    remove("/data");
    EXPECT_NE(PipelineSimMgr::getPipeSimInstance(5006), nullptr);
    EXPECT_EQ(texts(5), Strings({"ret -1", "ret -1"}));
    // Without an object there is no frame.
    manager_->instances[7007] = nullptr;
    EXPECT_FALSE(PipelineSimulation::loadParam(7007, "", 0));
    tykhost::setProperty("persist.vendor.cam.isstest", "1");
    PipelineSimulation::imageInfo info{nullptr, 0, 0, 0, 7007, 0, 0, 0};
    PipelineSimulation::dumpIfneed(info);
    EXPECT_EQ(story(), Strings());
#ifndef TYK_SANITIZED
    EXPECT_EQ(locks_, mostHeld + 1);  // the manager was made under a lock
    watched = manager_->instances[5005];
    EXPECT_EXIT(std::exit(0), testing::ExitedWithCode(0), "freed");  // at unload
    watched = nullptr;
#endif
}

TEST_F(Lifecycle, FieldsKeepTheirOrder) {
    const PipelineSimulation& p = newPipe();
    const std::vector<const void*> fields{
        &p.taskIndex,        &p.frameIndex,    &p.mode,         &p.pipeId,      &p.camId,
        &p.initialised,      &p.bufferManager, &p.rootPath,     &p.configPath,  &p.currentTask,
        &p.currentFramePath, &p.frameList,     &p.taskList,     &p.dumpTagList, &p.spareTagList,
        &p.tagNameMap,       &p.pipeNameMap,   &p.frameNameMap, &p.frameQueue};
    EXPECT_EQ(static_cast<const void*>(&p), fields[0]);
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<>()));
}

TEST_F(Lifecycle, DumpInitTwice) {
    PipelineSimulation& pipe = newPipe();
    write(pipe.configPath, "<dumpconfig><common><tag value='plain'/></common></dumpconfig>");
    remove(pipe.rootPath);
    pipe.taskIndex = pipe.frameIndex = 3;
    pipe.init(0);
    const Strings lines = story();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "4 buildTagNameMap: tag 2147483649 high"), 1);
    EXPECT_EQ(pipe.taskIndex, 0);
    EXPECT_EQ(pipe.frameIndex, 0);
    pipe.init(0);
    EXPECT_EQ(story().size(), lines.size() - 1);  // the folder exists now
    EXPECT_EQ(pipe.dumpTagList.size(), 1u);
    EXPECT_EQ(pipe.getEnumByTagName("twin"), 30);
    EXPECT_EQ(pipe.getEnumByPipeName("SNAPSHOT_YUV_TYPE"), 9);
    EXPECT_EQ(pipe.getEnumByTagName("none"), 0);
    EXPECT_EQ(pipe.getEnumByPipeName("none"), 0);
    EXPECT_EQ(pipe.tagNameMap.size() + pipe.pipeNameMap.size(), 24u);
    EXPECT_EQ(tykhost::paramServiceCounts().registrations, 1u);
    // The service adds to a table that all objects share.
    tykhost::setTagTable({});
    PipelineSimulation& other = newPipe();
    other.init(0);
    EXPECT_EQ(other.tagNameMap, pipe.tagNameMap);
}

TEST_F(Lifecycle, DumpRun) {
    PipelineSimulation& pipe = newPipe();
    pipe.init(-2);  // an unknown mode prepares for dumping, but start() does nothing
    pipe.start();
    pipe.stop();
    pipe.deinit();
    const Strings lines = texts(4);
    EXPECT_EQ(Strings(lines.end() - 3, lines.end()),
              Strings({"init done. mode -2", "stop, mode -2", "X done."}));
    EXPECT_EQ(pipe.getTaskSize(), 0);
    EXPECT_EQ(pipe.bufferManager, nullptr);
    pipe.init(0);
    log.clear();
    pipe.mkDumpDir(1, 2);  // without a task it uses the pipe's folder
    pipe.start();
    pipe.mkDumpDir(-4, 17);
    // The same millisecond gives the same folder, even one without permissions.
    fs::permissions(root, fs::perms(0755));
    fs::permissions(host(pipe.currentFramePath), fs::perms(0));
    const uid_t user = getuid();
    [[maybe_unused]] int result = setreuid(65534, geteuid());
    pipe.mkDumpDir(-4, 17);
    result = setreuid(user, geteuid());
    fs::permissions(host(pipe.currentFramePath), fs::perms(0700));
    char path[1024];
    EXPECT_EQ(pipe.getFileName(path, 3, 17, 1, 0, "t"), path);
    EXPECT_EQ(path, pipe.currentFramePath + "/FCPDT_17_3_1_0_t.bin");
    pipe.getFileName(path, 3, 17, 1, 0, nullptr);
    EXPECT_EQ(path, pipe.currentFramePath + "/FCPDT_17_3_1_0_(null).bin");
    pipe.taskIndex = 3;
    pipe.frameList = {"kept"};
    pipe.stop();
    EXPECT_EQ(pipe.taskIndex, 3);
    EXPECT_EQ(pipe.frameList, Strings({"kept"}));
    pipe.deinit();
    const std::string at = "dump path: " + pipe.rootPath;
    const std::string frame = at + "/21160305140709123_task_0/0305140709123_reqID_-4_sofID_17";
    EXPECT_EQ(log.texts(5), Strings(3, "ret 0"));
    EXPECT_EQ(texts(4), Strings({at + "/0305140709123_reqID_1_sofID_2", "dumping start", frame,
                                 frame, "stop, mode 0", "X done."}));
    EXPECT_FALSE(pipe.initialised);
    EXPECT_EQ(pipe.taskIndex, 0);
}

TEST_F(Lifecycle, ReplayRunWalksTasks) {
    PipelineSimulation& pipe = newPipe();
    for (const char* const name : {"/b/x", "/a_reqID_1_sofID_1/x", "/file", "/c/x"}) {
        write(pipe.rootPath + name, "");
    }
    pipe.init(1);
    pipe.init(1);
    EXPECT_NE(pipe.bufferManager, nullptr);
    EXPECT_EQ(pipe.taskList, Strings({pipe.rootPath, pipe.rootPath}));
    pipe.taskList[1] = pipe.rootPath + "/none";
    log.clear();
    pipe.frameIndex = 9;
    pipe.start();
    EXPECT_EQ(pipe.currentTask, pipe.rootPath);
    EXPECT_EQ(pipe.frameList, Strings({"a_reqID_1_sofID_1", "b", "c"}));
    EXPECT_EQ(pipe.frameNameMap,
              (std::map<std::string, int>{{"a_reqID_1_sofID_1", -1}, {"b", -1}, {"c", -1}}));
    EXPECT_EQ(pipe.frameIndex, 0);
    EXPECT_EQ(pipe.getFrameSize(), 3);
    pipe.stop();
    EXPECT_EQ(pipe.frameList.size() + pipe.frameNameMap.size(), 0u);
    pipe.start();
    pipe.stop();
    pipe.start();
    EXPECT_EQ(pipe.currentTask, pipe.taskList[1]);
    pipe.frameIndex = 9;
    pipe.frameList = {"left"};
    pipe.deinit();
    EXPECT_EQ(texts(), Strings({"Could not OpenDIR with Path " + pipe.taskList[1]}));
    EXPECT_EQ(pipe.taskIndex, 0);
    EXPECT_EQ(pipe.frameIndex, 0);
    EXPECT_EQ(pipe.getFrameSize(), 0);
    EXPECT_EQ(pipe.getTaskSize(), 2);
}

TEST_F(Lifecycle, Listings) {
    PipelineSimulation& pipe = newPipe();
    const std::string at = pipe.rootPath;
    write(at + "/task_b/x", "");
    write(at + "/task_a/" + std::string(250, 'e') + "/x", "");
    write(at + "/.hidden", "");
    mknod(host(at + "/socket").c_str(), S_IFSOCK | 0600, 0);
    fs::create_directory_symlink("task_a", host(at + "/link"));
    Strings files{"before"};
    pipe.getSubFiles(at.c_str(), files);
    std::sort(files.begin(), files.end());
    // A link to a folder does not count as a folder; a socket does, because its type has the tested
    // bit.
    EXPECT_EQ(files, Strings({".hidden", "before", "link"}));
    pipe.taskList = {"/z"};
    pipe.getTaskList();
    EXPECT_EQ(pipe.taskList, Strings({at + "/socket", at + "/task_a", at + "/task_b", "/z"}));
    Strings cut;
    pipe.getSubDirs((at + "/task_a").c_str(), cut);
    EXPECT_EQ(cut, Strings({(at + "/task_a/" + std::string(250, 'e')).substr(0, 255)}));

    pipe.init(1);
    pipe.currentTask = at;
    remove(at);
    log.clear();
    Strings out = pipe.taskList = pipe.frameList = {"b", "a"};
    pipe.getSubDirs(at.c_str(), out);
    pipe.getSubFiles(at.c_str(), out);
    pipe.getTaskList();
    pipe.getFrameList(at.c_str());
    pipe.frameList[0] = ".";
    pipe.loadParam(0U);
    EXPECT_EQ(out, Strings({"b", "a"}));
    EXPECT_EQ(pipe.taskList, Strings({"a", "b"}));
    EXPECT_EQ(pipe.frameList,
              Strings({".", "a"}));  // unlike a task list, not sorted after a failure
    EXPECT_EQ(pipe.frameNameMap.size(), 0u);
    EXPECT_EQ(pipe.frameQueue.back().params.size(), 0u);
    EXPECT_EQ(pipe.frameIndex, 1);  // an empty frame counts
    const std::string text = ": Could not OpenDIR with Path " + at;
    EXPECT_EQ(story(),
              Strings({"1 getSubDirs" + text, "1 getSubFiles" + text, "1 getSubDirs" + text,
                       "1 getFrameList" + text, "1 getSubFiles" + text + "/."}));
}

TEST_F(Lifecycle, ChecksTheSizeOfTheSceneRecordOnly) {
    PipelineSimulation& pipe = newPipe();
    EXPECT_TRUE(pipe.isBinValid(2118, 8512));
    EXPECT_TRUE(pipe.isBinValid(7, 0));
    EXPECT_FALSE(pipe.isBinValid(2118, 8000));
}

}  // namespace
