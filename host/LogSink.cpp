#include "host/LogSink.h"

#include "platform/Log.h"
#include "tags/Digits.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

namespace tykhost {
namespace {

struct Taker {
    std::function<void(const LogLine&)> take;
    int level;
};

// Lines may come before and after main(), so this state is neither constructed at run time nor
// destroyed.
constexpr int kUnread = INT_MIN;
std::atomic<int> threshold{kUnread};
std::atomic<const Taker*> currentTaker{nullptr};

// A message between its construction and its destruction. LogMessage holds no data, so each thread
// keeps a linked list of its messages, newest first.
struct Pending {
    const LogMessage* owner;
    LogLine line;
    bool filled;
    Pending* older;
};
thread_local Pending* newest = nullptr;

// Preserves errno, which the caller may be about to report.
class KeepErrno {
public:
    KeepErrno() : saved_(errno) {}
    ~KeepErrno() { errno = saved_; }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

private:
    int saved_;
};

int thresholdFromEnvironment() {
    constexpr int kFailures = 1;
    const char* text = std::getenv("TYKSIM_LOG_LEVEL");
    if (text == nullptr) return kFailures;
    const std::optional<int> level = tyktags::parseDigits<int>(text);
    return level ? std::max(*level, 0) : kFailures;
}

int thresholdInForce() {
    int level = threshold.load(std::memory_order_relaxed);
    if (level != kUnread) return level;
    const int first = thresholdFromEnvironment();
    return threshold.compare_exchange_strong(level, first) ? first : level;
}

// The link that points to the message's entry; a link to null when the message has none.
Pending** linkOf(const LogMessage* message) {
    Pending** link = &newest;
    while (*link != nullptr && (*link)->owner != message) link = &(*link)->older;
    return link;
}

std::unique_ptr<Pending> takeOut(const LogMessage* message) {
    Pending** link = linkOf(message);
    std::unique_ptr<Pending> pending(*link);
    if (pending) *link = pending->older;
    return pending;
}

void print(const LogLine& line) {
    constexpr std::string_view kLetters = "EWIDV";
    const auto letter = static_cast<size_t>(std::clamp(line.level, 1, 5) - 1);
    std::string text(1, kLetters[letter]);
    text.append(" ").append(line.tag).append(": ");
    if (!line.function.empty()) {
        text.append(std::to_string(line.line)).append(", ").append(line.function).append(": ");
    }
    text.append(line.text).append("\n");
    // A single call keeps the lines of several threads apart.
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, va_list arguments) {
    char start[512];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(start, sizeof(start), format, arguments);
    std::string text;
    if (length > 0 && static_cast<size_t>(length) < sizeof(start)) {
        text.assign(start, static_cast<size_t>(length));
    } else if (length > 0) {
        try {
            text.resize(static_cast<size_t>(length));
            static_cast<void>(std::vsnprintf(text.data(), text.size() + 1, format, again));
        } catch (const std::exception&) {
            va_end(again);
            throw;
        }
    }
    va_end(again);
    return text;
}

}  // namespace

void setLogThreshold(int level) {
    threshold.store(std::max(level, 0), std::memory_order_relaxed);
}

void takeLogLines(std::function<void(const LogLine&)> taker, int level) {
    const Taker* next = taker ? new Taker{std::move(taker), level} : nullptr;
    delete currentTaker.exchange(next, std::memory_order_acq_rel);
}

LogCapture::LogCapture() {
    takeLogLines([this](const LogLine& line) {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
    });
}

LogCapture::~LogCapture() {
    takeLogLines({});
}

std::vector<LogLine> LogCapture::lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

std::vector<std::string> LogCapture::texts(int level) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> texts;
    for (const LogLine& line : lines_) {
        if (level == 0 || line.level == level) texts.push_back(line.text);
    }
    return texts;
}

void LogCapture::clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

}  // namespace tykhost

using tykhost::KeepErrno;
using tykhost::LogLine;
using tykhost::Pending;

LogMessage::LogMessage(const char* tag, int level) {
    const KeepErrno keepErrno;
    const auto* taker = tykhost::currentTaker.load(std::memory_order_acquire);
    if (level > (taker != nullptr ? taker->level : tykhost::thresholdInForce())) return;
    try {
        // An older entry at this address belongs to a message that was never destroyed.
        tykhost::takeOut(this);
        LogLine line{level, tag != nullptr ? tag : "", 0, {}, {}};
        tykhost::newest = new Pending{this, std::move(line), false, tykhost::newest};
    } catch (const std::exception&) {
        // Without memory the message gets no entry and is dropped.
    }
}

LogMessage::~LogMessage() {
    const KeepErrno keepErrno;
    try {
        const std::unique_ptr<Pending> pending = tykhost::takeOut(this);
        if (!pending || !pending->filled) return;
        const auto* taker = tykhost::currentTaker.load(std::memory_order_acquire);
        if (taker != nullptr) {
            taker->take(pending->line);
        } else {
            tykhost::print(pending->line);
        }
    } catch (...) {
        // An exception of a taker must not end the process.
    }
}

// Only the caller can check the format's arguments; the attribute moves the check there.
[[gnu::format(printf, 2, 0)]] void LogMessage::__print_log_(const char* format, int line,
                                                            const char* function, ...) {
    constexpr char kStart[] = "%d, %s: ";
    constexpr size_t kStartLength = sizeof(kStart) - 1;
    const KeepErrno keepErrno;
    Pending* pending = *tykhost::linkOf(this);
    if (pending == nullptr || format == nullptr) return;
    pending->filled = false;
    va_list arguments;
    va_start(arguments, function);
    try {
        const bool regular = std::strncmp(format, kStart, kStartLength) == 0;
        pending->line.line = regular ? line : 0;
        pending->line.function = regular && function != nullptr ? function : "";
        // The arguments may not fit the conversions of a format with another beginning, so the bare
        // format is shown.
        pending->line.text =
            regular ? tykhost::formatted(format + kStartLength, arguments) : format;
        pending->filled = true;
    } catch (const std::exception&) {
        // Without memory the message stays empty and is dropped.
    }
    va_end(arguments);
}

LogMessage _log(const char* tag, int level) {
    return {tag, level};
}
