// See manual_page.h.
#include "host/cli/help/manual_page.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "host/base/exit_code.h"

namespace quzo::host {
namespace {

namespace fs = std::filesystem;

constexpr int kManHasNoPage = 16; // of man(1)

std::string shown(const ManualPage& page) { return fmt::format("{}({})", page.name, page.section); }

// share/man beside the program's folder, if the page is there; else empty.
std::string folderBeside(const ManualPage& page) {
    std::error_code problem;
    const fs::path program = fs::read_symlink("/proc/self/exe", problem);
    const fs::path folder = program.parent_path().parent_path() / "share/man";
    const fs::path file = folder / fmt::format("man{0}/{1}.{0}", page.section, page.name);
    const bool there = fs::exists(file, problem) || fs::exists(file.string() + ".gz", problem);
    return there ? folder.string() : std::string();
}

// Keys that end the page are for it and not for us.
class KeysToChild {
public:
    KeysToChild() {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGINT, &ignore, &interrupt_);
        sigaction(SIGQUIT, &ignore, &quit_);
    }
    KeysToChild(const KeysToChild&) = delete;
    KeysToChild& operator=(const KeysToChild&) = delete;
    ~KeysToChild() {
        sigaction(SIGINT, &interrupt_, nullptr);
        sigaction(SIGQUIT, &quit_, nullptr);
    }

private:
    struct sigaction interrupt_ {};
    struct sigaction quit_ {};
};

// Returns 0 or an errno value; `status` is that of waitpid().
int runMan(const ManualPage& page, std::string folder, int& status) {
    std::string program = "man";
    std::string option = "-M";
    std::string section = std::to_string(page.section);
    std::string name = page.name;
    std::vector<char*> words = {program.data(), section.data(), name.data(), nullptr};
    if (!folder.empty()) {
        words.insert(words.begin() + 1, {option.data(), folder.data()});
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGQUIT, SIGPIPE, SIGXFSZ, SIGCHLD}) {
        sigaddset(&signals, number);
    }
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const KeysToChild keys;
    ::signal(SIGCHLD, SIG_DFL);
    pid_t child = 0;
    int error = posix_spawnp(&child, program.c_str(), nullptr, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    while (error == 0 && ::waitpid(child, &status, 0) < 0) {
        error = errno == EINTR ? 0 : errno;
    }
    return error;
}

} // namespace

int showManualPage(const ManualPage& page, Console& console) {
    int status = 0;
    if (const int error = runMan(page, folderBeside(page), status)) {
        return error == ENOENT ? console.err.say({kExitNoInput, "man",
                                                  "this program is not there, and shows " + shown(page),
                                                  "install it (Debian's package man-db)"})
                               : console.err.say(systemFault(kExitTryAgain, "man", "cannot be run", error));
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == kManHasNoPage) {
        return console.err.say({kExitNoInput, shown(page), "this page of the manual is not installed",
                                "install quzo whole (cmake --install, or its package)"});
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? kExitOk : kExitInputOutput;
}

} // namespace quzo::host
