#include "tests/tool/ToolRun.h"

#include "tests/tool/Photographs.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/wait.h>

namespace tooltest {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPreamble = R"sh(
unset TYKSIM_LOG_LEVEL; export TMPDIR="$PWD/tmp"
# At unload the library does not release its objects, and a processor must end by its signals.
export ASAN_OPTIONS=detect_leaks=0:handle_segv=0:handle_sigbus=0:$ASAN_OPTIONS
export TSAN_OPTIONS=handle_segv=0:handle_sigbus=0:$TSAN_OPTIONS
HERE=$PWD; expected=0; words=
tyksim() {
    local status=0
    eval "$words $T \"\$@\"" || status=$?
    case $expected in
    any) return $status ;;
    $status) ;;
    *) echo "status $status in place of $expected: tyksim $*" >>"$HERE/unexpected" ;;
    esac
}
fails() { local expected=$1; shift; "$@"; }
any() { local expected=any; "$@"; }
under() { local words=$1; shift; "$@"; }
bg() { eval "exec $words $T \"\$@\""; }
await() { until eval "$1"; do :; done; }
both() {
    for entry in frame folder; do
        local status=0
        any tyksim replay "$@" --verify --entry $entry || status=$?
        echo "$entry: $status"
    done
}
snap() { find r -printf '%p %s %T@ %i %y\n' | sort; }
D=r/data/vendor/cameraserver/tykdump
if [ -e base ]; then
    cp -a base r
    K=$(echo $D/pipe_1/*_task_0); F2=$(echo $K/*_reqID_2_*); F3=$(echo $K/*_reqID_3_*)
fi
)sh";

void writePhotographs(const fs::path& folder) {
    const std::string jpeg = redJpeg(64, 64, TJSAMP_420);
    const std::pair<const char*, std::string> files[] = {
        {"good.jpg", jpeg},
        {"cut.jpg", jpeg.substr(0, jpeg.size() - 20)},
        {"head.jpg", jpeg.substr(0, 20)},
        {"cmyk.jpg", redJpeg(8, 8, TJSAMP_444, TJPF_CMYK)},
        {"wide.jpg", redJpeg(16385, 1, TJSAMP_420)},
        {"a.jpg", withExif(jpeg, 50)},
        {"b.jpg", withExif(jpeg, 0)},
        {"c.jpg", withExif(jpeg, 50).replace(30, 4, "\xff\xff\xff\xff")},
        {"long.jpg", withExif(jpeg, 50, 4, 102400)},
    };
    for (const auto& [name, bytes] : files) writeAll(folder / name, bytes);
}

}  // namespace

std::string readAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeAll(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

ToolFolder::ToolFolder() {
    // The space in the name shows whether the tool and the rows quote all paths.
    std::string name = (fs::temp_directory_path() / "tyksim test XXXXXX").string();
    path_ = mkdtemp(name.data());
    fs::create_directory(path_ / "tmp");
    writePhotographs(path_);
    setenv("T", TYKSIM_COMMAND, 1);
    setenv("P", TYK_PROCESSORS, 1);
    setenv("S", TYK_FAULT_SHIM, 1);
    for (const auto& entry : fs::directory_iterator(path_)) kept_.insert(entry.path());
    run({"Base", "tyksim record base --frames 3 --size 64x48", {"3 dumped"}});
    kept_.insert(path_ / "base");
}

ToolFolder::~ToolFolder() {
    std::error_code error;
    fs::remove_all(path_, error);
    EXPECT_FALSE(error) << path_ << ": " << error.message();
}

void ToolFolder::clear() const {
    for (const auto& entry : fs::directory_iterator(path_)) {
        if (kept_.count(entry.path()) == 0) fs::remove_all(entry.path());
    }
}

void ToolFolder::run(const Row& row) const {
    clear();
    writeAll(path_ / "script", kPreamble + row.script + "\n");
    const int status =
        std::system(("cd '" + path_.string() + "' && sh -e script >out 2>&1").c_str());
    const std::string out = readAll(path_ / "out");
    SCOPED_TRACE(row.script + "\nprints\n" + out);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 0);
    EXPECT_EQ(readAll(path_ / "unexpected"), "");
    for (const std::string& text : row.texts) {
        const bool absent = text[0] == '!';
        EXPECT_EQ(out.find(absent ? text.substr(1) : text) == std::string::npos, absent) << text;
    }
    EXPECT_TRUE(fs::is_empty(path_ / "tmp")) << "temporary files stay";
}

}  // namespace tooltest
