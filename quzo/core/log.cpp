// The three log functions of the library.
//
// The level is tested before anything is formatted, because level-3 lines stand in every message's way.
// A line is formatted into a buffer on the stack and handed on as one text, so that a percent sign in a
// sender's address is never read as a format, and so that logging works when memory has run out.
#include "quzo/core/log.h"

#include <cstdarg>
#include <cstdio>

namespace quzo {
namespace {

LogMsg* s_logger = nullptr;

void write_line(int level, const char* format, std::va_list arguments) {
    if (s_logger == nullptr || s_logger->level < level) {
        return;
    }
    char line[ActionLog::kMaxLineLength + 1] = {};
    if (std::vsnprintf(line, sizeof line, format, arguments) < 0) {
        return;
    }
    try {
        s_logger->write(level, "%s", line);
    } catch (...) { // NOLINT(bugprone-empty-catch): a log that fails must not stop an action
    }
}

} // namespace

void ActionLog::setLogger(LogMsg* logger) { s_logger = logger; }

void ActionLog::L1(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    write_line(1, format, arguments);
    va_end(arguments);
}

void ActionLog::L2(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    write_line(2, format, arguments);
    va_end(arguments);
}

void ActionLog::L3(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    write_line(3, format, arguments);
    va_end(arguments);
}

} // namespace quzo
