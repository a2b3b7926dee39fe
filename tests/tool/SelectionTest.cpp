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
