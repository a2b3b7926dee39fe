// Tests of tyksim diff and of a sheet of two trees: they report all differences and nothing else.
#include "tests/tool/ToolRun.h"

namespace tooltest {

namespace {

/// Several files of frames 2 and 3 differ or cannot be compared.
const char* const kMany = R"sh(
cp -a r p; G=p${F2#r}
truncate -s 5 $G/*GAINS*; touch $G/x
printf x | dd of=$G/ISCENE_CAP_INFO_DETECT_OUT.bin bs=1 seek=300 conv=notrunc
mv $G/FCWH* $G/FCWH_2_0_48_64_nv21.yuv
G=p${F3#r}
rm $G/*TONE* $G/FCWH*; mkdir $G/FCPDT_3_0_1_0_KELV_TAG_TONE_CURVE.bin; echo '<' >$G/iSceneInfo.xml
)sh";

Rows files() {
    return {
        {"SummaryCountsFrames",
         std::string(kMany) + "fails 3 tyksim diff r p",
         {"3 frames matched by request id, 2 differ\n", "2 images not compared\n", "!y same"}},
        {"FileThatIsShorter",
         std::string(kMany) + "fails 3 tyksim diff r p",
         {"11 bytes differ, the first is at 5, 16 -> 5 bytes\n    gains[1]: 1 -> \n", "!gains[0]",
          "blue: 1.5680001 -> \n"}},
        {"FileOfAnotherByte",
         std::string(kMany) + "fails 3 tyksim diff r p",
         {"DETECT_OUT.bin: 1 byte differs, it is at 300\n"}},
        {"FileInOneOnly",
         std::string(kMany) + "fails 3 tyksim diff r p",
         {"  x: only in B\n", "image: only in A\n"}},
        {"ImageOfAnotherSize",
         std::string(kMany) + "fails 3 tyksim diff r p",
         {"image: 64x48 -> 48x64\n"}},
        {"FilesThatCannotBeRead",
         std::string(kMany) + "fails 3 tyksim diff r p",
         {"TONE_CURVE (pipe type 1, camera 0): cannot be read\n", "!points",
          "TONE_CURVE.bin: cannot be read: not a regular file",
          "iSceneInfo.xml: cannot be read: "}},
        {"ImageCut",
         "cp -a r p; truncate -s 99 p${F2#r}/FCWH*; fails 3 tyksim diff r p",
         {"y same; u not compared; v not compared; compared 99 of 3072 samples of y; 4608 -> 99 "
          "bytes\n"}},
        {"TuningCopies",
         R"sh(cp -a r p; P=p${D#r}/pipe_1; echo x >>$P/mfnr5.2.xml; touch $P/mfnr4.xml
              fails 3 tyksim diff r p
              fails 3 tyksim diff r p --json)sh",
         {"mfnr4.xml: only in B\nmfnr5.2.xml: 2 bytes differ, the first is at ",
          "id, all the same\n", R"("tuning_copies":[{"name":"mfnr4.xml")"}},
        {"TuningCopiesOfPipesAlone",
         R"sh(cp -a r p; P=p${D#r}/pipe_1; echo x >>$P/mfnr5.2.xml
              fails 3 tyksim diff $D/pipe_1 $P
              tyksim diff r p${K#r}; tyksim diff $F2 p --frames 2)sh",
         {"!only in"}},
        {"FieldInARawBlock",
         R"sh(cp -a r p
              printf x | dd of=p${F3#r}/ISCENE_CAP_INFO_DETECT_OUT.bin bs=1 conv=notrunc
              fails 3 tyksim diff r p
              tyksim diff r p --ignore cap_info/detect_out/postproc_type)sh",
         {"1 byte differs, it is at 0\n", "3 frames matched by request id, all the same"}},
        {"ElementsOfAnArray",
         R"sh(tyksim copy r -o p --set KELV_TAG_WB_GAINS.gains[0]=7 \
                  --set KELV_TAG_WB_GAINS.gains[2]=8
              fails 3 tyksim diff r p --ignore KELV_TAG_WB_GAINS.gains[0])sh",
         {"2 bytes differ, the first is at 10", "gains[2]: 1 -> 8", "!    gains[0]", "!    red"}},
    };
}

Rows ignored() {
    return {
        {"IgnoreTheImage",
         R"sh(cp -a r p; truncate -s 99 p${F2#r}/FCWH*; rm r/data/*/*/*/*/*/*_reqID_3_*/FCWH*
              tyksim diff r p --ignore image
              tyksim diff $F2 p${F2#r} --ignore image)sh",
         {"3 frames matched by request id, all the same",
          "1 frame matched by request id, all the same"}},
        {"IgnoreAField",
         "tyksim copy r -o p --set exp_time=7; tyksim diff r p --ignore exp_time",
         {"all the same"}},
        {"IgnoreAnEncodingOfTheScene",
         R"sh(tyksim copy r -o p --set exp_time=7
              fails 3 tyksim diff r p --ignore KELV_TAG_ISCENE_INFO)sh",
         {"threeA_info/ae_info/exp_time: 11250000 -> 7\n", "!KELV_TAG_ISCENE"}},
    };
}

/// Names with another meaning for a replay, or the same meaning in another spelling; the order of
/// frames.
Rows names() {
    return after(R"sh(
cp -a r p
G=p${F2#r}; for f in $G/FC*_2_*; do mv $f $G/$(basename $f | sed s/_2_/_7_/); done
)sh",
                 {
                     {"OtherSofIdsInNames",
                      R"sh(fails 3 tyksim diff r p; fails 3 tyksim diff r p --json
                           tyksim diff r p --ignore sof)sh",
                      {"id, 1 differs\n", R"("names":{"sof":1,"other":0})",
                       "\n  sof: 2 -> 7 in the names of 19 files\n", "id, all the same\n"}},
                     {"OtherNames",
                      R"sh(cp $F3/*GAINS* $F3/FCPDT_1_0_1_0_KELV_TAG_WB_GAINS.bin
                           G=p${F3#r}; mv $G/FCWH* $G/FCWH_3_00_64_48_nv21.yuv
                           fails 3 tyksim diff r p --ignore sof)sh",
                      {"\n  KELV_TAG_WB_GAINS (pipe type 1, camera 0): only in A\n  name: ",
                       "  name: FCWH_3_0_64_48_nv21.yuv -> FCWH_3_00_64_48_nv21.yuv\n"}},
                     {"OtherOrder",
                      R"sh(G=p${F3#r}; mv $G/FCWH* $G/FCWH_3_00_64_48_nv21.yuv
                           mv $G p${K#r}/0000000000000_reqID_3_sofID_3
                           fails 3 tyksim diff r p --ignore sof --json
                           fails 3 tyksim diff r p)sh",
                      {R"("moved":1,"images)", R"({"a":"FCWH_3_0_64_48_nv21.yuv","b":"FCWH_3_00)",
                       "request 3: A task 1 frame 3, B task 1 frame 1\n",
                       "  order: after request 2 in A, "}},
                 });
}

Rows matching() {
    return {
        {"WorstFirst",
         R"sh(cp -a r p; G=p${F3#r}; sed -i 's,gain>.*<,gain>7<,' $G/iScene*; touch $G/x
              printf x >p${F2#r}/FCPDT_2_0_1_0_KELV_TAG_STREAM_QUALITY.bin
              fails 3 tyksim diff r p)sh",
         {"worst first:\nrequest 3: ", "\nrequest 2: A", "percent: 91 -> 120 %\n"}},
        {"GoldenLayout",
         R"sh(cp -a r p; G=p${F3#r}; sed -i 's,gain>.*<,gain>7<,' $G/iScene*; touch $G/x
              printf x >p${F2#r}/FCPDT_2_0_1_0_KELV_TAG_STREAM_QUALITY.bin
              printf '\0\0' | dd of=p${F2#r}/FCWH_2_0_64_48_nv21.yuv bs=1 seek=99 conv=notrunc
              fails 3 tyksim diff r p)sh",
         {"3 frames matched by request id, 2 differ\n"
          "  differs                                  frames\n"
          "  image                                         1  y ",
          "; u same; v same\n"
          "  scene    threeA_info/ae_info/total_gain       1\n"
          "  tag      KELV_TAG_STREAM_QUALITY              1  at most 1 byte\n"
          "             percent                            1\n"
          "  file     x                                    1  only in B 1\n"
          "worst first:\n"
          "request 2: A task 1 frame 2, B task 1 frame 2\n"
          "  image: y ",
          "\n  KELV_TAG_STREAM_QUALITY (pipe type 1, camera 0): 1 byte differs, it is at 0\n"
          "    percent: 91 -> 120 %\n"
          "request 3: A task 1 frame 3, B task 1 frame 3\n"
          "  scene record:\n"
          "    threeA_info/ae_info/total_gain: 2048 -> 7\n"
          "  x: only in B\n"}},
        {"NoFrameMatches",
         "cp -a r p; rm -r $F2 $F3 p${K#r}/*_reqID_1_*; fails 3 tyksim diff r p",
         {"no frame of A matches one of B by request id: nothing was compared\n1 frame is",
          "1 frame is only in A: request 1\n2 frames are only in B: requests 2..3\n"}},
        {"FrameThatCannotBeRead",
         R"sh(cp -a r p; rm -r $F3 p${F3#r}; ln -s /tmp $F3
              fails 3 tyksim diff r p
              fails 3 tyksim diff r p --json)sh",
         {"2 frames matched by request id, the readable part is the same\n",
          R"("same":false,"ok":false)"}},
        {"TwoFramesOfOneTree",
         "fails 3 tyksim diff $F2 $F3",
         {"request 2: A task 1 frame 2, B task 1 frame 3\n", "!only in"}},
    };
}

/// Tasks match by name, else by position, and by pipe if there are several.
Rows tasks() {
    return after(R"sh(
tyksim record r --frames 2 --size 16x8; tyksim record r --frames 1 --size 16x8 --pipe 3
cp -a r p; P=p${D#r}; rm $P/pipe_3/*/*/FCWH*
)sh",
                 {
                     {"TasksByName",
                      "tyksim diff r p --pipe 1",
                      {"\n5 frames matched by request id, all the same\n"}},
                     {"TasksOfSeveralPipes",
                      "fails 3 tyksim diff r p",
                      {"\n6 frames matched by request id, 1 differs\n  differs"}},
                     {"TasksByPlace",
                      R"sh(for k in $P/pipe_*/*_task_0; do mv $k ${k%/*}/1${k##*/}; done
                           tyksim diff r p --pipe 1 --task 2)sh",
                      {"\n2 frames matched by request id, all the same\n"}},
                     {"TaskInOneOnly",
                      R"sh(for k in $P/pipe_*/*_task_0; do mv $k ${k%/*}/1${k##*/}; done
                           rm -r $(ls -d $P/pipe_1/1* | tail -1)
                           fails 3 tyksim diff r p)sh",
                      {("\n4 frames matched by request id, 1 differs\n"
                        "2 frames are only in A: requests 1..2\n")}},
                 });
}

/// A sheet of two trees has the same differences, the findings of both trees, and the existing
/// samples of luma.
Rows sheets() {
    return after(R"sh(
cp -a r p
head -c 99 /dev/zero | tr '\0' '\005' >$F3/FCWH_3_0_64_48_nv21.yuv
G=p${F2#r}; : >$G/FCWH_2_0_64_48_nv21.yuv; rm $G/*GAINS* p${F3#r}/FCWH*
fails 3 tyksim sheet r -o x.htm --against p
)sh",
                 {
                     {"SheetCounts",
                      "",
                      {("x.htm: 3 frames, 0 errors, 1 warning, 0 notes; "
                        "p: 2 of 3 frames differ, 1 error, 2 warnings")}},
                     {"SheetOfDifferences",
                      R"sh(grep -o '\[.image",[^]]*]' x.htm
                           grep -o '.KELV_TAG_WB_GAINS (.*A' x.htm)sh",
                      {R"(["image","4608 -\u003e 0 bytes",[null,null,null])",
                       R"(["image","only in A",null,)",
                       "\"KELV_TAG_WB_GAINS (pipe type 1, camera 0)\",\"only in A"}},
                     {"SheetOfFindings",
                      R"sh(grep -o '.other":[^,]*,.at.:0,.frame.:.' x.htm)sh",
                      {R"("other":false,"at":0,"frame":3)", R"("other":true,"at":0,"frame":2)"}},
                     {"SheetOfACutImage",
                      "grep -F '[5,5,5.0,0.0,0.0,1.0]' x.htm",
                      {"[4509,[99,0,0],[0,0,64,48],[5,5,5.0,0.0,0.0,1.0]"}},
                 });
}

}  // namespace

Rows diffRows() {
    Rows rows = files();
    for (const Rows& others : {ignored(), names(), matching(), tasks(), sheets()}) {
        rows.insert(rows.end(), others.begin(), others.end());
    }
    return rows;
}

}  // namespace tooltest
