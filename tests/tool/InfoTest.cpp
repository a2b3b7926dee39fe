// Tests of tyksim info: counts, sizes and dates.
#include "tests/tool/ToolRun.h"

namespace tooltest {

namespace {

/// Irregular frames: gaps, a request twice, a pause, and a frame without an image.
const char* const kOutOfOrder = R"sh(
(cd $K
 mv *_reqID_1_* 0228235959900_reqID_1_sofID_1
 mv *_reqID_2_* 0229000000000_reqID_2_sofID_3
 mv *_reqID_3_* 0301000000033_reqID_2_sofID_5
 cp -r 0301* 0301000001033_reqID_7_sofID_11
 rm 0301000001*/FCWH*)
truncate -s 5 $K/0229*/*GYRO*
)sh";

Rows outOfOrder() {
    return after(
        kOutOfOrder,
        {
            {"GapsRepetitionsAndPauses",
             "tyksim info r",
             {"4 frames in 24 h 00 min ", "requests 1..2, 7 ", "sofs 1, 3, 5, 11\n",
              "sofs missing: 7..10\n", "requests repeated: 2\n",
              "longest pause: 24 h 00 min before frame 3 (usually 1.000 s)",
              "1 frame without an image"}},
            {"GoldenLayout",
             "tyksim info r --by frame; tyksim info r --by tag",
             {"  4 frames in 24 h 00 min  64x48  18 parameters  ",
              "\n          requests 1..2, 7  sofs 1, 3, 5, 11\n"
              "          sofs missing: 7..10\n",
              "\n    frame  time               +ms  request  sof  image  files   bytes\n"
              "        1  23:59:59.900                  1    1  64x48     22  ",
              "\n        2  00:00:00.000       100        2    3  64x48     22  ",
              "\n        3  00:00:00.033  86400033        2    5  64x48     22  ",
              "\n        4  00:00:01.033      1000        7   11      -     21  ",
              "\n4 frames, 87 files, ",
              "\n    tag                           camera  pipe type  dump type  frames            "
              "size   bytes\n",
              "\n    KELV_TAG_WB_GAINS                  0          1          0       4            "
              " "
              " 16      64\n",
              "  4         5..4096  "}},
            {"FramesAndTagsAsJson",
             "tyksim info r --json",
             {R"("time":"02-28T23:59:59.900","width":64,"height":48,"files":22,)",
              R"("frame":4,"request":7,"sof":11,)", R"("width":null,"height":null,"files":21,)",
              R"({"tag":"KELV_TAG_WB_GAINS","camera":0,"pipe_type":1,"dump_type":0,"frames":4,)"
              R"("bytes":64})"}},
        });
}

/// The text of file sizes and durations.
Rows numbers() {
    Rows rows;
    for (const auto& [size, text] : {std::pair<const char*, const char*>{"0", "0 B"},
                                     {"999", "999 B"},
                                     {"1000", "1.00 kB"},
                                     {"9994", "9.99 kB"},
                                     {"9995", "10.0 kB"},
                                     {"99949", "99.9 kB"},
                                     {"99950", "100 kB"},
                                     {"999499", "999 kB"},
                                     {"999500", "1.00 MB"},
                                     {"999500000", "1.00 GB"}}) {
        rows.push_back(
            {std::string("SizeOf") + size,
             std::string("truncate -s ") + size + " $D/pipe_1/mfnr5.2.xml; tyksim info r",
             {std::string("xml, ") + text + "\n"}});
    }
    for (const auto& [time, text] : {std::pair<const char*, const char*>{"0101000000999", "999 ms"},
                                     {"0101000059999", "59.999 s"},
                                     {"0101000100000", "1 min 00 s"},
                                     {"0101005959999", "59 min 59 s"},
                                     {"0101010000000", "1 h 00 min"}}) {
        rows.push_back({std::string("DurationUntil") + time,
                        std::string("cd $K; rm -r *_reqID_3_*; mv *_reqID_1_* "
                                    "0101000000000_reqID_1_sofID_1; mv *_reqID_2_* ") +
                            time + "_reqID_2_sofID_2; tyksim info .",
                        {std::string("frames in ") + text + " "}});
    }
    return rows;
}

/// Invalid selections of frames.
Rows refused() {
    Rows rows;
    for (const auto& [name, text] : {std::pair<const char*, const char*>{"Backwards", "3..1"},
                                     {"NotANumber", "x"},
                                     {"Dots", ".."},
                                     {"CommaAtTheEnd", "1,"},
                                     {"LetterAfterANumber", "2x..3"},
                                     {"EndIsNotANumber", "1..y"},
                                     {"Zero", "0"},
                                     {"FromZero", "0..2"},
                                     {"Negative", "-1"}}) {
        rows.push_back(
            {std::string("FramesAre") + name,
             std::string("fails 2 tyksim info r --frames '") + text + "'",
             {std::string("from 1 and ranges such as 3..9,12, found \"") + text + "\"\n"}});
    }
    return rows;
}

}  // namespace

Rows infoRows() {
    Rows rows = {
        {"FrameWithoutIdsInItsName",
         "rm $F3/FCWH*; mv $F3 ${F3%_req*}; tyksim info r --by frame",
         {"\n3 frames, 65 files, ", "requests 1..2 ", "sofs 1..2\n"}},
        {"SelectedFramesByTask",
         R"sh(rm $F3/FCWH*; mv $F3 ${F3%_req*}
              tyksim info r --frames 1,3.. --by task)sh",
         {"\n2 frames, 43 files, ", "requests 1 ", "sofs 1\n"}},
        {"FramesAreEmpty", "fails 2 tyksim info r --frames ''", {"found '' ("}},
        {"NoFrames", "rm -r $K/*; tyksim info r", {"no frames"}},
    };
    for (const Rows& others : {outOfOrder(), numbers(), refused()}) {
        rows.insert(rows.end(), others.begin(), others.end());
    }
    return rows;
}

}  // namespace tooltest
