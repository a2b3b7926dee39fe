// Tests of tyksim replay --with: it records a processor's results, and reports every end of its
// process.
#include "tests/tool/ToolRun.h"

namespace tooltest {

namespace {

/// `odd OPTION WORD...` replays r into p with the processor odd_processor and this option.
const char* const kOdd = R"sh(
odd() { local option=$1; shift; tyksim replay r --with $P/odd_processor.so -o p --option $option "$@"; }
)sh";

/// Invalid pictures and parameters are refused with a reason.
Rows refused() {
    struct Refused {
        const char *name, *option, *reason;
    };
    Rows rows;
    for (const Refused& refused : {
             Refused{"PictureTooSmall", "cut",
                     "a picture of 10x8 in 119 bytes; expected at least 120"},
             Refused{"StrideTooSmall", "narrow",
                     "10x8 with a stride of 9 bytes; expected at least 10"},
             Refused{"PictureTooWide", "wide",
                     "a picture of 1048576x8; expected 1x1 to 16384x12288"},
             Refused{"PictureAtNullPointer", "nowhere", "10x8 at a null pointer"},
             Refused{"ParameterTooShort", "short", "which has "},
             Refused{"BlockWithoutBytes", "empty",
                     "0 bytes for tag 12291; a block has at least one"},
             Refused{"ParameterUnknown", "unknown",
                     "1 bytes for tag 4711, which the frame does not have"},
             Refused{"ParameterAtNullPointer", "null", "a null pointer as the value of tag "},
         }) {
        rows.push_back({refused.name,
                        std::string("fails 3 odd ") + refused.option,
                        {refused.reason, "recorded: nothing", "findings: 3"}});
    }
    return rows;
}

/// An image of an odd size ends before its last chroma bytes.
Rows strides() {
    Rows rows;
    for (const std::string size : {"64x48", "1x1", "3x100", "7x5", "641x2"}) {
        rows.push_back({"RowsWithGapsOf" + size,
                        "rm -r r; tyksim record r --frames 1 --size " + size +
                            "; odd gaps; tyksim diff r p; tyksim check p",
                        {"1 frame matched by request id, all the same", "p: clean"}});
    }
    return rows;
}

}  // namespace

Rows processorRows() {
    Rows rows = {
        {"Denoise",
         R"sh(tyksim replay r --with $P/denoise.so -o p
              both p
              fails 3 tyksim diff r p --match request)sh",
         {"recorded: 3 frames", "frame: 0", "folder: 0", "2 differ", "!scene", "!  tag  "}},
        {"Brightness",
         "tyksim replay r --with $P/brightness.so -o p; fails 3 tyksim diff r p",
         {"3 differ", "u same"}},
        {"OptionRefused",
         "fails 1 tyksim replay r --with $P/denoise.so --option x -o p",
         {"refuses to open: expected"}},
        {"NoProcessor", "fails 1 tyksim replay r --with good.jpg -o p", {"expected a processor"}},
        {"NoOutput",
         "fails 2 tyksim replay r --with $P/denoise.so; fails 2 tyksim replay r -o p",
         {"--with: expected -o OUT", "-o: expected --with PROCESSOR"}},
        {"ParametersAndPicturesOfItsOwn",
         "odd set; tyksim check p; tyksim track p KELV_TAG_WB_GAINS.red; tyksim info p",
         {"clean", "2.3694278e-38", "10x8"}},
        {"OnePictureOnly", "odd once; tyksim info p", {"recorded: 1 frame", "requests 1 "}},
        {"NoPicture", "fails 3 odd nothing", {"returned no picture", "recorded: nothing"}},
        {"FailureOfOneFrame", "fails 3 odd error", {"had a bad day", "recorded: 2 frames"}},
        {"Exception", "fails 3 odd throw", {"threw an exception: no luck", "recorded: 2 frames"}},
        {"ExceptionOfAnotherType",
         "fails 3 odd throw-number",
         {"threw an exception that is no", "recorded: 2 frames"}},
        {"Refusal", "fails 1 odd refuse", {"refuses to open: no, thank you"}},
        {"NamesOfSmallFramesAreInTheirOrder",
         R"sh(rm -r r; tyksim record r --frames 60 --size 2x2
              odd same
              ls $(echo p/data/*/*/*/*/*_task_0) | sed 's/.*reqID_//' | sort -nc)sh",
         {"recorded: 60 frames"}},
        {"TuningCopyOfAnotherPipe",
         R"sh(tyksim record r --frames 1 --size 2x2 --pipe 3 \
                  --property persist.vendor.cam.mfnr.version=3
              rm $D/pipe_1/mfnr5*
              odd same --pipe 3
              tyksim check p
              ls p/data/*/*/*/pipe_1)sh",
         {"p: clean", "\nmfnr3.xml", "!mfnr5"}},
    };
    for (const Rows& others : {refused(), strides()}) {
        rows.insert(rows.end(), others.begin(), others.end());
    }
    return after(kOdd, rows);
}

Rows processorEndRows() {
    struct End {
        std::string name, option, end;
    };
    const std::string at = " at frame 2 of task 1, request 2";
    Rows rows;
    for (const End& end : {
             End{"Abort", "abort", "crashed" + at + ": SIGABRT (Aborted)\n"},
             End{"Segmentation", "segv", "crashed" + at + ": SIGSEGV"},
             End{"MainThreadOnly", "thread", "crashed" + at + ": SIGABRT"},
             End{"Kill", "kill",
                 "was ended" + at +
                     ": SIGKILL (Killed); the system does that when memory runs out\n"},
             End{"Exit", "exit",
                 "ended its process with status 0" + at + "; expected it to return\n"},
             End{"ExitAtOnce", "_exit", "ended its process with status 9" + at},
             End{"ExitWithAChildLeft", "fork", "ended its process with status 7" + at},
             End{"ConnectionClosed", "close", "closed its connection to tyksim" + at + "\n"},
             End{"Garbage", "garbage", "sent an invalid message" + at + "\n"},
             End{"ExitInOpen", "exit-open", "ended its process with status 0 while it opened"},
             End{"AbortInOpen", "abort-open", "crashed while it opened: SIGABRT"},
         }) {
        rows.push_back({end.name,
                        "fails 1 odd " + end.option + "; ls -A",
                        {"odd_processor.so: " + end.end, "!unknown reason", "!\np\n", "!\n.p"}});
    }
    const Rows others = {
        {"FileCutShort",
         R"sh(head -c 5000 $P/odd_processor.so >cut.so
              fails 1 tyksim replay r --with ./cut.so -o p)sh",
         {"cut.so: crashed while it was loaded: SIGBUS (Bus error); a file that is cut short is "
          "one cause\n"}},
        // All frames were recorded before, and stay.
        {"AbortInClose",
         "fails 3 odd abort-close; tyksim diff r p --ignore image",
         {"crashed while it closed: SIGABRT", "recorded: 3 frames", "all the same"}},
        {"ExitInClose",
         "fails 3 odd exit-close",
         {"ended its process with status 0 while it closed"}},
        {"StatusAfterClose",
         "fails 3 odd status-exit",
         {"with status 3 after it closed", "recorded: 3 frames"}},
        // A processor that loops ends with tyksim.
        {"LoopsWhenTyksimIsTerminated",
         R"sh(looping
              kill -TERM $B; s=0; wait $B || s=$?; echo "ended $s"
              kill -0 $L || ls -A)sh",
         {"ended 143", "stopped by Terminated: replayed 2 frames", "No such process", "!\n.p"}},
        {"LoopsWhenTyksimIsKilled",
         R"sh(looping
              kill -KILL $B; wait $B || true
              await '! kill -0 $L'
              rm -rf tmp/* .p*)sh",
         {"No such process"}},
        {"LoopsWhenBothAreInterruptedAsFromATerminal",
         R"sh(under 'setsid env --default-signal=INT' looping
              kill -INT -$B; s=0; wait $B || s=$?; echo "ended $s"
              ls -A)sh",
         {"ended 130", "stopped by Interrupt: replayed ", "!\n.p"}},
    };
    rows.insert(rows.end(), others.begin(), others.end());
    // Waits until the processor loops: B is tyksim's process, L the processor's.
    return after(std::string(kOdd) + R"sh(
looping() {
    bg replay r --with $P/odd_processor.so -o p --option loop & B=$!
    await "grep -q '^looping' out"
    L=$(sed -n 's/^looping //p' out)
}
)sh",
                 rows);
}

}  // namespace tooltest
