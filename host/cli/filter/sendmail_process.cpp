// Files in memory stand at both ends of the process: no pipe can run full, break, or end too early.
#include "host/cli/filter/sendmail_process.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string_view>
#include <utility>
#include <vector>

#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"

namespace quzo::host {
namespace {

constexpr std::size_t kShown = 300; // bytes of its output

// The attributes and the actions on descriptors of a process that is to be started.
class Start {
public:
    Start(int input, int output) {
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&actions_);
        sigset_t signals;
        sigemptyset(&signals);
        keep(posix_spawnattr_setsigmask(&attributes_, &signals));
        for (const int number : {SIGPIPE, SIGXFSZ, SIGCHLD}) {
            sigaddset(&signals, number);
        }
        keep(posix_spawnattr_setsigdefault(&attributes_, &signals));
        keep(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
        keep(posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO));
        keep(posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO));
        keep(posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO));
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;
    ~Start() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }

    // Returns 0 or an errno value, also when the program cannot be run.
    int run(const std::string& program, std::vector<char*>& words, pid_t& child) const {
        return error_ != 0
                   ? error_
                   : posix_spawn(&child, program.c_str(), &actions_, &attributes_, words.data(), environ);
    }

private:
    void keep(int error) { error_ = error_ != 0 ? error_ : error; }

    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
    int error_ = 0;
};

std::string withLf(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0, end = 0; end != std::string_view::npos; at = end + 1) {
        end = text.find("\r\n", at);
        out.append(text.substr(at, end == std::string_view::npos ? end : end - at));
        // The CR is left out, and the LF is where the next piece begins.
    }
    return out;
}

// Null-terminated, of texts that stay as they are.
std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// What it said first.
std::string firstLine(int output) {
    std::string said(kShown, '\0');
    const ssize_t count = ::pread(output, said.data(), said.size(), 0);
    said.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return said.substr(0, said.find('\n'));
}

std::string howItEnded(int status) {
    return WIFEXITED(status) ? fmt::format("ended with {}", WEXITSTATUS(status))
                             : fmt::format("was ended by signal {}", WTERMSIG(status));
}

} // namespace

MaybeFault giveToSendmail(const std::string& program, const LeavingMail& mail) {
    const auto failed = [&](std::string_view doing, int error) {
        return systemFault(kExitTryAgain, program, doing, error);
    };
    const FileDescriptor input(::memfd_create("message", MFD_CLOEXEC));
    const FileDescriptor output(::memfd_create("output", MFD_CLOEXEC));
    if (!input || !output) {
        return failed("cannot be given the message", errno);
    }
    if (const int error = writeAll(input.get(), withLf(mail.message))) {
        return failed("cannot be given the message", error);
    }
    if (::lseek(input.get(), 0, SEEK_SET) != 0) {
        return failed("cannot be given the message", errno);
    }
    std::vector<std::string> words = {program, "-G", "-i", "-f", mail.sender, "--"};
    words.insert(words.end(), mail.recipients.begin(), mail.recipients.end());
    std::vector<char*> pointers = pointersTo(words);
    ::signal(SIGCHLD, SIG_DFL);
    pid_t child = 0;
    if (const int error = Start(input.get(), output.get()).run(program, pointers, child)) {
        return failed("cannot be run", error);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return failed("does not say how it ended", errno);
        }
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return std::nullopt;
    }
    const std::string said = firstLine(output.get());
    return Fault{kExitTryAgain, program, howItEnded(status) + (said.empty() ? "" : ": " + said),
                 "the message stays with the mail server"};
}

} // namespace quzo::host
