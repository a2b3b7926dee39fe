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
              fails 3 tyksim track r KELV_TAG_WB_GAINS.red)sh",
         {"some frames have several files", " 2 *                1.767\n", "not a regular file",
          " 3 *                    -\n"}},
        {"Chart",
         "tyksim track r total_gain --svg p; cat p",
         {"y=\"28.0\" class=\"scale\">2048</text>", "y=\"128.0\" class=\"scale\">1024</text>",
          "\"M90.00 124.00h0L515.00 74.00L940.00 24.00\""}},
        {"ChartWithAGap",
         R"sh(rm $F2/iScene* $F2/*ISCENE_INFO*
              any tyksim track r total_gain --svg p; cat p)sh",
         {"\"M90.00 124.00h0M940.00 24.00h0\""}},
        {"ChartInTheInput", "fails 2 tyksim track r total_gain --svg r/x", {"lies in the input"}},
        {"ChangesOnly",
         "tyksim copy r -o p --set total_gain=5; tyksim track p total_gain --changes | tail -n +2; "
         "echo end",
         {"1        1             5\nend\n"}},
        {"ChangesOfAnyColumn",
         R"sh(tyksim copy r -o p --set total_gain=5
              tyksim track p total_gain exp_time --changes --csv)sh",
         {"\n1,1,2,2,2,5,11250000\n"}},
    };
}

}  // namespace tooltest
