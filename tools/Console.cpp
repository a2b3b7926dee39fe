#include "tools/Console.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace tyksim {

namespace {

bool progressShown = false;

void clearProgress() {
    if (!progressShown) return;
    static_cast<void>(std::fputs("\r\033[K", stderr));
    progressShown = false;
}

}  // namespace

void printResult(const std::string& line) {
    clearProgress();
    std::puts(line.c_str());
}

void printNote(const std::string& line) {
    printRaw("tyksim: " + line);
}

void printRaw(const std::string& line) {
    clearProgress();
    static_cast<void>(std::fputs((line + "\n").c_str(), stderr));
}

std::string systemReason(int error) {
    return std::strerror(error);
}

std::string shellWord(const std::string& word) {
    const char* const plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+:@%=,";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    std::string quoted = "'";
    for (const char c : word) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return quoted + "'";
}

void Findings::add(const std::string& line) {
    ++count_;
    printResult("finding: " + line);
}

ExitStatus Findings::status() const {
    return count_ == 0 ? ExitStatus::kClean : ExitStatus::kFindings;
}

Progress::~Progress() {
    clearProgress();
}

void Progress::show(const std::string& line) {
    static const bool terminal = isatty(STDERR_FILENO) == 1;
    if (!terminal) return;
    clearProgress();
    static_cast<void>(std::fputs(line.c_str(), stderr));
    progressShown = true;
}

}  // namespace tyksim
