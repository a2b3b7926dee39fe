// Tests of tyksim replay: complete and damaged trees, and faults of the system, none of which may
// go unnoticed.
#include "tests/tool/ToolRun.h"

namespace tooltest {

Rows replayRows() {
    return {
        {"ByteForByte",
         "tyksim record p --frames 13; tyksim replay p --verify",
         {"files: 286 complete", "verified: 247 values", "findings: 0"}},
        {"WithoutImages",
         "tyksim record p --frames 13; tyksim replay p --verify --no-images",
         {"verified: 234 values", "findings: 0"}},
        {"ByFolder",
         "tyksim record p --frames 13; tyksim replay p --verify --entry folder",
         {"verified: 234 values", "findings: 0"}},
        {"SelectedFramesInALoop",
         "tyksim replay r --loop 3 --frames 2..3 --verify",
         {"6 replayed", "findings: 0"}},
        {"AnotherCamera",
         R"sh(tyksim record p --frames 2 --size 16x8 --camera 3
              tyksim replay p --entry folder --show-scene --verify)sh",
         {"(camera 3, sof 2)", "findings: 0"}},
        {"AnyPartOfATreeWithoutWritingThere",
         R"sh(tyksim record r --frames 2 --pipe 3 --size 16x8
              cp -r $K p; snap >a
              for x in 'r --pipe 3' $D/pipe_1 $K $F2 p; do both $x; done
              snap | cmp a)sh",
         {"of pipe 3", "of pipe 1", "frames: 1 replayed", "!frame: 1", "!frame: 3", "!folder: 3"}},
        {"SeveralPipes",
         R"sh(tyksim record r --frames 2 --pipe 3 --size 16x8
              fails 2 tyksim replay r
              fails 2 tyksim replay r --pipe 7)sh",
         {"choose one with --pipe: 1, 3", "expected pipe 7, found the pipes 1, 3"}},
        {"NoTree", "fails 1 tyksim replay p", {"No such file"}},
        {"FileInPlaceOfATree", "fails 1 tyksim replay good.jpg", {"found a file"}},
        {"EmptyFolder", "fails 1 tyksim replay tmp", {"found an empty folder"}},
        // Values changed by --set or edited in the dump.
        {"SceneEdited",
         "sed -i 's/<exp_time>11250000</<exp_time>42</' $F2/iScene*; both r",
         {"exp_time = 11250000 as dumped, found 42 arrived", "frame: 0", "folder: 3"}},
        {"SetBeforeReplay",
         R"sh(snap >a
              tyksim replay r --set total_gain=100..300 --set KELV_TAG_WB_GAINS.gains[1]=2 \
                  --verify --entry folder --show-scene
              snap | cmp a)sh",
         {"total_gain = 100\n", "total_gain = 200\n", "total_gain = 300\n", "findings: 0"}},
        {"SetInALoop",
         R"sh(tyksim replay r --set ev1=-0.25 --entry folder --show-scene --frames 3 --loop 2 \
                  --verify)sh",
         {"ev1 = -0.25", "2 replayed", "findings: 0"}},
        {"SetOfAnUnknownName",
         "fails 2 tyksim replay r --set total_gian=1",
         {"nearest: total_gain"}},
        {"SetToText", "fails 2 tyksim replay r --set total_gain=x", {"total_gain"}},
        {"SetWhereNoFrameHasAFile",
         "rm $K/*/*WB_G*; fails 2 tyksim replay r --set KELV_TAG_WB_GAINS.red=1",
         {"GAINS.red=1: none of the"}},
        {"StoppedBySignals",
         R"sh(bg replay r --loop 1000000 & B=$!
              await '[ -e tmp/tyksim-* ]'; ls tmp
              kill -INT $B; kill -TERM $B; s=0; wait $B || s=$?; echo "ended $s")sh",
         {"tyksim-", "stopped by Terminated: replayed ", "ended 143"}},
    };
}

namespace {

/// Damage to an image, a parameter, a folder or the scene record, replayed by both entries.
Rows replayedDamage() {
    return {
        {"ImageMissing", "rm $F2/FCWH*", {"image-missing", "frame: 3", "folder: 3"}},
        {"ImageShort",
         "truncate -s 99 $F2/FCWH*",
         {"image-short", "4608 bytes for 64x48, found 99"}},
        {"ImageName", "echo x >$F2/FCWH_1_2.yuv", {"image-name", "frame: 3", "folder: 3"}},
        {"ImageOfAnotherFormat",
         "mv $F2/FCWH* $F2/FCWH_2_0_64_48_nv12.yuv",
         {"it is replayed as NV21"}},
        {"ImageNameWithAHugeSize",
         "echo x >$F2/FCWH_2_0_65535_65535_nv21.yuv",
         {"image-name", "frame: 3"}},
        {"ImageIsAFifo",
         "rm $F2/FCWH*; mkfifo $F2/FCWH_2_0_64_48_nv21.yuv",
         {"found a FIFO", "replay-failure", "readBin: open failed", "frame: 3"}},
        {"ParameterMissing", "rm $F2/*WB_GAINS*", {"parameter-missing: ", "frame: 3", "folder: 3"}},
        {"ParameterEmpty",
         "truncate -s 0 $F2/*SENSITIVITY*",
         {"loadParamAndImage: getBinSize return negative, size: 0 (FCPDT_2_0_1_0_KELV_TAG_S",
          "frames: 2 replayed, 1 abandoned", "frames: 3 replayed, 0 abandoned", "parameter-empty",
          "folder: 3"}},
        {"ParameterShort",
         "truncate -s 15 $F2/*WB_GAINS*",
         {"expected 16 bytes, the size of tag KELV_TAG_WB_GAINS, found 15", "frame: 3",
          "folder: 3"}},
        {"ParameterShortWithoutATagTable",
         "rm r/tags.xml; truncate -s 15 $F2/*WB_GAINS*",
         {"found 15", "tags derived from", "frame: 3", "folder: 3"}},
        {"ParameterTooLarge",
         "truncate -s 512001 $F2/*WB_GAINS*",
         {"WB_GAINS.bin: 512001 bytes", "folder: 3"}},
        {"ParameterSizeBeyond32Bits",
         "truncate -s 4294967297 $F2/*WB_GAINS*",
         {"found 4294967297, which the library takes for 1", "!not arrive",
          "!: expected its value"}},
        {"ParameterName", "echo x >$F2/FCPDT_1_2.bin", {"parameter-name", "frame: 3", "folder: 3"}},
        {"ParameterOfAnUnknownTag",
         "echo x >$F2/FCPDT_2_0_1_0_KELV_TAG_NEW.bin",
         {"parameter-unknown-tag", "replay-lost", "frame: 3", "folder: 3"}},
        {"ParameterOfAnotherDumpType",
         "echo x >$F2/FCPDT_2_0_1_1_KELV_TAG_WB_GAINS.bin",
         {"expected a dump type for a fixed-size value, found 1", "frame: 3", "folder: 3"}},
        {"ParameterIsAFolder",
         "rm $F2/*WB_GAINS*; mkdir $F2/FCPDT_2_0_1_0_KELV_TAG_WB_GAINS.bin",
         {"file-kind", "found a folder", "frame: 3", "folder: 3"}},
        {"LastFrameTorn", "rm $F3/FCWH*; truncate -s 9 $F3/*WB_G*", {"frame-torn: ", "frame: 3"}},
        {"FrameIsALink",
         "mv $F2 x; ln -s ../../../../../../../x $F2",
         {"not-a-folder", "found a symbolic link to a folder", "frames: 2 replayed"}},
        {"FrameName", "mv $F2 $K/0101010101010_reqID_2", {"frame-name", "frame: 3", "folder: 3"}},
        {"FrameEmpty", "rm $F2/*", {"frame-empty", "frame: 3", "folder: 3"}},
        {"SceneIsNotXml",
         "echo x >$F2/iSceneInfo.xml",
         {"frame: 3", "scene-xml", "replay-failure", "folder: 3"}},
        {"SceneMissing", "rm $F2/iSceneInfo.xml", {"frame: 3", "scene-file-missing", "folder: 3"}},
        {"SceneBlockShort",
         "truncate -s 823 $F2/ISCENE*HDR*",
         {"frame: 3", "scene-block-size", "expected ISCENE_CAP_INFO_HDR_DETECT_OUT.bin as in",
          "folder: 3"}},
        {"TuningCopyMissing",
         "rm $D/pipe_1/mfnr*",
         {"tuning-copy-missing", "frame: 3", "folder: 3"}},
        {"TagTableIsAFifo",
         "rm r/tags.xml; mkfifo r/tags.xml",
         {"tags.xml", "frame: 1", "folder: 1"}},
    };
}

}  // namespace

Rows replayDamageRows() {
    Rows rows = replayedDamage();
    for (Row& row : rows) row.script += "; both r";
    const Rows others = {
        {"PipeName",
         "mv $D/pipe_1 $D/pipe_01; fails 1 tyksim replay r",
         {"expected frames, found none", "/pipe_01: expected pipe folders"}},
        // Valid characters are shown, except those that change a line's direction; invalid bytes
        // are escaped.
        {"ControlCharactersInAName",
         R"sh(x=$(printf '%s/\033[31mre\nd' $F2); echo x >"$x"; fails 3 tyksim check r)sh",
         {"/\\x1B[31mre\\nd: ", "!\x1b"}},
        {"LettersInAName",
         R"sh(touch "$F2/$(printf 'a\303\244\360\237\230\200')"; fails 3 tyksim check r)sh",
         {"/a\u00e4\U0001f600: expected"}},
        {"DirectionMarksInAName",
         R"sh(touch "$F2/$(printf 'b\342\200\256\302\205')"; fails 3 tyksim check r)sh",
         {"/b\\u{202E}\\u{0085}: "}},
        {"BytesInAName",
         R"sh(touch "$F2/$(printf 'c\300\200\355\240\200\364\220\200\200\340\200\200\303')"
              fails 3 tyksim check r; fails 3 tyksim check r --json)sh",
         {"/c\\xC0\\x80\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80\\xE0\\x80\\x80\\xC3: ",
          ("/c\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\","
           "\"path_base64\":\"")}},
    };
    rows.insert(rows.end(), others.begin(), others.end());
    return rows;
}

/// `faults SORT TEXT WORD...` runs the tool once for each call that reads or changes (SORT) a file
/// with TEXT in its path, and makes that call fail; of EACH calls only the first. Prints the number
/// of failed calls, and those with an unreported error: the tool ends with 0 and does not print
/// CLEAN, or p differs from SAME.
Rows replayFaultRows() {
    Rows rows = {
        // The processor's image, and data whose size no file tells.
        {"ReadingTheImage", "CLEAN='verified: 57 ' EACH=1; faults reads FCWH_2 $WITH"},
        {"WritingTheScene", "CLEAN='verified: 57 ' EACH=1; faults changes iSceneInfo.xml $WITH"},
        {"ReadingForACopy",
         R"sh(tyksim copy r --set total_gain=3 -o q
              SAME=q CLEAN='3 values changed' EACH=1
              faults reads iSceneInfo.xml copy r --set total_gain=3 -o p)sh"},
        {"ReadingForAPage", "CLEAN=. EACH=1; faults reads WB_GAINS sheet r -o p"},
        // All other reads, listings and writes of a frame.
        {"ReadingAFrame", "CLEAN='verified: 57 ' EACH=7; faults reads reqID_2 $WITH"},
        {"WritingAFrame", "CLEAN='verified: 57 ' EACH=7; faults changes reqID_2 $WITH"},
        {"Verifying", "CLEAN='verified: 57 ' EACH=7; faults reads reqID_2 replay r --verify"},
        {"VerifyingByFolder",
         R"sh(CLEAN='verified: 54 ' EACH=7
              faults reads reqID_2 replay r --verify --entry folder)sh"},
    };
    for (Row& row : rows) row.texts = {"faults: ", "!faults: 0", "!not said", "!made"};
    return after(R"sh(
SAME=r WITH="replay r --with $P/odd_processor.so --option same -o p"
run() { (export LD_PRELOAD="$S" TYK_FAULT=5 TYK_FAULT_LOG="$PWD/log"; any tyksim "$@" >said 2>&1); }
whole() { grep -q "$CLEAN" said && { [ ! -e p ] || tyksim diff $SAME p >said; }; }
faults() {
    export TYK_FAULT_OF=$1 TYK_FAULT_IN=$2; shift 2
    TYK_FAULT_AT=1000000 run "$@"
    met=0
    for n in $(seq 1 $EACH $(wc -l <log)); do
        rm -rf p log; s=0
        TYK_FAULT_AT=$n run "$@" || s=$?
        if grep -q '^!' log; then met=$((met + 1)); fi
        case $s in
        0) whole || echo "not said: $(grep '^!' log) $(cat said)" ;;
        1) [ ! -e p ] || echo "made: $(grep '^!' log)" ;;
        esac
    done
    echo "faults: $met"
}
)sh",
                 rows);
}

}  // namespace tooltest
