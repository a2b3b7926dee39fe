// Tests the findings for every kind of damage: a line of shell damages a small recorded tree, and
// the test compares the rules of the findings.
#include "tree/check/TreeCheck.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

bool hideEntryTypes = false;  ///< the file system gives no entry types

struct Damage {
    const char* script;  ///< with the folders R (dump root), P (pipe), K (task), F1 to F4 (frames)
    const char* rules;   ///< of the findings, in order
    const char* says = "";  ///< in the output
};

/// One tree of four frames for all tests.
class CheckTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        std::string name = (fs::temp_directory_path() / "tyksim-check-XXXXXX").string();
        root_ = mkdtemp(name.data());
        ASSERT_EQ(
            shell(TYKSIM_COMMAND " record base --frames 4 --size 16x8 >/dev/null 2>&1").status, 0);
    }
    static void TearDownTestSuite() {
        shell("chmod -R u+rwX .");
        fs::remove_all(root_);
    }

    struct Result {
        int status;
        std::string out;
    };

    static Result shell(const std::string& command) {
        const std::string whole =
            "cd '" + root_ + "' && export ASAN_OPTIONS=detect_leaks=0:$ASAN_OPTIONS && " + command;
        std::FILE* const pipe = popen(whole.c_str(), "r");  // NOLINT(cert-env33-c)
        std::string out;
        std::array<char, 4096> part{};
        for (size_t count = 1; count > 0;) {
            count = std::fread(part.data(), 1, part.size(), pipe);
            out.append(part.data(), count);
        }
        const int status = pclose(pipe);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
    }

    /// Checks a copy of the tree damaged by `script`; `user` runs the tool as another user.
    static Result checkDamaged(const std::string& script, const std::string& arguments = "",
                               const std::string& user = "") {
        return shell(
            "chmod -R u+rwX . && rm -rf c && cp -a base c && (cd c/data/vendor/"
            "cameraserver/tykdump/pipe_1/*_task_0 && K=$PWD && P=${K%/*} && R=${P%/*} && "
            "set -- * && F1=$1 F2=$2 F3=$3 F4=$4 && I=FCWH_2_0_16_8_nv21.yuv && "
            "G=FCPDT_2_0_1_0_KELV_TAG_WB_GAINS.bin && " +
            script + ") && " + user + " timeout 60 " TYKSIM_COMMAND " check c " + arguments +
            " 2>&1");
    }

    /// The rules of the findings, in the order of the output.
    static std::string rulesIn(const std::string& out) {
        std::istringstream lines(out);
        std::string rules;
        for (std::string line; std::getline(lines, line);) {
            if (line.size() < 2 || line[1] != ' ' ||
                std::string("!~-").find(line[0]) == std::string::npos)
                continue;
            rules += (rules.empty() ? "" : " ") + line.substr(2, line.find(':') - 2);
        }
        return rules;
    }

    static void expectRules(const std::vector<Damage>& table, const std::string& user = "") {
        for (const Damage& damage : table) {
            const Result result = checkDamaged(damage.script, "", user);
            EXPECT_EQ(rulesIn(result.out), damage.rules) << damage.script << "\n" << result.out;
            EXPECT_NE(result.out.find(damage.says), std::string::npos) << damage.says << "\n"
                                                                       << result.out;
            EXPECT_EQ(result.status, *damage.rules != '\0' ? 3 : 0) << damage.script;
        }
    }

    static std::string root_;
};

std::string CheckTest::root_;

TEST_F(CheckTest, Frames) {
    expectRules({
        {":", ""},
        {"rm -r *", "no-frames"},
        {"rm $F2/*", "frame-empty", "expected files, found none\n"},
        {"mv $F2 ${F2%_req*}_2", "frame-name",
         "0305140710456_reqID_42_sofID_17, found another name\n"},
        {"mv $F2 ${F2%2}9", "frame-ids"},
        {"mv $F2/$I $F2/FCWH_9_0_16_8_nv21.yuv", "frame-ids",
         "expected files of sof 2, found 1 of 19 of another, such as 9\n"},
        {"mv $F2/$G $F2/FCPDT_1_0_1_0_KELV_TAG_WB_GAINS.bin", "frame-ids"},
        {"cp -r $F2 ${F4%_req*}_reqID_2_sofID_2", "frame-order frame-repeated",
         "expected unique ids, found request 2 and sof 2, which frame 2 has\n"},
        {"mv $F1 ${F1%_req*}_reqID_10_sofID_1", "frame-order frame-order frame-order",
         "expected request 10 or a later one, found request 2\n"},
        {"mv $F1 ${F2%_req*}_reqID_10_sofID_1", "frame-order frame-order"},
        // An exposure belongs to one request; another camera has other exposures.
        {"cp -r $F2 ${F4%_req*}_reqID_5_sofID_2", "sof-repeated",
         "expected a unique sof id, found sof 2, which frame 2 of request 2 has\n"},
        {"cp -r $F2 ${F4%_req*}_reqID_5_sofID_2; rm */FCWH*", "image-missing sof-repeated"},
        {"cp -r $F2 ${F4%_req*}_reqID_5_sofID_2; cd *_reqID_5*; for x in FC*; do mv $x "
         "${x%%_0_*}_3_${x#*_0_}; done",
         ""},
        // Impossible times. Frames have no year.
        {"mv $K $P/21160017000000000_task_0", "name-time",
         "a time that a calendar and a clock show, found month 0\n"},
        {"mv $K $P/21160229000000000_task_0", "name-time"},
        {"mv $K $P/21180229000000000_task_0", ""},
        {"mv $F4 1231250000000${F4#?????????????}", "name-time"},
        {"for f in *; do mv $f 0229${f#????}; done", ""},
        {"for f in *; do mv $f 0431${f#????}; done", "name-time name-time name-time name-time"},
        {"mv $F2 ../f; ln -s ../f $F2", "foreign-folder not-a-folder"},
        {"rm -r $F2; mkfifo $F2", "not-a-folder"},
        {"rm -r $K; touch $K", "not-a-folder no-frames"},
        {"mv $P $R/../p; touch $P", "not-a-folder no-frames"},
        {"mv $K $P/odd", "task-name"},
        {"mv $P $R/pipe_01", "foreign-folder no-frames"},
        {"mv $P $R/../p; ln -s ../p $P", "linked-folder",
         "expected a folder, found a symbolic link to a folder\n"},
        // Frames directly in the pipe's folder, tasks and frames directly in the dump root.
        {"mv $K/* $P; rmdir $K; rm $P/$F2/$G; touch $P/f", "foreign-file parameter-missing"},
        {"cp -r $F2 $R; rm $R/$F2/FCWH*; mv $K $R; rm $R/*_task_0/$F3/FCWH*",
         "no-frames image-missing image-missing"},
        {"mkdir $R/x $P/y $F2/z; touch $R/f $P/g h $F2/i",
         "foreign-file foreign-folder foreign-file foreign-folder foreign-file foreign-file "
         "foreign-folder"},
        // Only the last frame may be incomplete.
        {"rm $F4/FCWH*", "frame-torn"},
        {"truncate -s 5 $F4/FCWH*", "frame-torn",
         "expected a whole frame, found 22 files, 5 of the image's 192 bytes\n"},
        {"rm $F4/FCWH* $F4/*MFNR* $F4/*ISCENE*; truncate -s 0 $F4/*GYRO*", "frame-torn"},
        {"rm $F4/FCWH* $F4/*EXPOSURE_TIME*", "frame-torn parameter-missing"},
        {"rm $F4/*", "frame-torn", "expected a whole frame, found 0 files, no image\n"},
        {"rm $F2/* $F4/*", "frame-empty frame-torn"},
        {"rm */FCWH*; rm $F4/*ISCENE* $F4/*MFNR* $F4/iScene*", "frame-torn image-missing"},
        // A single frame is compared with the configuration and the tag table.
        {"rm -r $F2 $F3 $F4; rm $F1/*", "frame-torn"},
        {"rm -r $F2 $F3 $F4; rm $F1/FCWH*", "image-missing"},
        {"rm -r $F2 $F3 $F4; rm $F1/FCWH* $F1/*MFNR*", "frame-torn"},
        {"rm -r $F2 $F3 $F4; rm $F1/FCWH*; truncate -s 2 $F1/*GAINS*", "frame-torn"},
        {"rm -r $F2 $F3 $F4; truncate -s 2 $F1/*GAINS*", "parameter-size"},
        {"rm -r $F2 $F3 $F4; truncate -s 2 $F1/FCWH*", "frame-torn"},
        // An entry with a fixed sof id gives all frames a file with that id.
        {"sed -i '0,/<dumpType>/s//<sofID>9<\\/sofID>&/' $R/pipe1*; for f in *; do mv $f/*RE_TIME* "
         "$f/FCPDT_9_0_1_0_KELV_TAG_EXPOSURE_TIME.bin; done; rm $F2/*RE_TIME* $F4/FCWH*",
         "frame-torn parameter-missing"},
        {"rm $F4/*GAINS*", "parameter-missing"},
        {"rm $F3/FCWH* $F3/*MFNR*", "parameter-missing image-missing"},
        // Links in circles, and a name with a huge size.
        {"ln -s . loop; ln -s .. $F1/loop; ln -s l $F1/l",
         "not-a-folder foreign-file foreign-file"},
    });
}

TEST_F(CheckTest, Parameters) {
    expectRules({
        {"rm $F2/$G", "parameter-missing",
         "GAINS.bin: expected a file, as the dump configuration says, found none\n"},
        {"rm */*GAINS*", "parameter-missing",
         "_task_0: expected KELV_TAG_WB_GAINS: a file, as the dump configuration says, found none "
         "in 4 of 4 frames\n"},
        // A problem of half of the frames is reported for each, a problem of more frames for the
        // task. A parameter that few frames have is reported for these.
        {"rm $F2/$G $F3/*GAINS*", "parameter-missing parameter-missing"},
        {"rm $F1/*GAINS* $F2/$G $F3/*GAINS*", "parameter-missing"},
        {"rm $F1/*GAINS* $F2/$G $F3/*GAINS* $R/pipe1*", "config-missing parameter-missing",
         "expected KELV_TAG_WB_GAINS in every frame or in none, found it in 1 of 4 frames\n"},
        {"cp $F2/$G $F2/FCPDT_2_3_1_0_KELV_TAG_WB_GAINS.bin", ""},
        {"rm $R/pipe1*; rm $F2/$G", "config-missing parameter-missing",
         "GAINS.bin: expected a file, as in other frames, found none\n"},
        {"truncate -s 0 $F2/$G", "parameter-empty"},
        {"truncate -s 3 $F2/$G", "parameter-size", "expected 16 bytes, found 3\n"},
        {"truncate -s 3 */*GAINS*", "parameter-size",
         "expected KELV_TAG_WB_GAINS: 16 bytes, found 3 in 4 of 4 frames\n"},
        {"rm $R/../../../../tags.xml; truncate -s 3 $F2/$G", "parameter-size-varies",
         "expected 16 bytes as in other frames, found 3\n"},
        {"rm $R/../../../../tags.xml; truncate -s 3 $F1/*GAINS*", "parameter-size-varies"},
        {"rm $R/../../../../tags.xml; truncate -s 3 $F1/*MFNR*", "parameter-size"},
        {"truncate -s 3 $F1/*GAINS* $F3/*GAINS*", "parameter-size parameter-size"},
        {"truncate -s 512000 $F2/$G", "parameter-size"},
        {"truncate -s 512001 $F2/$G", "parameter-too-large",
         "expected at most 512000 bytes, found 512001\n"},
        {"truncate -s 4294967297 $F2/$G", "parameter-too-large",
         "found 4294967297, which the library takes for 1\n"},
        {"truncate -s 2G $F2/*GYRO*", "parameter-too-large",
         "at most 2147483647 bytes, found 2147483648, which the library takes for -2147483648\n"},
        {"truncate -s 2147483647 $F2/*GYRO*", ""},
        {"truncate -s 5 $F2/*GYRO*", ""},
        {"cp $F2/$G $F2/FCPDT_2_0_1_0.bin", "parameter-name",
         "expected a parameter file's name, found a name without all its pieces\n"},
        {"mv $F2/$G $F2/${G}x", "parameter-name",
         "expected FCPDT_2_0_1_0_KELV_TAG_WB_GAINS.bin, found "
         "FCPDT_2_0_1_0_KELV_TAG_WB_GAINS.binx\n"},
        {"mv $F2/$G $F2/FCPDT_02_0_1_0_KELV_TAG_WB_GAINS.bin", "parameter-name"},
        {"cp $F2/$G $F2/FCPDT_2_0_1_2_KELV_TAG_WB_GAINS.bin",
         "parameter-repeated parameter-dump-type",
         "one file of this parameter, found another one beside it: "
         "FCPDT_2_0_1_2_KELV_TAG_WB_GAINS.bin\n"},
        {"cp $F2/$G $F2/FCPDT_2_0_1_0_KELV_TAG_WB_GAIN.bin", "parameter-unknown-tag",
         "/c/tags.xml, found none of that name\n    The nearest are KELV_TAG_WB_GAINS.\n"},
        {"touch \"$F2/$(printf 'FCPDT_2_0_1_0_\\033]0;x\\007\\n\\377.bin')\"",
         "parameter-empty parameter-unknown-tag"},
        // Cameras take turns: a missing file is reported once.
        {"for f in $F2 $F4; do cd $f; for x in FC*; do mv $x ${x%%_0_*}_3_${x#*_0_}; done; cd ..; "
         "done; rm $F2/*GAINS*",
         "parameter-missing"},
        {"rm $F2/$G; mkfifo $F2/$G", "file-kind"},
        {"rm $F2/$G; mkdir $F2/$G", "file-kind"},
        {"rm $F2/$G; ln -s /dev/zero $F2/$G", "file-kind"},
        {"mv $F2/$G $R/../g; ln -s $R/../g $F2/$G", "file-linked",
         "expected a file, found a symbolic link to a file\n"},
    });
}

TEST_F(CheckTest, ImagesAndRecords) {
    expectRules({
        {"rm $F2/$I", "image-missing", "expected an image, found none\n"},
        {"rm */FCWH*", "image-missing",
         "_task_0: expected an image in every frame, found none in 4 of 4 frames\n"},
        {"truncate -s 191 $F2/$I", "image-short", "expected 192 bytes for 16x8, found 191\n"},
        {"truncate -s 193 $F2/$I", "image-long"},
        {"truncate -s 4294967488 $F2/$I", "image-long"},
        {"touch $F2/FCWH_2_0_65536_65536_nv21.yuv", "image-name image-repeated",
         "expected a width and height that make an image, found 65536x65536\n"},
        {"mv $F2/$I $F2/FCWH_2_0_3_3_nv21.yuv; truncate -s 13 $F2/FCWH*",
         "image-size-varies image-size-varies"},
        {"mv $F2/$I $F2/x.yuv; mv $F3/FCWH* $F3/FCWH_3_0_16_8_nv21.yuv~",
         "image-name image-name image-missing image-missing"},
        // A copy without images is marked.
        {"sed -i 's/<dumpconfig/& images=\"no\"/' $R/pipe1*; rm */FCWH*", ""},
        {"cp $F2/$I $F2/FCWH_2_0_16_8_nv12.yuv", "image-name image-repeated",
         "expected one image, found 2\n"},
        {"mv $F2/$I $F2/_nv12.yuv", "image-name image-missing",
         "expected an image file's name, found a name without all its pieces\n"},
        {"mv $F2/$I $F2/FCWH_2_0_0_8_nv21.yuv", "image-name"},
        {"mv $F2/$I $F2/FCWH_2_0_-16_-8_nv21.yuv", "image-name", "an image, found -16x-8\n"},
        {"mv $F2/$I $F2/FCWH_2_0_016_8_nv21.yuv", "image-name",
         "expected FCWH_2_0_16_8_nv21.yuv, found FCWH_2_0_016_8_nv21.yuv: it is replayed as NV21 "
         "of 16x8\n"},
        {"mv $F2/$I $F2/FCWH_2_1_16_8_nv21.yuv", "image-camera",
         "expected an image of camera 0, as the parameters, found one of camera 1\n"},
        {"mv $F2/$I $F2/FCWH_2_1_16_8_nv21.yuv; rm $R/pipe1*", "config-missing image-camera"},
        {"for f in */FCWH*; do mv $f ${f%_0_16*}_1_16_8_nv21.yuv; done", "image-camera",
         "of the parameters' camera, found one of another camera in 4 of 4 frames\n"},
        // The configuration sets the cameras of all parameters, or may have done so.
        {"for f in */FCWH*; do mv $f ${f%_0_16*}_1_16_8_nv21.yuv; done; "
         "sed -i 's,<pipe>,<camID>0</camID>&,' $R/pipe1*",
         ""},
        {"for f in */FCWH*; do mv $f ${f%_0_16*}_1_16_8_nv21.yuv; done; rm $R/pipe1*",
         "config-missing"},
        {"mv $F2/$I $F2/FCWH_2_0_8_16_nv21.yuv", "image-size-varies image-size-varies",
         "expected 16x8 as in the frame before, found 8x16\n"},
        {"rm $P/mfnr*", "tuning-copy-missing",
         "pipe_1: expected a copy of the tuning file, found none\n"},
        {": > $P/mfnr5.2.xml", "tuning-copy-empty",
         "mfnr5.2.xml: expected a copy of a tuning file, found no bytes\n"},
        {"rm $P/mfnr*; ln -s nowhere $P/mfnr5.2.xml", "file-kind"},
        {"rm $P/mfnr*; mkdir $P/mfnr5.2.xml", "foreign-folder tuning-copy-missing"},
        // Frames of another pipe have their tuning copy in the same folder.
        {"mkdir $R/pipe_3; mv $K $R/pipe_3; mv $R/pipe1* $R/pipe3_dumpConfig.xml", ""},
        {"mkdir $R/pipe_3; mv $K $R/pipe_3; mv $R/pipe1* $R/pipe3_dumpConfig.xml; : > "
         "$P/mfnr5.2.xml",
         "tuning-copy-empty"},
        {"mkdir $R/pipe_3; cp -r $K $R/pipe_3; rm -r $K", "no-frames config-missing"},
        {"rm -r $K $R/pipe1*", "no-frames"},
        {"echo '<a' > $F2/iSceneInfo.xml", "scene-xml",
         "expected an XML document, found none: Error parsing start element tag\n"},
        // The rest of an overwritten longer text, a comment, a field twice.
        {"echo '</iSceneInfo' >> $F2/iSceneInfo.xml", "scene-xml"},
        {"echo 'Info>' >> $F2/iSceneInfo.xml", "scene-xml-extra"},
        {"printf '\\0x' >> $F2/iSceneInfo.xml", "scene-xml-extra"},
        {"sed -n '/<iScene/,$p' $F1/iSceneInfo.xml >> $F2/iSceneInfo.xml", "scene-xml-extra",
         "one root element and nothing outside it, found the element iSceneInfo\n"},
        {"echo '<!-- x -->' | tee -a $F2/iSceneInfo.xml >> $R/pipe1_dumpConfig.xml", ""},
        {"sed -i 's,<total_gain>.*,&&,' $F2/iSceneInfo.xml", "scene-xml-extra",
         "expected the element total_gain once, found it twice\n"},
        {"echo 'x' >> $R/pipe1_dumpConfig.xml", "config-element"},
        {"rm $F2/iSceneInfo.xml", "scene-file-missing",
         "iSceneInfo.xml: expected the scene record's text file, found none\n"},
        {"rm $F2/iScene* $F2/*ISCENE*", "parameter-missing scene-file-missing",
         "sofID_2: expected the scene record's files, as in other frames, found none\n"},
        {"truncate -s 5 $F2/ISCENE_CAP_INFO_DETECT_OUT.bin", "scene-block-size",
         "DETECT_OUT.bin: expected 4904 bytes, found 5\n"},
        {"rm $F2/ISCENE_CAP_INFO_DETECT_OUT.bin", "scene-file-missing",
         "DETECT_OUT.bin: expected 4904 bytes of the scene record, found no file\n"},
        {"printf x | dd of=$F2/ISCENE_CAP_INFO_DETECT_OUT.bin conv=notrunc status=none",
         "scene-disagrees", "expected cap_info/detect_out/postproc_type = 2, found 120\n"},
        {"printf x | dd of=$F2/ISCENE_CAP_INFO_DETECT_OUT.bin conv=notrunc bs=1 seek=4903 "
         "status=none",
         "scene-disagrees",
         "expected the bytes of the parameter file, found others from offset 4903 on\n"},
        {"printf x | dd of=$F2/ISCENE_CAP_INFO_DETECT_OUT.bin conv=notrunc status=none; rm "
         "$F2/*ISCENE_INFO*",
         "scene-edited parameter-missing"},
        {"truncate -s 5 $F2/*ISCENE_INFO*", "parameter-size"},
        {"sed -i 's,gain>.*<,gain>7<,' $F2/iSceneInfo.xml", "scene-edited",
         "expected threeA_info/ae_info/total_gain = 1536 as dumped, found 7\n"},
        {"sed -i 's,exp_time>.*<,exp_time>x<,' $F2/iSceneInfo.xml",
         "scene-field-range scene-edited",
         "from 0 to 9223372036854775807, found \"x\": a replay publishes 0\n"},
        {"sed -i /cur_ev/d $F2/iSceneInfo.xml", "scene-field-missing scene-edited",
         "expected the element threeA_info/ae_info/cur_ev, found none\n"},
        {"sed -i 's,cur_ev>.*<,cur_ev> -0.5 <,' $F2/iSceneInfo.xml", ""},
        {"sed -i 's,cur_ev>.*<,cur_ev>-0.5 1<,' $F2/iSceneInfo.xml", "scene-field-range"},
        {"sed -i 's,cur_ev>.*<,cur_ev>1e39<,' $F2/iSceneInfo.xml",
         "scene-field-range scene-edited"},
        {"sed -i 's,gain>.*<,gain>-1<,' $F2/iSceneInfo.xml", "scene-field-range scene-edited"},
        {"sed -i 's,gain>.*<,gain>2147483648<,' $F2/iSceneInfo.xml",
         "scene-field-range scene-edited"},
        {"sed -i 's,gain>.*<,gain>2147483647<,' $F2/iSceneInfo.xml", "scene-edited"},
        {"echo '<a' > $R/pipe1_dumpConfig.xml", "config-xml",
         "a dump configuration in XML, found none: line 1: Error parsing start element tag\n"},
        {"echo '<a/>' > $R/pipe1_dumpConfig.xml", "config-root"},
        {"rm $R/pipe1*; ln -s /dev/zero $R/pipe1_dumpConfig.xml", "config-xml"},
        // A truncated configuration is not read, so nothing is missing.
        {"sed -i 's/_WB_GAINS/_NEW/; $d' $R/pipe1*; rm $R/../../../../tags.xml", "config-xml"},
        // The configuration must be valid, but frames with only an image are complete.
        {"echo '<dumpconfig/>' > $R/pipe1_dumpConfig.xml", ""},
        {"echo '<dumpconfig><common/></dumpconfig>' > $R/pipe1_dumpConfig.xml", ""},
        {"sed -i 's/_WB_GAINS/_WBGAINS/; 0,/>0</s//>2</' $R/pipe1*", "config-dump-type config-tag"},
        {"sed -i s/_WB_GAINS/_WBGAINS/ $R/pipe1*; rm $R/../../../../tags.xml", "parameter-missing"},
    });
    const std::string grey = "head -c 192 /dev/zero | tr '\\0' x > $F2/$I";
    EXPECT_EQ(rulesIn(checkDamaged(grey).out), "");
    EXPECT_EQ(rulesIn(checkDamaged(grey, "--deep").out), "image-uniform");
    // Images with one value per plane, and images with another value at the end of a plane, of the
    // file or of a piece.
    const auto deep = [](const char* pieces) {
        return rulesIn(checkDamaged(std::string("n() { head -c $1 /dev/zero | tr '\\0' $2; }; { ") +
                                        pieces + "; } > $F2/FCWH_2_0_640_480_nv21.yuv; rm $F2/$I",
                                    "--deep")
                           .out);
    };
    EXPECT_EQ(deep("n 307200 a; n 153600 b"), "image-size-varies image-uniform image-size-varies");
    for (const char* const pieces :
         {"n 307199 a; n 153601 b", "n 307201 a; n 153599 b", "n 460799 a; n 1 b",
          "n 262144 a; n 45056 b; n 153600 a", "n 1 b; n 460799 a"}) {
        EXPECT_EQ(deep(pieces), "image-size-varies image-size-varies") << pieces;
    }
}

TEST_F(CheckTest, StatusAndOutput) {
    const char* const edited = "sed -i 's,gain>.*<,gain>7<,' $F2/iSceneInfo.xml";
    EXPECT_EQ(checkDamaged(edited, "--fail-on warning").status, 0);
    EXPECT_EQ(checkDamaged("rm $F2/$I", "--fail-on error").status, 0);
    EXPECT_EQ(checkDamaged("rm $F2/$I", "--fail-on warning").status, 3);
    EXPECT_EQ(checkDamaged("rm $F2/$I", "--frames 3..").status, 0);
    EXPECT_EQ(checkDamaged(":", "--frames 9").status, 2);
    EXPECT_EQ(
        checkDamaged("rm ../../../../../../tags.xml; mkfifo ../../../../../../tags.xml").status, 1);
    const Result counted =
        checkDamaged("truncate -s 191 $F2/$I; rm $F3/FCWH* $F3/*GAINS*; touch h");
    EXPECT_NE(counted.out.find("c: 1 error, 2 warnings, 1 note: 4 frames in 1 task, 86 files, "),
              std::string::npos)
        << counted.out;
    const Result several = checkDamaged("rm $F2/$I", "base none --jobs 3 --json");
    EXPECT_EQ(several.status, 1);
    EXPECT_NE(several.out.find(R"("rule":"image-missing","severity":"warning")"),
              std::string::npos);
    EXPECT_NE(several.out.find(R"("frame":2,"expected":"an image","found":"none")"),
              std::string::npos);
    EXPECT_NE(several.out.find(R"("counts":{"error":0,"warning":0,"note":0})"), std::string::npos);
    EXPECT_NE(several.out.find(R"("ok":false,"errors":["'none')"), std::string::npos)
        << several.out;
}

TEST_F(CheckTest, UnreadableFiles) {
    // The superuser can read everything unless setpriv drops this right.
    const std::string user =
        geteuid() == 0 ? "setpriv --bounding-set=-dac_override,-dac_read_search " : "";
    expectRules({{"chmod 0 $F2/$I $F3/*Scene* $F3/*SCENE_CAP*",
                  "file-unreadable file-unreadable "
                  "file-unreadable file-unreadable"},
                 {"chmod 0 $P/mfnr*", "file-unreadable"},
                 {"chmod 0 $F2", "folder-unlisted"},
                 {"chmod 444 $F2", "folder-unlisted"},
                 {"chmod 0 $K", "folder-unlisted"},
                 {"chmod 0 $P", "folder-unlisted"},
                 {"chmod 0 $R", "folder-unlisted no-frames"}},
                user);
    // A deep check reports nothing twice.
    const char* const closed =
        "chmod 0 $F2/$I; rm $F2/$G $F3/FCWH*; mkdir $F2/$G; mkfifo $F3/FCWH_";
    const Result deep = checkDamaged(std::string(closed) + "3_0_16_8_nv21.yuv", "--deep", user);
    EXPECT_EQ(rulesIn(deep.out), "file-kind file-unreadable file-kind") << deep.out;
    // A named folder is checked even if the folder above cannot be listed.
    checkDamaged("echo $K/$F2 > $R/../../../../../named; rm $F2/FCWH*; chmod 311 $K");
    const Result named = shell(user + TYKSIM_COMMAND " check $(cat named) 2>&1");
    EXPECT_EQ(rulesIn(named.out), "image-missing") << named.out;
}

TEST_F(CheckTest, PartsOfATree) {
    const std::string task = "c/data/vendor/cameraserver/tykdump/pipe_1/*_task_0";
    struct Case {
        const char* script;
        std::string arguments;
        const char* rules;
    };
    const Case cases[] = {
        {": > $P/mfnr5.2.xml; rm $F2/FCWH*; truncate -s 3 $F3/*GAINS*", task,
         "parameter-size image-missing tuning-copy-empty"},
        {"rm $F2/FCWH* $F4/*GAINS*; touch h", task + "/*_reqID_2_*", "image-missing"},
        // A single frame is not the last of a task.
        {"rm $F4/FCWH*", task + "/*_reqID_4_*", "image-missing"},
        // The tag table in the device root is found from every folder in it.
        {"touch $F2/FCPDT_2_0_1_1_NEW.bin; rm $R/pipe1*", "c/data/vendor/cameraserver/tykdump",
         "config-missing parameter-empty parameter-unknown-tag"},
        {"touch $F2/FCPDT_2_0_1_1_NEW.bin", "c/data/vendor/cameraserver/tykdump/pipe_1",
         "parameter-empty parameter-unknown-tag"},
        {"touch $F2/FCPDT_2_0_1_1_NEW.bin", task + "/*_reqID_2_*",
         "parameter-empty parameter-unknown-tag"},
        {"rm $F4/FCWH*", "c --frames ..3", ""},
        {"rm $F4/FCWH*", "c --frames 4", "image-missing"},
        {"mv $F3 ${F3%2}9; rm $F2/FCWH*", "c --requests 2 --sofs 2", "image-missing"},
        {"cp -r $P $R/pipe_2; touch $R/pipe_2/x; mv $F3 ${F3%_req*}_3", "c --pipe 2",
         "foreign-file config-missing"},
        {"cp -r $K $P/10000101000000000_task_0; rm $F2/FCWH*", "c --task 2", "image-missing"},
    };
    for (const Case& one : cases) {
        checkDamaged(one.script);
        const Result result = shell(TYKSIM_COMMAND " check " + one.arguments + " 2>&1");
        EXPECT_EQ(rulesIn(result.out), one.rules) << one.script << "\n" << result.out;
    }
}

class Rules : public tyktree::FindingSink {
public:
    void add(const tyktree::Finding& finding) override {
        list += (list.empty() ? "" : " ") + std::string(ruleOf(finding.rule).name);
    }
    std::string list;
};

TEST_F(CheckTest, FileSystemWithoutEntryTypes) {
    hideEntryTypes = true;
    const auto index =
        tyktree::TreeIndex::read(tyktree::resolveTree(root_ + "/base").value()).value();
    Rules rules;
    const auto totals = checkTree(index, {}, {}, {}, rules);
    hideEntryTypes = false;
    EXPECT_EQ(totals.frames, 4U);
    EXPECT_EQ(totals.files, 88U);
    EXPECT_EQ(rules.list, "entry-type-unknown entry-type-unknown entry-type-unknown");
}

TEST_F(CheckTest, Configurations) {
    const auto entry = [](const std::string& inside) {
        return "<dumpconfig><common>\n" + inside + "</common></dumpconfig>";
    };
    const auto tag = [&entry](const std::string& children,
                              const char* attributes = "value=\"KELV_TAG_WB_GAINS\"") {
        return entry(std::string("<tag ") + attributes + ">" + children + "</tag>");
    };
    const std::string whole = "<pipe>VIDEO_TYPE</pipe><dumpType>0</dumpType>";
    struct Case {
        std::string text, rules, says, tags = "--tags t.xml";
    };
    const Case cases[] = {
        {tag(whole), "", "one frame: 1 file, 16 B, without the image"},
        {"<dump", "config-xml", "line 1"},
        {"<dumpConfig/>", "config-root", "\"dumpConfig\""},
        {"<dumpconfig/>", "config-root", "neither"},
        {entry(""), "config-root", "entries"},
        {tag(whole, "value='KELV_TAG_WBGAINS'"), "config-tag",
         "The nearest are KELV_TAG_WB_GAINS."},
        {tag(whole, "name='KELV_TAG_WB_GAINS'"), "config-attribute", "attribute value"},
        {tag("<pipe>VIDEO</pipe><dumpType>0</dumpType>"), "config-pipe", "PREVIEW_TYPE"},
        {tag("<dumpType>0</dumpType>"), "config-pipe", "found line 2: none"},
        {tag("<pipe>VIDEO_TYPE</pipe>"), "config-dump-type", "It is taken for 0"},
        {tag("<pipe>VIDEO_TYPE</pipe><dumpType>1</dumpType>"), "config-dump-type", "kind fixed"},
        {tag("<pipe>VIDEO_TYPE</pipe><dumpType>2</dumpType>"), "config-dump-type", "not dumped"},
        {tag(whole + "<sofid>1</sofid>"), "config-filter-case", "expected sofID"},
        {tag(whole + "<camID>x</camID><camid>1</camid>"), "config-element config-element",
         "It is read as 0"},
        {entry("<tag value='KELV_TAG_WB_GAINS'>" + whole +
               "</tag><old value='KELV_TAG_GAMMA_CURVE'>" + whole + "</old>"),
         "config-element", "read as an entry anyway"},
        {entry("<old/><tag value='KELV_TAG_WB_GAINS'>" + whole + "</tag>"), "config-element",
         "not read"},
        {"<dumpconfig><common><tag value='KELV_TAG_WB_GAINS'>" + whole +
             "</tag></common>\n<common/>\n<other/></dumpconfig>",
         "config-element config-element", "found line 3: \"other\""},
        {"<dumpconfig><pipeline><old/><node name='n'/><stage name='n'><tag "
         "name='KELV_TAG_WB_GAINS'>" +
             whole + "</tag></stage></pipeline></dumpconfig>",
         "config-element config-element", "It is read as a node anyway."},
        {entry("<tag value='KELV_TAG_WB_GAINS'>" + whole + "</tag><tag value='KELV_TAG_WB_GAINS'>" +
               whole + "</tag>"),
         "config-repeated", "one frame: 1 file"},
        // Entries with a different filter are not repetitions.
        {entry("<tag value='KELV_TAG_WB_GAINS'>" + whole +
               "<camID>1</camID></tag><tag value='KELV_TAG_WB_GAINS'>" + whole +
               "<camID>2</camID></tag><tag value='KELV_TAG_WB_GAINS'>" + whole +
               "<camID>2</camID><sofID>-1</sofID></tag><tag value='KELV_TAG_WB_GAINS'>" + whole +
               "<sofID>2</sofID></tag><tag value='KELV_TAG_WB_GAINS'><pipe>PREVIEW_TYPE</pipe>"
               "<dumpType>0</dumpType></tag>"),
         "config-repeated", "one frame: 4 files, 64 B, without the image"},
        {entry("<tag value='LARGE'>" + whole + "</tag>"), "config-too-large",
         "found line 2: LARGE"},
        {"<dumpconfig><pipeline><node name='n'><tag name='KELV_TAG_ISCENE_INFO'><pipe>"
         "SNAPSHOT_TYPE</pipe><dumpType>0</dumpType></tag></node></pipeline></dumpconfig>",
         "", "one frame: 4 files, 14.2 kB, including the scene record's"},
        // Without a tag table unknown tags are not findings.
        {tag(whole, "value='NOBODY'"), "", "clean; without --tags", ""},
    };
    shell(
        "sed 's,</tags>,<tag id=\"9\" name=\"LARGE\" size=\"512001\" kind=\"fixed\"/></tags>,' "
        "base/tags.xml > t.xml");
    for (const Case& one : cases) {
        std::ofstream(root_ + "/config.xml") << one.text;
        const Result result = shell(TYKSIM_COMMAND " check config.xml " + one.tags + " 2>&1");
        EXPECT_EQ(rulesIn(result.out), one.rules) << one.text << result.out;
        EXPECT_NE(result.out.find(one.says), std::string::npos) << one.says << "\n" << result.out;
        EXPECT_EQ(result.status, one.rules.empty() ? 0 : 3);
    }
}

TEST_F(CheckTest, DocumentationHasTheRules) {
    const Result rules = shell(TYKSIM_COMMAND " check --rules");
    EXPECT_NE(shell("cat '" TYK_SOURCE_FOLDER "/docs/check.md'")
                  .out.find("\n```\n" + rules.out + "```\n"),
              std::string::npos);
}

}  // namespace

/// Replaces the C library's function.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" dirent* readdir(DIR* folder) {
    static auto* const real = reinterpret_cast<dirent* (*)(DIR*)>(dlsym(RTLD_NEXT, "readdir"));
    dirent* const entry = real(folder);
    if (entry && hideEntryTypes) entry->d_type = DT_UNKNOWN;
    return entry;
}
