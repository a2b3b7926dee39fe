// Tests of tyksim record: inputs, refusals, and the place of the tree.
#include "tests/tool/ToolRun.h"

namespace tooltest {

Rows recordRows() {
    return {
        // Sizes and names of the images.
        {"ImageOfOnePixel",
         R"sh(tyksim record p --frames 3 --size 1x1 --pipe 0 --first-sof 7
              both p
              find p -name 'FCWH*' -size 1c)sh",
         {"frame: 0", "folder: 0", "FCWH_7_0_1_1_nv21.yuv"}},
        {"ImageOfAnOddSize",
         R"sh(tyksim record p --frames 3 --size 641x479 --camera 2
              both p
              tyksim show p --frames 1
              find p -name 'FCWH*' -size 460558c)sh",
         {"frame: 0", "folder: 0", "FCWH_1_2_641_479_nv21.yuv",
          "641x479 has an odd side: a dump leaves out the last 561 bytes of its chroma\n"}},
        {"NamesOfSmallFramesAreInTheirOrder",
         R"sh(echo '<dumpconfig><common><tag value="KELV_TAG_WB_GAINS"/></common></dumpconfig>' >c
              tyksim record p --frames 120 --size 1x1 --config c
              ls $(echo p/data/*/*/*/*/*_task_0) | sed 's/.*reqID_//' | sort -nc)sh",
         {"120 dumped"}},
        // Exposure: the photograph's, the user's or simulated.
        {"ExposureOfThePhotographs",
         R"sh(tyksim record p a.jpg b.jpg c.jpg long.jpg --frames 5
              E="KELV_TAG_EXPOSURE_TIME.nanoseconds KELV_TAG_SENSITIVITY.iso"
              tyksim track p $E KELV_TAG_EXPOSURE_BIAS.ev total_gain exp_time --csv)sh",
         {",1,1,20000000,320,-0.5,3276,20000000", ",2,2,11250000,320,-0.5,",
          ",4,4,20000000,102400,-0.5,1048576,", ",5,5,20000000,320,",
          "simulated: exposure time in 2 frames (--exposure sets it), ISO in 1 frame",
          "!odd side"}},
        {"ExposureOfTheUser",
         R"sh(tyksim record p b.jpg good.jpg --exposure 1/125 --iso 70000 --ev -1.5
              E="KELV_TAG_EXPOSURE_TIME.nanoseconds KELV_TAG_SENSITIVITY.iso"
              tyksim track p $E KELV_TAG_EXPOSURE_BIAS.ev total_gain exp_time --csv)sh",
         {",1,1,8000000,70000,-1.5,716800,8000000", ",2,2,8000000,70000,-1.5,",
          "simulated: all parameters except the exposure's"}},
        // The configuration and the tag table.
        {"ConfigurationInTheTreeIsKept",
         R"sh(C=$D/pipe1_dumpConfig.xml
              echo '<dumpconfig><common><tag value="KELV_TAG_WB_GAINS"><pipe>PREVIEW_TYPE</pipe>
                    <camID>5</camID><dumpType>0</dumpType></tag></common></dumpconfig>' >$C
              cp $C kept
              tyksim record r --frames 1 --first-sof 8
              cmp $C kept; ls $D/pipe_1/*/*sofID_8)sh",
         {"files: 2 complete", "FCPDT_8_5_0_0_KELV_TAG_WB_GAINS.bin", "tags.xml (was there)"}},
        {"ConfigurationThatIsWrong",
         R"sh(C=$D/pipe1_dumpConfig.xml; cp $C kept; sed 's/Type>1/Type>0/' $C >bad.xml
              fails 1 tyksim record r --config bad.xml
              cmp $C kept; tyksim record r --frames 1)sh",
         {"KELV_TAG_LENS_SHADING_MAP: expected dump type 1 for a tag of kind block, found 0",
          "1 dumped"}},
        {"ConfigurationWithWarnings",
         R"sh(sed '0,/Type>0/s//Type>2/;s/WB_GAINS/NOBODY/' $D/pipe1_dumpConfig.xml >x.xml
              tyksim record r --frames 1 --config x.xml
              cmp x.xml $D/pipe1_dumpConfig.xml)sh",
         {"config-dump-type", "silently not dumped", "config-tag", "files: 20 complete"}},
        {"TagTableFromAPipe",
         R"sh(sed 's/KELV_TAG_GAMMA_CURVE/A\&quot;B/' r/tags.xml >x.xml
              mkfifo pipe; cat x.xml >pipe &
              tyksim record p --frames 1 --tags pipe
              both p; tyksim info p --by tag)sh",
         {"A\"B", "frame: 0", "folder: 0"}},
        {"TagThatIsTooLarge",
         R"sh(T1='"KELV_TAG_GAMMA_CURVE" size="2048"'
              sed "s/$T1/\"BIG\" size=\"512001\"/" r/tags.xml >x.xml
              fails 3 tyksim record p --tags x.xml --frames 3)sh",
         {"error record-failure: ", "tag BIG: size 512001", "record-failure: 2 more like it",
          "!record-incomplete"}},
        // Properties.
        {"PropertiesThatAskForNoFrameOfThePipe",
         R"sh(for v in 0 2 23; do tyksim record p --property persist.vendor.cam.isstest=$v; done
              rmdir p/data/vendor/cameraserver/tykdump/pipe_1
              tyksim record p --pipe 3 --property persist.vendor.cam.isstest=23)sh",
         {"frames: 0 dumped of 5\n", "asks for no frame of pipe 1", "frames: 5 dumped of 5"}},
        {"PropertyOfTheTuningFile",
         R"sh(tyksim record p --frames 1 --property persist.vendor.cam.mfnr.version=4
              cmp p/data/vendor/cameraserver/tykdump/pipe_1/mfnr4.xml \
                  p/vendor/firmware/mfnr4_default.xml)sh",
         {"1 dumped"}},
        // Failures while it records.
        {"FirstFailureHasTheReasonTheOthersACount",
         "ulimit -f 400; fails 3 tyksim record p --frames 3",
         {"_nv21.yuv: expected 460800 bytes, found 204800: File too large",
          "record-incomplete: 2 more like it"}},
        {"FileSystemWithoutRoom",
         "rm -r $D/pipe_1; ln -s /proc $D/pipe_1; fails 1 tyksim record r",
         {"cannot make the folder: No space left on device (0 bytes and 0 files free)\n"}},
        {"FileInPlaceOfThePipesFolder",
         "rm -rf $D/pipe_1; touch $D/pipe_1; fails 1 tyksim record r",
         {"pipe_1: "}},
        {"OneRecorderAtATimeAndAnOrderedEnd",
         R"sh(bg record r --frames 100000 --size 16x8 & B=$!
              await '[ -e $D/pipe_1/*/*_reqID_5_* ]'
              fails 1 tyksim record r --frames 1
              tyksim record r --frames 1 --pipe 2
              kill -TERM $B; s=0; wait $B || s=$?; echo "first $s"
              tyksim check r --fail-on warning
              tyksim record r --frames 1
              find r -name '*.new*' -o -name '.*')sh",
         {"another recorder is at work on this pipe", "frames: 1 dumped of 1",
          "stopped by Terminated: recorded ", "first 143", ": clean: ", "!\nr/."}},
    };
}

Rows recordRefusesRows() {
    Rows rows = {
        {"PhotographCut", "1 good.jpg cut.jpg", {"cut.jpg: expected a complete JPEG"}},
        {"PhotographHeadOnly", "1 head.jpg", {"found a header that breaks off"}},
        {"PhotographInCmyk", "1 cmyk.jpg", {"cmyk.jpg: expected a photograph in YCbCr or gray"}},
        {"PhotographTooWide", "1 wide.jpg", {"expected at most 16384x12288 pixels, found 16385x1"}},
        {"PhotographMissing", "1 none.jpg", {"none.jpg: cannot be opened: No such file"}},
        {"PhotographIsAFifo", "1 f", {"f: expected a file"}},
        {"TagTableBreaksOff", "1 --tags tags.xml", {"tags.xml"}},
        {"ConfigurationBreaksOff", "1 --config open.xml", {"expected an XML file"}},
        {"ConfigurationOfAnotherKind", "1 --config x.xml", {"root element <dumpconfig>"}},
        {"SizeWithoutHeight", "2 --size 3x", {"expected WxH"}},
        {"SizeTooWide", "2 --size 16385x1", {"expected WxH"}},
        {"SizeBesidePhotographs", "2 good.jpg --size 3x3", {"--raw, found photographs"}},
        {"PropertyWithoutValue", "2 --property x", {"NAME=VALUE"}},
        {"RequestsTooLarge", "2 --first-request 2147483647", {"--first-request"}},
        {"NoFrames", "2 --frames 0", {"--frames"}},
        {"ExposureOfNoTime", "2 --exposure 1/0", {"--exposure: expected seconds such as 1/125"}},
    };
    for (Row& row : rows) {
        row.script = R"sh(mkfifo f; echo '<tags>' >tags.xml; echo '<dumpconfig>' >open.xml
                          echo '<x/>' >x.xml
                          refused() {
                              local status=$1; shift
                              fails $status under 'timeout 9' tyksim record p "$@"
                              [ ! -e p ]
                          }
                          refused )sh" +
                     row.script;
    }
    return rows;
}

Rows recordRootsRows() {
    return {
        {"BelowAFile", "fails 1 tyksim record good.jpg/p", {"Not a directory"}},
        {"Empty", "fails 2 tyksim record ''", {"ROOT: expected a value, found ''"}},
        {"PartsOfATree",
         R"sh(snap >before; ln -sfn $D l
              for o in $D $D/pipe_1 $D/pipe_7 $K $F2 r/data l/pipe_2; do
                  fails 2 tyksim record $o good.jpg --frames 1
              done
              snap | cmp before)sh",
         {"pipe_1: is the folder of a pipe, and a recording makes a tree of its own",
          "/r' good.jpg --pipe 1\n", "/r' good.jpg --pipe 7\n", "/r' good.jpg --pipe 2\n",
          "data: is inside the tree of a device root"}},
        {"DumpRootByItself",
         R"sh(mkdir p; mv $D p/y
              fails 2 tyksim record p/y --frames 1
              fails 2 tyksim record p/y/pipe_1 --frames 1
              tyksim record p/y/x --frames 1)sh",
         {"holds pipes, tasks or frames", "tyksim record ROOT"}},
        {"DumpRootByItsName",
         R"sh(mkdir p; mv $D p/tykdump
              fails 2 tyksim record p/tykdump/x --frames 1
              [ ! -e p/tykdump/x ])sh",
         {"p/tykdump/x: is a dump root, and"}},
        {"PhotographInPlaceOfTheRoot",
         R"sh(fails 2 tyksim record new.JPG good.jpg p
              fails 2 tyksim record good.jpg
              fails 2 tyksim record good.jpg a.jpg
              [ ! -e new.JPG ])sh",
         {"new.JPG: is a photograph", "in front of it: tyksim record p new.JPG good.jpg\n",
          "tyksim record ROOT good.jpg a.jpg\n"}},
        {"FolderWithThePhotographsEnding",
         "mkdir p.jpg; tyksim record p.jpg --frames 1",
         {"1 dumped"}},
    };
}

}  // namespace tooltest
