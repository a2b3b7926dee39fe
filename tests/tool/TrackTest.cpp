// Tests of tyksim track: values over the frames, as columns, CSV and a chart.
#include "tests/tool/ToolRun.h"

namespace tooltest {

Rows trackRows() {
    return {
        {"ValuesOfEveryKindAsCsv",
         "tyksim track r total_gain KELV_TAG_STREAM_SIZE.width KELV_TAG_WB_GAINS.blue --csv",
         {"1,1,2,2,2,1536,64,1.5680001"}},
        {"SeveralFilesOfATag",
         R"sh(cp $F2/*GAINS* $F2/FCPDT_2_3_1_0_KELV_TAG_WB_GAINS.bin
              printf '\0\0\0\0' | dd of=$F2/FCPDT_2_3_1_0_KELV_TAG_WB_GAINS.bin conv=notrunc
              rm $F3/*GAINS*; mkdir $F3/FCPDT_3_0_1_0_KELV_TAG_WB_GAINS.bin
              fails 3 tyksim track r KELV_TAG_WB_GAINS.red --csv)sh",
         {"some frames have several files", "\n1,1,2,2,2,1.767\n", "not a regular file",
          "\n1,1,3,3,3,\n"}},
        {"GoldenLayout",
         R"sh(rm $F2/iScene* $F2/*ISCENE_INFO*
              tyksim track r total_gain KELV_TAG_WB_GAINS.red KELV_TAG_STREAM_SIZE.width)sh",
         {"pipe  task  frame  request      sof    total_gain  KELV_TAG_WB_GAINS.red  "
          "KELV_TAG_STREAM_SIZE.width (pixels)\n"
          "   1     1      1        1        1          1024                  1.748  "
          "                                 64\n"
          "   1     1      2        2        2 *           - *                1.767  "
          "                                 64\n"
          "   1     1      3        3        3 *        2048 *                1.786  "
          "                                 64\n"}},
        {"SceneThatBreaksOff",
         "sed -i '$d' $F2/iSceneInfo.xml; fails 3 tyksim track r total_gain --csv",
         {"total_gain: Start-end tags mismatch\n", "\n1,1,2,2,2,\n"}},
        {"GoldenLayoutOfAChart",
         "tyksim track r total_gain --svg p; cat p",
         {"y=\"28.0\" class=\"scale\">2048</text>", "y=\"128.0\" class=\"scale\">1024</text>",
          "\"M90.00 124.00h0L515.00 74.00L940.00 24.00\""}},
        // Each of the two frames begins a part of the line, which has no length.
        {"ChartWithAGap",
         R"sh(rm $F2/iScene* $F2/*ISCENE_INFO*
              any tyksim track r total_gain --svg p
              sed -n 's/.*class="line" d=//p' p | tr -dc 'A-Za-z\n')sh",
         {"MhMh\n"}},
        {"ChartInTheInput", "fails 2 tyksim track r total_gain --svg r/x", {"lies in the input"}},
        {"ChangesOnly",
         "tyksim copy r -o p --set total_gain=5; tyksim track p total_gain --changes --csv; echo "
         "end",
         {",total_gain\n1,1,1,1,1,5\nend\n"}},
        {"RowsOfSeveralTrees",
         R"sh(cp -r r s
              tyksim track r s -n total_gain KELV_TAG_WB_GAINS.gains -n image.flicker \
                  KELV_TAG_WB_GAINS --rows --frames 1 |
                  sed 's/"20[0-9-]*T[0-9:]*\.[0-9]*"/TIME/; s/crc32 [0-9a-f]*,/CRC/')sh",
         {R"({"path":"r","pipe":1,"task":1,"frame":1,"request":1,"sof":1,"time":TIME,)"
          R"("total_gain":1024,"KELV_TAG_WB_GAINS.gains":[1.748,1.0,1.0,1.552],)"
          R"("image.flicker":null,"KELV_TAG_WB_GAINS":"CRC 16 bytes"})"
          "\n"
          R"({"path":"s",)"}},
        {"RowsOfAMissingTree",
         "fails 1 tyksim track gone r -n total_gain --rows",
         {"'gone': ", "\"total_gain\":2048}\n"}},
        {"CsvOfSeveralTrees",
         "cp -r r s; tyksim track r s -n total_gain --csv",
         {"path,pipe,task,frame,request,sof,total_gain\nr,1,1,1,1,1,1024\n",
          "\ns,1,1,3,3,3,2048\n"}},
        {"EveryField", "tyksim track r --all --csv", {"sof,ev0,ev1,", "KELV_TAG_WB_GAINS.red"}},
        {"EveryFieldOfTreesWithOtherTables",
         "cp -r r s; rm s/tags.xml; fails 1 tyksim track r s --all --csv",
         {"s: expected the fields of the tree before, found others; --rows takes"}},
        {"ChartOfSeveralTrees",
         "fails 2 tyksim track r r -n ev1 --svg p",
         {"--svg: expected one tree, found 2"}},
        {"NoName", "fails 2 tyksim track r", {"expected NAME, found none"}},
        {"NameThatIsATree",
         "fails 2 tyksim track r base x",
         {"\"base\": no tag, field", "; base is a folder: with several trees, put -n in front"}},
        {"TreeBehindNames",
         "fails 2 tyksim track -n sx r --csv; fails 2 tyksim track -n sx r base",
         {"expected TREE, found none; --name takes every word after it: put TREE in front of it",
          "\"r\": no tag", "; r is a folder: put the trees in front of -n\n"}},
        {"ChangesOfAnyColumn",
         R"sh(tyksim copy r -o p --set total_gain=5
              tyksim track p total_gain exp_time --changes --csv)sh",
         {"\n1,1,2,2,2,5,11250000\n"}},
    };
}

}  // namespace tooltest
