// Tests of tyksim copy: the copied files, and the effect of --set.
#include "tests/tool/ToolRun.h"

namespace tooltest {

Rows copyRows() {
    return {
        {"SelectedFramesWithValuesSet",
         R"sh(tyksim copy r -o p --frames 2.. --set total_gain=100..301 --set KELV_TAG_WB_GAINS.red=2.5
              tyksim track p total_gain KELV_TAG_WB_GAINS.red --csv
              both p
              fails 3 tyksim diff r p)sh",
         {"frame 3: total_gain: 2048 -> 301", "1,1,1,2,2,100,2.5\n1,1,2,3,3,301,2.5\n", "frame: 0",
          "folder: 0", "threeA_info/ae_info/total_gain", "only in A"}},
        {"SelectedTagsWithoutImages",
         R"sh(tyksim copy r -o p --only-tags '*GAIN*' --no-images
              tyksim check p
              find p -name '*.bin' | wc -l)sh",
         {"3 frames, 3 files", "clean", "\n3\n"}},
        {"PatternOfNoTag",
         "fails 2 tyksim copy r -o p --only-tags '*NONE*'; [ ! -e p ]",
         {"found *NONE*; there is KELV_"}},
        {"PatternEmpty", "fails 2 tyksim copy r -o p --only-tags ''; [ ! -e p ]", {"found '' ("}},
        {"PatternAfterTheWrongOption",
         "fails 2 tyksim copy r -o p --tags '*GAIN*'; [ ! -e p ]",
         {"--only-tags takes patterns"}},
        // Unreadable files are omitted and reported.
        {"FilesThatMayNotBeRead",
         R"sh(n=; [ $(id -u) != 0 ] || n='setpriv --bounding-set=-dac_override,-dac_read_search'
              chmod 0 $F2/FCWH* $F3/*WB_G* $D/pipe_1/mfnr* $D/*.xml; rm r/tags.xml
              fails 3 under "$n" \
                  tyksim copy r -o p --set KELV_TAG_WB_GAINS.red=1 --tags base/tags.xml
              chmod -R u+r r
              diff -rq r p >q || true
              grep -c '^Only in r' q; grep -c differ q)sh",
         {"nv21.yuv: cannot be read: Permission denied; left out\n",
          "mfnr5.2.xml: cannot be read:", "dumpConfig.xml: cannot be read:",
          "WB_GAINS.bin: cannot be read: Permission denied; left out\n", "\n5\n2\n"}},
        {"OutputInTheInput", "fails 2 tyksim copy r -o r/p", {"r/p: lies in the input "}},
        {"OutputExists",
         "mkdir p; fails 2 tyksim copy r -o p",
         {"p: exists already; --force replaces it"}},
        {"OutputsLeftByAKilledRunAreReported",
         "mkdir .p.tyksim-aaaaaa.old .p.tyksim-mine; tyksim copy r -o p",
         {".p.tyksim-aaaaaa.old: left by a killed run; to remove it: rm -r", "!mine"}},
        {"DiskFull",
         R"sh((ulimit -f 2; fails 1 tyksim copy r -o p)
              for f in p .p.*; do [ ! -e "$f" ]; done)sh",
         {"File too large"}},
    };
}

namespace {

/// Frame 2 has no elements for some fields of the blocks, and a text that is not a number. `values
/// TREE FRAME` prints its fields from track, show and a replay.
const char* const kIncompleteScene = R"sh(
X=iSceneInfo.xml
sed -i '/<hdr_detect_out>/,/<.hdr_detect_out>/d; s/gain>.*</gain>\t12abc <!-- x --></' $F2/$X
values() {
    tyksim track $1 ev0 ev1 ev2 exp_time --frames $2 --csv | tail -1
    { tyksim show $1 --frames $2; any tyksim replay $1 --entry folder --show-scene --frames $2; } |
        grep 'ev[012] ' | tr -s ' '
}
)sh";

Rows incompleteScenes() {
    return {
        {"FieldsOfAnIncompleteScene",
         "values base 2 >a; values r 2 >b; cmp a b; cat b",
         {"1,1,2,2,2,-0.5,-2.5,1,11250000\n", "hdr_detect_out/ev1 -2.5\n", "ev2 = 1\n"}},
        {"NothingElseInTheSceneChanges",
         R"sh(tyksim copy r -o p --set exp_time=77
              sed 's/time>.*</time>77</' $F2/$X | cmp - p${F2#r}/$X
              values p 2)sh",
         {"\n1,1,2,2,2,-0.5,-2.5,1,77\n", "hdr_detect_out/ev1 -2.5\n", "ev2 = 1\n"}},
        {"MissingElementIsAdded",
         R"sh(tyksim copy r -o p --set ev1=0.7 --frames 2
              values p 1
              diff $F2/$X p/data/*/*/*/*/*/*/$X || true
              fails 3 tyksim diff $F2 p/data/*/*/*/*/*/*
              fails 3 tyksim check p)sh",
         {"ev1: -2.5 -> 0.7\n", "\n1,1,1,2,2,-0.5,0.7,1,11250000\n", "hdr_detect_out/ev1 0.7\n",
          "\n4a5\n", "hdr_detect_out/ev1: -2.5 -> 0.7\n", "found \"12abc\"", "!missing"}},
        {"EncodingIsKept",
         R"sh(iconv -t UTF-16 $F2/$X >x; cat x >$F2/$X
              tyksim copy r -o p --set exp_time=8 --set ev2=9
              iconv -f UTF-16 p${F2#r}/$X | grep -E '12abc|time'
              values p 2)sh",
         {"<total_gain>\t12abc <!-- x --></total_gain>\n", "<exp_time>8<", ",-0.5,-2.5,9,8\n"}},
        {"FilesThatCannotBeChanged",
         R"sh(echo '<x/>' >$F2/$X; truncate -s 9 $F2/*_DETECT_OUT* $F2/*ISCENE_INFO* $F2/*WB_GAINS*
              echo '<' >$F3/$X
              fails 3 tyksim copy r -o p --set ev0=4 --set KELV_TAG_WB_GAINS.gains[3]=8
              cmp $F2/*WB_G* p${F2#r}/*WB_G*
              fails 3 tyksim track p ev0 KELV_TAG_WB_GAINS.gains[3] --csv)sh",
         {"2/iSceneInfo.xml: not changed: no element iSceneInfo\n",
          "2/ISCENE_CAP_INFO_DETECT_OUT.bin: not changed: expected 4904 bytes, found 9\n",
          "_INFO.bin: not changed: ev0: expected a record of 8512 bytes, found 9\n",
          "_GAINS.bin: not changed: KELV_TAG_WB_GAINS.gains[3]: expected a value of at least",
          "3/iSceneInfo.xml: not changed: ", "1,1,1,1,1,4,8\n", "frame 3: KELV_TAG_WB",
          "!frame 3: ev0"}},
    };
}

}  // namespace

Rows copySetRows() {
    Rows rows = after(kIncompleteScene, incompleteScenes());
    const Rows others = {
        {"WholeValues",
         R"sh(echo ab >v
              tyksim copy r -o p --set KELV_TAG_GYRO_SAMPLES=@v --set KELV_TAG_STREAM_QUALITY=0x07
              cat p/data/*/*/*/*/*/*reqID_2*/*GYRO_SAMPLES.bin
              od -An -tx1 p/data/*/*/*/*/*/*reqID_1*/*STREAM_QUALITY.bin)sh",
         {"\nab\n", "\n 07\n"}},
        {"NoSelectedFrameHasAFile",
         "fails 2 tyksim copy r -o p --only-tags '*WB*' --set total_gain=5",
         {"total_gain=5: none of the selected frames has a file"}},
        {"NoFrameHasAFile",
         "rm $K/*/*WB_G*; fails 2 tyksim copy r -o p --set KELV_TAG_WB_GAINS.red=1",
         {"GAINS.red=1: none of the"}},
        // A value keeps the size of its tag, or of its file without a tag table.
        {"SizeOfTheTag",
         "fails 2 tyksim copy r -o p --set KELV_TAG_STREAM_QUALITY=0707; [ ! -e p ]",
         {"expected 1 byte, the size of tag"}},
        {"SizeOfTheSceneRecord",
         "rm r/tags.xml; fails 2 tyksim copy r -o p --set KELV_TAG_ISCENE_INFO=00; [ ! -e p ]",
         {"expected 8512 bytes, the size of tag"}},
        {"BlockWithoutBytes",
         ": >e; fails 2 tyksim copy r -o p --set KELV_TAG_GYRO_SAMPLES=@e; [ ! -e p ]",
         {"expected at least one byte, found none"}},
        {"SizeOfTheFile",
         R"sh(rm r/tags.xml
              fails 3 tyksim copy r -o p --set KELV_TAG_STREAM_QUALITY=0707
              cmp $F2/*QUALITY* p${F2#r}/*QUALITY*)sh",
         {"not changed: KELV_TAG_STREAM_QUALITY: expected 1 byte, as the file has, found 2"}},
        {"IntegerOutOfRange",
         "fails 2 tyksim copy r -o p --set total_gain=2147483648",
         {"from 0 to 2147483647"}},
        {"NotANumber",
         "fails 2 tyksim copy r -o p --set KELV_TAG_WB_GAINS.red=x",
         {"expected a number of at most"}},
        {"NameMisspelled", "fails 2 tyksim copy r -o p --set totl_gain=1", {"nearest: total_gain"}},
        {"HexadecimalOfOddLength",
         "fails 2 tyksim copy r -o p --set KELV_TAG_WB_GAINS=0xA",
         {"=0xA: expected @FILE or hexadecimal"}},
        {"HexadecimalWithAnotherLetter",
         "fails 2 tyksim copy r -o p --set KELV_TAG_WB_GAINS=0x0g",
         {"=0x0g: expected @FILE"}},
        {"FileOfTheValueMissing",
         "fails 1 tyksim copy r -o p --set KELV_TAG_WB_GAINS=@none",
         {"none: expected a value"}},
        {"NoName", "fails 2 tyksim copy r -o p --set =3", {"=3: expected NAME=VALUE"}},
        {"NoValue", "fails 2 tyksim copy r -o p --set a", {"a: expected NAME=VALUE"}},
    };
    rows.insert(rows.end(), others.begin(), others.end());
    return rows;
}

}  // namespace tooltest
