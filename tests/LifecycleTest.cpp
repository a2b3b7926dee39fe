// The manager, the objects' lifecycle, and the listings of the dump tree.
#include "tests/TestDevice.h"

#include <climits>

#include <sys/stat.h>

static_assert(sizeof(PipelineSimulation::FrameData) == 32);

namespace {

class Lifecycle : public TestDevice {
protected:
    // What the process's first call does shows only once, in whichever test comes first.
    Lifecycle() { firstCall(); }

    const Strings& firstCall() {
        static const Strings lines = [this] {
            PipelineSimMgr::getPipeSimInstance(-1);
            EXPECT_EQ(names("/data/vendor/cameraserver"), Strings());
            return story();
        }();
        return lines;
    }
};

TEST_F(Lifecycle, ManagerAndObjects) {
    const std::string top = kRoot;
    EXPECT_EQ(firstCall(), Strings({"3 getPipeSimInstance: create @",
                                    "4 PipelineSimulation: root " + top + " config " + top}));
    EXPECT_EQ(PipelineSimMgr::getPipeSimInstance(-1), PipelineSimMgr::getPipeSimInstance(-1));
    EXPECT_EQ(PipelineSimMgr::getPipeSimInstance(-1)->rootPath, kRoot);
    const mode_t mask = umask(0);
    umask(mask);
    Strings expected{"5 createFolder: ret 0"};
    for (const int id : {5005, -3, INT_MIN}) {
        const std::string text = std::to_string(id);
        PipelineSimulation* const object = PipelineSimMgr::getPipeSimInstance(id);
        EXPECT_EQ(PipelineSimMgr::getPipeSimInstance(id), object);
        expected.push_back("5 createFolder: ret 0");
        expected.push_back("4 PipelineSimulation: pipe " + text + " root " + top + "/pipe_" + text +
                           " config " + top + "/pipe" + text + "_dumpConfig.xml");
        EXPECT_EQ(story(), expected);
        expected.clear();
        const auto made = fs::status(host(top + "/pipe_" + text));
        EXPECT_EQ(static_cast<mode_t>(made.permissions()), 0777 & ~mask);
        EXPECT_FALSE(object->initialised || object->bufferManager);
        EXPECT_EQ(object->getEnumByPipeName("SNAPSHOT_YUV_TYPE"), 0);
    }
    remove("/data");
    EXPECT_NE(PipelineSimMgr::getPipeSimInstance(5006), nullptr);
    EXPECT_EQ(texts(5), Strings({"ret -1", "ret -1"}));
    EXPECT_TRUE(gDumpList.empty());
}

TEST_F(Lifecycle, FieldsStandInTheirOrder) {
    const PipelineSimulation& p = newPipe();
    const std::vector<const void*> fields{
        &p.taskIndex,        &p.frameIndex,    &p.mode,         &p.pipeId,      &p.camId,
        &p.initialised,      &p.bufferManager, &p.rootPath,     &p.configPath,  &p.currentTask,
        &p.currentFramePath, &p.frameList,     &p.taskList,     &p.dumpTagList, &p.spareTagList,
        &p.tagNameMap,       &p.pipeNameMap,   &p.frameNameMap, &p.frameQueue};
    EXPECT_EQ(static_cast<const void*>(&p), fields[0]);
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<const void*>()));
}

TEST_F(Lifecycle, DumpInitTwice) {
    PipelineSimulation& pipe = newPipe();
    write(pipe.configPath, "<dumpconfig><common><tag value='plain'/></common></dumpconfig>");
    remove(pipe.rootPath);
    pipe.taskIndex = pipe.frameIndex = 3;
    Strings expected;
    const auto add = [&expected](const std::string& prefix, const Strings& lines) {
        for (const std::string& line : lines) expected.push_back(prefix + line);
    };
    add("4 buildPipeNameMap: pipe ",
        {"4 ASYNC_TYPE", "2 CALLBACK_TYPE", "7 NOZSL_TYPE", "0 PREVIEW_TYPE",
         "6 PREVIEW_VIDEO_TYPE", "5 REPROCESS_TYPE", "8 SNAPSHOT_RAW_TYPE", "1 SNAPSHOT_TYPE",
         "9 SNAPSHOT_YUV_TYPE", "3 VIDEO_TYPE"});
    add("4 buildTagNameMap: tag ",
        {"7 plain", "8 other_tag", "9 block", "10 block_2", "11 full", "12 huge", "13 negative",
         "20 twin", "30 twin", "2118 KELV_TAG_ISCENE_INFO", "8198 byte", "8208 size",
         "65622 mfnr"});
    add("5 createFolder: ", {"ret 0"});
    add("4 parseConfig: ", {"E, path " + pipe.configPath, "tag:plain", "1  0",
                            "tag plain tag 7 pipe 0 cam -1 sof -1", "X"});
    add("4 init: ", {"init done. mode 0"});
    pipe.init(0);
    EXPECT_EQ(story(), expected);
    EXPECT_EQ(pipe.taskIndex + pipe.frameIndex, 0);
    pipe.init(0);
    EXPECT_EQ(story().size(), expected.size() - 1);  // the folder is there now
    EXPECT_EQ(pipe.dumpTagList.size(), 1u);
    EXPECT_EQ(pipe.getEnumByTagName("twin"), 30);
    EXPECT_EQ(pipe.getEnumByPipeName("SNAPSHOT_YUV_TYPE"), 9);
    EXPECT_EQ(pipe.getEnumByTagName("none") + pipe.getEnumByPipeName("none"), 0);
    EXPECT_EQ(pipe.tagNameMap.size() + pipe.pipeNameMap.size(), 22u);
    EXPECT_EQ(tykhost::paramServiceCounts().registrations, 1u);
}

TEST_F(Lifecycle, DumpRun) {
    PipelineSimulation& pipe = newPipe();
    pipe.init(2);  // neither mode: prepared for dumping, but nothing starts
    EXPECT_TRUE(pipe.taskList.empty() && !pipe.bufferManager);
    log.clear();
    pipe.start();
    pipe.stop();
    pipe.deinit();
    EXPECT_EQ(story(), Strings({"4 stop: stop, mode 2", "4 deinit: X done."}));
    pipe.init(0);
    log.clear();
    const auto frame = [&pipe] { return "4 mkDumpDir: dump path: " + pipe.currentFramePath; };
    pipe.mkDumpDir(1, 2);  // without a task the pipe's folder serves as one
    EXPECT_EQ(pipe.currentFramePath, pipe.rootPath + "/0305140709123_reqID_1_sofID_2");
    EXPECT_EQ(story(), Strings({frame(), "5 createFolder: ret 0"}));
    pipe.start();
    EXPECT_EQ(story(), Strings({"4 start: dumping start", "5 createFolder: ret 0"}));
    pipe.mkDumpDir(-4, 17);
    pipe.mkDumpDir(-4, 17);  // the same millisecond, the same folder
    const std::string task = pipe.rootPath + "/21160305140709123_task_0";
    EXPECT_EQ(pipe.currentFramePath, task + "/0305140709123_reqID_-4_sofID_17");
    EXPECT_EQ(story(), Strings({frame(), "5 createFolder: ret 0", frame()}));
    char path[1024];
    EXPECT_EQ(pipe.getFileName(path, 3, 17, 1, 0, "t"), path);
    EXPECT_EQ(path, pipe.currentFramePath + "/FCPDT_17_3_1_0_t.bin");
    pipe.stop();
    pipe.deinit();
    EXPECT_EQ(story(), Strings({"4 stop: stop, mode 0", "4 deinit: X done."}));
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
    pipe.deinit();
    EXPECT_EQ(story(),
              Strings({"4 start: loading start", "4 stop: stop, mode 1", "4 start: loading start",
                       "1 getFrameList: Could not OpenDIR with Path " + pipe.taskList[1],
                       "4 stop: stop, mode 1", "4 start: loading start",
                       "4 start: all tasks completed, please call deinit.",
                       "4 deinit: total free frames: 0", "4 deinit: X done."}));
    EXPECT_EQ(pipe.taskIndex, 0);
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
    // A link to a folder is no folder; a socket's type has the bit that folders are told by.
    EXPECT_EQ(files, Strings({".hidden", "before", "link"}));
    pipe.taskList = {"/z"};
    pipe.getTaskList();
    EXPECT_EQ(pipe.taskList, Strings({at + "/socket", at + "/task_a", at + "/task_b", "/z"}));
    Strings lines = story();
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, each("4 getSubDirs: dirList: " + at, {"/socket", "/task_a", "/task_b"}));
    Strings cut;
    pipe.getSubDirs((at + "/task_a").c_str(), cut);
    EXPECT_EQ(cut, Strings({(at + "/task_a/" + std::string(250, 'e')).substr(0, 255)}));

    remove(at);
    log.clear();
    Strings out = pipe.taskList = pipe.frameList = {"b", "a"};
    pipe.getSubDirs(at.c_str(), out);
    pipe.getSubFiles(at.c_str(), out);
    EXPECT_EQ(out, Strings({"b", "a"}));
    pipe.getTaskList();
    EXPECT_EQ(pipe.taskList, Strings({"a", "b"}));
    pipe.getFrameList(at.c_str());
    EXPECT_EQ(pipe.frameList, out);  // unlike a task list it is not sorted then
    const std::string failure = ": Could not OpenDIR with Path " + at;
    EXPECT_EQ(story(), Strings({"1 getSubDirs" + failure, "1 getSubFiles" + failure,
                                "1 getSubDirs" + failure, "1 getFrameList" + failure}));
}

TEST_F(Lifecycle, ReadsNames) {
    PipelineSimulation& pipe = newPipe();
    pipe.tagNameMap = {{"a_b", 77}};
    PipelineSimulation::tagInfo tag{1, 2, 3, 4, 5};
    EXPECT_EQ(pipe.parseFileName("FCWH_1_0_2_1_a_b.bin", &tag), 1);
    EXPECT_EQ(tag.tag + tag.camId + tag.sofId, 8u);
    EXPECT_EQ(pipe.parseFileName("FCPDT_-1_9_2_1_a_b.bin", &tag), 0);
    EXPECT_EQ(tag.tag + tag.camId + tag.sofId, 77u + 9u + UINT32_MAX);
    EXPECT_EQ(pipe.parseFileName("FCPDT_1_0_2_1_unknown.bin", &tag), 0);
    EXPECT_EQ(tag.tag, 0u);
    PipelineSimulation::imageInfo image{&pipe, 1, 2, 3, 4, 5, 6, 7};
    pipe.parseImageName("x.yuv", &image);
    EXPECT_EQ(image.width + image.height + image.spare, 18);
    pipe.parseImageName("FCWH_17_3_4_2_nv21.yuv", &image);
    EXPECT_TRUE(image.buffer == &pipe && image.reqId == 1 && image.pipeId == 4);
    EXPECT_EQ(image.spare, 0);
    EXPECT_EQ(story(), Strings({"4 parseFileName: E name FCWH_1_0_2_1_a_b.bin",
                                "4 parseFileName: E name FCPDT_-1_9_2_1_a_b.bin",
                                "4 parseFileName: X cam 9, pipe 2, sof -1, tag 77, dump 1",
                                "4 parseFileName: E name FCPDT_1_0_2_1_unknown.bin",
                                "4 parseFileName: X cam 0, pipe 2, sof 1, tag 0, dump 1",
                                "4 parseImageName: E name x.yuv",
                                "4 parseImageName: E name FCWH_17_3_4_2_nv21.yuv",
                                "4 parseImageName: X cam 3, sof 17, w 4, h 2"}));
    for (const char* const name : {"0305140710456_reqID_42_sofID_17", "", "_", "a", "1_2_3_4"}) {
        EXPECT_EQ(pipe.parseReqID(name), -1) << name;
    }
    EXPECT_TRUE(pipe.isBinValid(2118, 8512) && pipe.isBinValid(7, 0));
    EXPECT_FALSE(pipe.isBinValid(2118, 8000));
}

}  // namespace
