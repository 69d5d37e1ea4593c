// LogMsg over spdlog, which brings the time stamps, the thread-safe sinks and their locking. The escaping is
// ours: a subject with a line break in it must not become a line of its own.
#include "platform/log/file_log.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <system_error>
#include <utility>

#include "platform/base/visible_text.h"
#include "platform/log/file_sink.h"
#include "platform/log/log_subject.h"

namespace quzo::platform {

namespace {

constexpr const char* kPattern = "%Y-%m-%dT%H:%M:%S.%e%z [%P] %v";
constexpr int kMaxLevel = 3;
constexpr std::size_t kMaxSubject = 1024; // bytes

constexpr const char* kStderr = "stderr";
constexpr const char* kSyslog = "syslog";
constexpr const char* kJournal = "journal";

spdlog::level::level_enum priorityOf(int level) {
    if (level <= 1) {
        return spdlog::level::err;
    }
    return level == 2 ? spdlog::level::info : spdlog::level::debug;
}

// As systemd reads it before a line: the numbers of syslog(3).
const char* priorityMark(spdlog::level::level_enum priority) {
    if (priority == spdlog::level::err) {
        return "<3>";
    }
    return priority == spdlog::level::info ? "<6>" : "<7>";
}

const char* levelName(int level) {
    if (level <= 1) {
        return "error";
    }
    return level == 2 ? "notice" : "detail";
}

spdlog::sink_ptr makeWordSink(const std::string& target) {
    if (target == kSyslog) {
        return std::make_shared<spdlog::sinks::syslog_sink_mt>("quzo", LOG_PID, LOG_MAIL, false);
    }
    return std::make_shared<spdlog::sinks::stderr_sink_mt>();
}

// Null, with the reason in `problem`, when the file cannot be opened, or could not be made.
spdlog::sink_ptr openFile(const std::string& path, bool make, std::string& problem) {
    int error = 0;
    spdlog::sink_ptr sink = makeFileSink(path, make, error);
    if (error == ENOENT && !make) {
        const std::size_t slash = path.rfind('/');
        const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
        if (::access(folder.c_str(), W_OK | X_OK) == 0) {
            return std::make_shared<spdlog::sinks::null_sink_mt>();
        }
        error = errno;
    }
    if (error != 0) {
        problem = std::system_category().message(error);
        return nullptr;
    }
    return sink;
}

} // namespace

std::unique_ptr<FileLog> FileLog::open(const std::string& target, int maxLevel, std::string& problem,
                                       bool make) {
    try {
        spdlog::sink_ptr sink = isWord(target) ? makeWordSink(target) : openFile(target, make, problem);
        if (sink == nullptr) {
            return nullptr;
        }
        auto logger = std::make_shared<spdlog::logger>("quzo", std::move(sink));
        logger->set_pattern(target == kJournal ? "%v" : kPattern);
        logger->set_level(spdlog::level::trace);
        logger->flush_on(spdlog::level::trace);
        std::unique_ptr<FileLog> log(
            new FileLog(std::move(logger), target == kJournal)); // NOLINT(cppcoreguidelines-owning-memory)
        log->level = std::clamp(maxLevel, 0, kMaxLevel);
        return log;
    } catch (const std::exception& failure) {
        problem = failure.what();
        return nullptr;
    }
}

FileLog::FileLog(std::shared_ptr<spdlog::logger> logger, bool priorities)
    : logger_(std::move(logger)), priorities_(priorities) {
    logger_->set_error_handler([this](const std::string& /*what*/) { ++lost_; });
}

FileLog::~FileLog() = default;

void FileLog::write(int lineLevel, const char* format, ...) {
    if (lineLevel > level || format == nullptr) {
        return;
    }
    std::array<char, kMaxLine + 1> line; // NOLINT(cppcoreguidelines-pro-type-member-init): vsnprintf fills it
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    if (length < 0) {
        ++lost_;
        return;
    }
    writeLine(lineLevel, {line.data(), std::min<std::size_t>(static_cast<std::size_t>(length), kMaxLine)});
}

void FileLog::writeLine(int lineLevel, std::string_view line) noexcept {
    try {
        const std::string_view subject = LogSubject::current().substr(0, kMaxSubject);
        const spdlog::level::level_enum priority = priorityOf(lineLevel);
        logger_->log(priority, "{}{}: {}{}{}", priorities_ ? priorityMark(priority) : "",
                     levelName(lineLevel), visibleText(subject), subject.empty() ? "" : ": ",
                     visibleText(line));
    } catch (...) {
        ++lost_;
    }
}

void FileLog::tell(std::string_view line) noexcept {
    try {
        constexpr auto kPriority = spdlog::level::info;
        logger_->log(kPriority, "{}message: {}", priorities_ ? priorityMark(kPriority) : "",
                     visibleText(line));
    } catch (...) {
        ++lost_;
    }
}

bool FileLog::isWord(std::string_view target) {
    return target == kStderr || target == kSyslog || target == kJournal;
}

} // namespace quzo::platform
