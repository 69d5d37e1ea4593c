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
#include <filesystem>
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

// Opens the file, or makes it with our mode before spdlog opens it with the process's. 0 or what errno says.
int tryFile(const std::string& path, int create) {
    const int descriptor =
        ::open(path.c_str(), O_WRONLY | O_APPEND | create | O_CLOEXEC | O_NOCTTY, kLogMode);
    if (descriptor < 0) {
        return errno;
    }
    ::close(descriptor);
    return 0;
}

// Whether a file that is not there could be made.
int tryFolder(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return ::access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

spdlog::sink_ptr makeSink(const std::string& target) {
    if (target == "stderr") {
        return std::make_shared<spdlog::sinks::stderr_sink_mt>();
    }
    return std::make_shared<spdlog::sinks::basic_file_sink_mt>(target);
}

} // namespace

std::unique_ptr<FileLog> FileLog::open(const std::string& target, int maxLevel, std::string& problem,
                                       Missing missing) {
    bool nowhere = false;
    if (target != "stderr") {
        int error = tryFile(target, missing == Missing::Make ? O_CREAT : 0);
        nowhere = error == ENOENT && missing == Missing::LeaveOut && !target.empty();
        error = nowhere ? tryFolder(target) : error;
        if (error != 0) {
            problem = std::system_category().message(error);
            return nullptr;
        }
    }
    try {
        auto logger = std::make_shared<spdlog::logger>(
            "quzo", nowhere ? std::make_shared<spdlog::sinks::null_sink_mt>() : makeSink(target));
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
