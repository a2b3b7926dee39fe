// Tests of words and options of the command line.
#include "tests/tool/ToolRun.h"

namespace tooltest {

Rows commandLineRows() {
    return {
        {"NoVerb", "fails 2 tyksim", {"expected a verb, found none"}},
        {"VerbMisspelled", "fails 2 tyksim recrod x", {"found recrod; did you mean record?"}},
        {"HelpVerbMisspelled", "fails 2 tyksim versoin", {"found versoin; did you mean version?"}},
        {"VerbUnknown", "fails 2 tyksim wxyz", {"found wxyz; `tyksim help` lists", "!mean"}},
        {"OptionBeforeTheVerb", "fails 2 tyksim --json info r", {"expected a verb, found --json"}},
        {"Help", "tyksim help", {"\n  record ", "\n  replay ", "Examples:"}},
        {"HelpOfAVerb",
         "tyksim help replay",
         {"tyksim replay", "--verify", "Examples:\n  tyksim replay"}},
        {"HelpOfHelp", "tyksim help help", {"\nVerbs:\n"}},
        {"HelpBesideAWrongOption", "tyksim replay --bogus --help", {"Usage: tyksim replay"}},
        {"Version", "tyksim version; tyksim -V; tyksim --version", {"tyksim 1."}},
        {"OptionUnknown", "fails 2 tyksim replay r --bogus", {"--bogus", "`tyksim replay --help`"}},
        {"OptionMisspelled",
         "fails 2 tyksim copy r -o p --focre",
         {"an option of copy, found --focre; did you mean --force?"}},
        {"WordMissing",
         "fails 2 tyksim record",
         {"expected ROOT, found none (see `tyksim record --help`)"}},
        {"OptionMissing", "fails 2 tyksim copy r", {"expected --output OUT, found none"}},
        {"WordTooMany", "fails 2 tyksim export r s -o p", {"expected no more words, found s"}},
        {"ChoiceUnknown",
         "fails 2 tyksim export r -o p --format gif",
         {"--format: expected jpeg, png, rgb or nv21, found"}},
        {"WholeNumberInHexadecimal",
         "fails 2 tyksim replay r --loop 0x2",
         {"--loop: expected a whole number, 1 to 1000000, found 0x2"}},
        {"NotANumber",
         "fails 2 tyksim record p --ev nan",
         {"--ev: expected a number, -100 to 100, found nan"}},
        {"NumbersAtTheirLimits",
         R"sh(tyksim record p --frames 1 --size 2x2 --ev 100 --first-sof 0
              tyksim record q --frames 1 --size 2x2 --ev -100 --first-sof 2147483646
              tyksim replay p --log-level 5
              fails 2 tyksim record s --ev 100.5
              fails 2 tyksim record s --ev -100.5
              fails 2 tyksim record s --first-sof 2147483648
              fails 2 tyksim record s --first-sof -1
              fails 2 tyksim replay p --log-level 6)sh",
         {"found 100.5", "found -100.5", "found 2147483648", "found -1 ", "found 6 "}},
        {"LeadingZero", "tyksim info r --pipe 01", {}},
        {"WholeNumberExpected",
         "fails 2 tyksim info r --task x",
         {"--task: expected a whole number, 1 to 4294967295, found "}},
        {"ValueMissing", "fails 2 tyksim info r --pipe", {"--pipe: expected ID, found none"}},
        {"OptionTwice",
         "fails 2 tyksim info r --pipe 1 --pipe 1",
         {"--pipe: expected once, found 2 times"}},
        {"ValueOfAFlag",
         "fails 2 tyksim info r --json=0",
         {"--json: expected no value, found one"}},
        {"ValueEmpty",
         "fails 2 tyksim track r ev1 --svg ''",
         {"--svg: expected a value, found ''"}},
        {"OptionsThatExclude",
         "fails 2 tyksim track r total_gain --json --csv",
         {"--csv and --json exclude each other"}},
        {"EnvironmentWrong",
         "export TYKSIM_LOG_LEVEL=7; fails 2 tyksim replay r",
         {"environment: TYKSIM_LOG_LEVEL: expected a whole number, 0 to 5, found 7", "!--log"}},
        {"OptionOverridesTheEnvironment",
         "export TYKSIM_LOG_LEVEL=7; tyksim replay r --log-level 0",
         {"!TYKSIM_LOG_LEVEL"}},
        {"NoFolderForTemporaryFiles",
         "export TMPDIR=$PWD/script; fails 1 tyksim replay r",
         {"TMPDIR: expected a folder for temporary files, found ", "!filesystem error"}},
        {"NoSuchTree",
         "fails 1 tyksim info nowhere",
         {"expected a folder with a dump tree, found none: No such file"}},
        {"FolderThatCannotBeListed",
         R"sh(n=; [ $(id -u) != 0 ] || n='setpriv --bounding-set=-dac_override,-dac_read_search'
              mkdir -m 0 p
              fails 1 under "$n" tyksim info p
              chmod 700 p)sh",
         {"a frame in it), found one that cannot be listed: Permission denied\n"}},
        {"FolderOfManyOtherNames",
         "mkdir -p p/1 p/2 p/3 p/4 p/5 p/6 p/7 p/8 p/9; fails 1 tyksim info p",
         {", ...\n"}},
        {"OutputDeviceFull",
         "fails 1 tyksim info r >/dev/full",
         {"standard output: cannot be written: No space"}},
        {"StandardOutputClosed",
         "fails 1 tyksim sheet r -o - >&-",
         {"standard output: cannot be written: Bad file descriptor"}},
        {"ReaderGoneBeforeAnythingIsWritten",
         "mkfifo f; true <f & exec 3>f; wait; fails 141 tyksim info r >&3",
         {"!tyksim:"}},
    };
}

Rows suggestionRows() {
    return after(
        "fails 2 tyksim track r ",
        {
            {"EndOfAName", "gain", {"nearest: total_gain"}},
            {"NameOfAField", "iso", {"nearest: KELV_TAG_SENSITIVITY.iso\n"}},
            {"LettersSwapped", "ttoal_gain", {"nearest: total_gain\n"}},
            {"PartInCapitals", "GAINS", {"nearest: KELV_TAG_WB_GAINS"}},
            {"LettersMissing", "KELV_TAG_GAMACURVE", {"nearest: KELV_TAG_GAMMA_CURVE\n"}},
            {"NoSimilarName", "nothing_like_it", {"`tyksim show` lists", "!nearest"}},
            {"Measure", "image.meen", {"nearest: image.mean"}},
            {"MeasureOfARegion", "'image[0,0,9,9].u.nosie'", {"nearest: image[0,0,9,9].u.noise"}},
            {"RegionWithoutAHeight",
             "'image[0,0,9].std'",
             {"expected image[X,Y,W,H] with four whole numbers, W and H from 1, found "
              "\"image[0,0,"}},
            {"FieldUnknown", "KELV_TAG_WB_GAINS.r", {"no such field; it has gains, red, blue"}},
            {"ElementOutOfRange",
             "'KELV_TAG_WB_GAINS.gains[4]'",
             {"gains has the elements 0 to 3"}},
            {"FieldNameOfSeveral",
             "normal_num",
             {"several fields have this name: cap_info/detect_out/normal_num, "
              "cap_info/normal_num"}},
        });
}

}  // namespace tooltest
