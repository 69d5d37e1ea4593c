// Logging: the platform's log and the three functions through which the library writes to it.
#pragma once

namespace quzo {

// A levelled log. The platform implements it; it must outlive every use of the library.
class LogMsg {
public:
    virtual ~LogMsg() = default;

    // Writes one line. `level` is 1 (failures), 2 (configuration facts and lesser failures) or
    // 3 (per-message detail); `format` is printf-style. The line may hold any byte: escaping
    // control characters, so that a text from a message cannot forge a second line, is the
    // implementation's part. Must be callable from several threads at once.
    virtual void write(int level, const char* format, ...) __attribute__((format(printf, 3, 4))) = 0;

    // Lines above this level are dropped. Read directly by callers; set before threads start.
    int level = 1;
};

// The library's log lines. ActionUtils inherits these functions, so actions write
// ActionUtils::L1(...). Nothing is formatted when the logger's level is below the line's, and
// nothing happens before a logger is set. A line is cut at kMaxLineLength bytes. Never throws.
class ActionLog {
public:
    static constexpr unsigned kMaxLineLength = 2047;

    static void L1(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void L2(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void L3(const char* format, ...) __attribute__((format(printf, 1, 2)));

protected:
    // Keeps the logger for all later lines; null silences the library. Not thread-safe: part of
    // initialisation.
    static void setLogger(LogMsg* logger);
};

} // namespace quzo
