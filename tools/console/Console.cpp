#include "tools/console/Console.h"

#include "tools/console/Units.h"
#include "tree/read/Escape.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tyksim {

namespace {

using namespace std::chrono_literals;

bool progressShown = false;

void clearProgress() {
    if (!progressShown) return;
    static_cast<void>(std::fputs("\r\033[K", stderr));
    progressShown = false;
}

/// Whether standard error is a terminal that can erase a line.
bool isLiveTerminal() {
    if (isatty(STDERR_FILENO) != 1) return false;
    const char* const kind = std::getenv("TERM");
    return kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
}

}  // namespace

void holdStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) != -1) continue;
        // open() returns the lowest free number, which is this one. O_PATH allows no reading and
        // writing.
        if (::open("/", O_PATH) != descriptor) return;
    }
}

void printResult(const std::string& line) {
    clearProgress();
    std::puts(line.c_str());
}

void printNote(const std::string& line) {
    printRaw("tyksim: " + line);
}

void printUsage(const WrongUsage& error) {
    printNote(error.what());
    for (const std::string& line : error.below()) printRaw(line);
}

void printRaw(const std::string& line) {
    clearProgress();
    static_cast<void>(std::fputs((tyktree::escaped(line) + "\n").c_str(), stderr));
}

size_t terminalWidth(int descriptor) {
    constexpr size_t kUsual = 80;
    winsize size{};
    const bool known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kUsual;
}

std::string shellWord(const std::string& word) {
    const char* const plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+:@%=,";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    // A word with control characters needs the shell's escapes.
    const bool harmless = tyktree::escaped(word) == word;
    std::string quoted = harmless ? "'" : "$'";
    for (const char c : word) {
        if (harmless) {
            quoted += c == '\'' ? "'\\''" : std::string(1, c);
        } else if (c < ' ' || c == 0x7F) {
            quoted += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        } else {
            quoted += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
        }
    }
    return quoted + "'";
}

Progress::~Progress() {
    clearProgress();
}

void Progress::count(const char* what, uint64_t done, uint64_t of, const char* items) {
    static const bool live = isLiveTerminal();
    const Clock::time_point now = Clock::now();
    if (!live || now - shown_ < 100ms) return;
    shown_ = now;
    std::string line = of > 0 ? fmt::format("{} {} of {} {}", what, done, of, items)
                              : fmt::format("{} {} {}", what, done, items);
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(now - begun_);
    if (passed > 2s && done > 0) {
        const double rate = static_cast<double>(done) * 1000 / static_cast<double>(passed.count());
        line += fmt::format(", {:.3g} a second", rate);
        const double left = of > 0 ? static_cast<double>(of - done) / rate : 0;
        if (of > 0) line += fmt::format(", {} left", humanSeconds(static_cast<int64_t>(left)));
    }
    clearProgress();
    // The last column stays free, because some terminals wrap when it is written.
    static_cast<void>(std::fputs(line.substr(0, terminalWidth(STDERR_FILENO) - 1).c_str(), stderr));
    progressShown = true;
}

}  // namespace tyksim
