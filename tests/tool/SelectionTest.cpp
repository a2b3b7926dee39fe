// Tests of every verb with a selection that matches nothing, and with unreadable files.
#include "tests/tool/ToolRun.h"

namespace tooltest {

Rows selectionRows() {
    // `each OPTION...` counts the verbs that end with the same status and last line.
    return after(
        R"sh(
each() {
    for verb in 'info r' 'check r' 'show r' 'track r total_gain' 'export r -o p' 'diff r r' \
        'copy r -o p' 'sheet r -o p' 'replay r'; do
        status=0; any tyksim $verb "$@" >said 2>&1 || status=$?
        cat said >>log
        echo "$status $(grep tyksim: said | tail -1)"
        if [ -e p ]; then echo MADE; rm -r p; fi
    done | sort | uniq -c | tr -s ' '
}
)sh",
        {
            {"NoSuchFrame",
             "each --frames 9",
             {(" 9 2 tyksim: r: the selection picks no frame; found 3 frames: --frames "
               "1..3, --requests 1..3, --sofs 1..3\n"),
              "!MADE"}},
            {"NoFrameOfBothConditions",
             "each --requests 2 --sofs 3",
             {(" 9 2 tyksim: r: the selection picks no frame; found 3 frames: --frames "
               "1..3, --requests 1..3, --sofs 1..3\n"),
              "!MADE"}},
            {"NoFrameWhere",
             "each --where 'total_gain>1500 and not image.mean<300'",
             {" 9 2 tyksim: r: --where holds for none of 3 frames\n", "!MADE"}},
            {"OneFrameWhere",
             R"sh(tyksim info r --where 'total_gain=1536 and image.mean<300' | grep requests
                  tyksim copy r -o s --where 'total_gain>=1536' >x; tyksim track s ev1 --csv
                  rm $K/*_reqID_1_*/FCWH* $F3/FCWH*
                  tyksim check r --where total_gain=1536)sh",
             {"requests 2 ", "sofs 2\n", "sof,ev1\n1,1,1,2,2,", "1,1,2,3,3,", "clean"}},
            {"WhereWithAMarkUnderTheMistake",
             R"sh(fails 2 tyksim replay r --where 'total_gain>1 und image.mean>3'
                  fails 2 tyksim info r r --where "$(printf '\033\303\251 x>1')"
                  fails 2 tyksim info r r --where 'image.meen>1')sh",
             {"tyksim: --where: column 14: expected and, or or the end, found \"und\"\n"
              "  total_gain>1 und image.mean>3\n               ^\n",
              "tyksim: --where: column 7: expected =", "  \\x1B\u00e9 x>1\n        ^\n",
              "tyksim: r: --where: column 1: \"image.meen\": no measure of this name; nearest"}},
            // The number of calls that open or read an image.
            {"WhereMeasuresOnce",
             R"sh(reads() {
                      rm -f log
                      LD_PRELOAD=$S TYK_FAULT_AT=999999 TYK_FAULT_OF=reads TYK_FAULT_IN=FCWH \
                          TYK_FAULT_LOG=$PWD/log tyksim track r "$@" >x
                      wc -l <log
                  }
                  [ $(reads -n image.mean image.flicker) = $(reads -n image.mean image.flicker \
                      --where 'image.y.mean>0 and image.flicker!=-1 or total_gain=1024') ]
                  [ $(reads -n image.std) = \
                      $(reads -n image.std --where 'total_gain>0 or image.mean>0') ]
                  tyksim track r image.mean image.std --csv --frames 2.. >x
                  tyksim track r image.mean image.std --csv --where 'image.mean>0 and sx>0' >y
                  cmp x y)sh"},
            {"WhereFollowsOrderAndStrideInEveryVerb",
             R"sh(printf '\377' | dd of=$(echo $F2/FCWH*) bs=1 seek=3072 conv=notrunc
                  each --where 'image.u.mean>128'
                  each --where 'image.mean>0' --stride 9
                  tyksim info r --where 'image.u.mean>128' --order nv12)sh",
             {" 9 2 tyksim: r: --where holds for none of 3 frames\n",
              " 9 2 tyksim: --stride: expected at least the 64 bytes of a row, found 9\n", "!MADE",
              "requests 2  sofs 2\n"}},
            {"WhereOfAValueThatCannotBeRead",
             "truncate -s 9 $F2/FCWH*; fails 3 tyksim track r ev1 --where 'image.mean>0' --csv",
             {"image.mean: the image file ends after 9 of 4608 bytes\n", "1,1,2,2,2,"}},
            {"NoSuchTask",
             "each --task 9",
             {" 9 2 tyksim: r: the selection picks no frame; found --task 1 in pipe 1\n", "!MADE"}},
            {"NoSuchPipe",
             "each --pipe 7",
             {" 9 2 tyksim: 'r': expected pipe 7, found the pipes 1\n", "!MADE"}},
            {"NoFrames",
             "rm -r $K/*; each",
             {" 7 1 tyksim: r: expected frames, found none\n", " 1 0 \n", " 1 3 \n", "!MADE"}},
            {"LinksInPlaceOfFolders",
             R"sh(rm -r $F3; ln -s "$PWD/$F2" $F3
                           ln -s "$PWD/$K" $D/pipe_1/21260305140709123_task_1
                           each --frames 1 | tr -d 012
                           grep -c '_sofID_3: expected frame folders, found a symbolic link' log
                           grep -c '_task_1: expected a task or frame folder, found a symbolic' log
                           )sh",
             {"MADE", "!   ", "\n10\n10\n"}},
        });
}

}  // namespace tooltest
