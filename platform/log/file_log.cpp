// LogMsg over spdlog, which brings the time stamps, the thread-safe sinks and their locking. The escaping is
// ours: a subject with a line break in it must not become a line of its own.
#include "platform/log/file_log.h"

#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <system_error>

#include "platform/base/visible_text.h"
#include "platform/log/log_subject.h"

namespace quzo::platform {

namespace {

constexpr const char* kPattern = "%Y-%m-%dT%H:%M:%S.%e%z [%P] %v";
constexpr int kMaxLevel = 3;
constexpr std::size_t kMaxSubject = 1024; // bytes
constexpr mode_t kLogMode = 0640;         // subjects and addresses are nobody else's business

const char* levelName(int level) {
    if (level <= 1) {
        return "error";
    }
    return level == 2 ? "notice" : "detail";
}

enum class Place { Ready, Absent, Unusable };

Place unusable(std::string& problem) {
    problem = std::system_category().message(errno);
    return Place::Unusable;
}

// Makes the file, if that is wanted, with our mode before spdlog opens it with the process's.
Place prepareFile(const std::string& path, bool make, std::string& problem) {
    const int flags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY | (make ? O_CREAT : 0);
    const int descriptor = ::open(path.c_str(), flags, kLogMode);
    if (descriptor >= 0) {
        ::close(descriptor);
        return Place::Ready;
    }
    if (make || errno != ENOENT) {
        return unusable(problem);
    }
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    return ::access(folder.c_str(), W_OK | X_OK) == 0 ? Place::Absent : unusable(problem);
}

spdlog::sink_ptr makeSink(const std::string& target, Place place) {
    if (place == Place::Absent) {
        return std::make_shared<spdlog::sinks::null_sink_mt>();
    }
    if (target == "stderr") {
        return std::make_shared<spdlog::sinks::stderr_sink_mt>();
    }
    return std::make_shared<spdlog::sinks::basic_file_sink_mt>(target);
}

} // namespace

std::unique_ptr<FileLog> FileLog::open(const std::string& target, int maxLevel, std::string& problem,
                                       bool make) {
    const Place place = target == "stderr" ? Place::Ready : prepareFile(target, make, problem);
    if (place == Place::Unusable) {
        return nullptr;
    }
    try {
        auto logger = std::make_shared<spdlog::logger>("quzo", makeSink(target, place));
        logger->set_pattern(kPattern);
        logger->set_level(spdlog::level::trace);
        logger->flush_on(spdlog::level::trace);
        std::unique_ptr<FileLog> log(
            new FileLog(std::move(logger))); // NOLINT(cppcoreguidelines-owning-memory)
        log->level = std::clamp(maxLevel, 0, kMaxLevel);
        return log;
    } catch (const std::exception& failure) {
        problem = failure.what();
        return nullptr;
    }
}

FileLog::FileLog(std::shared_ptr<spdlog::logger> logger) : logger_(std::move(logger)) {
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
        logger_->log(spdlog::level::info, "{}: {}{}{}", levelName(lineLevel), visibleText(subject),
                     subject.empty() ? "" : ": ", visibleText(line));
    } catch (...) {
        ++lost_;
    }
}

} // namespace quzo::platform
