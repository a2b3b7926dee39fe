// The operations of the camera framework's logging that this library calls.
//
// Declarations only: on a device the camera framework defines them, on a desktop host/ does.
#pragma once

/// One log message: made by _log(), filled by __print_log_(), emitted when it is destroyed.
///
/// The class is complete and holds no data, so that a process may define its members itself.
/// Levels: 1 failures, 3 creation of the manager, 4 progress and detail, 5 per-entry tracing.
/// Threads: a message is used by the thread that made it.
class LogMessage {
public:
    LogMessage(const char* tag, int level);

    /// Emits the message, once.
    ~LogMessage();

    /// Sets the message's text. `format` is a printf format that begins with "%d, %s: ", for which
    /// `line` and `function` stand; the remaining conversions take the remaining arguments.
    void __print_log_(const char* format, int line, const char* function, ...);
};

/// Begins a message under a tag at a level.
LogMessage _log(const char* tag, int level);
