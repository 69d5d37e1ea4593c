// The program is run as users run it: a process with arguments, descriptors and limits.
#include "tests/cli/program.h"
#include "tests/places.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace quzo::test {
namespace {

namespace fs = std::filesystem;

// Puts an opened file in place of a standard descriptor. Between fork() and execv().
void redirect(int number, const std::string& file, int flags) {
    const int opened = ::open(file.c_str(), flags, 0600);
    if (opened < 0 || ::dup2(opened, number) < 0) {
        ::_exit(127);
    }
    ::close(opened);
}

void prepareOutput(const Surroundings& surroundings, const std::string& out) {
    int ends[2] = {};
    if (surroundings.closeOutput) {
        ::close(STDOUT_FILENO);
    } else if (surroundings.brokenPipe) {
        if (::pipe(ends) != 0 || ::dup2(ends[1], STDOUT_FILENO) < 0) {
            ::_exit(127);
        }
        ::close(ends[0]);
        ::close(ends[1]);
    } else {
        redirect(STDOUT_FILENO, surroundings.outputFile.empty() ? out : surroundings.outputFile,
                 O_WRONLY | O_CREAT | O_TRUNC);
    }
}

} // namespace

std::string readFile(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TemporaryDirectory::TemporaryDirectory() {
    std::string name = (fs::temp_directory_path() / "quzo-cli-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    root_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

std::string TemporaryDirectory::path(std::string_view name) const { return (root_ / name).string(); }

std::string TemporaryDirectory::write(std::string_view name, std::string_view bytes) const {
    const fs::path file = root_ / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return file.string();
}

ProgramRun TemporaryDirectory::quzo(const std::vector<std::string>& arguments,
                                    const Surroundings& surroundings) const {
    const TemporaryDirectory streams;
    const std::string in = streams.write("in", surroundings.input);
    const std::string out = streams.path("out");
    const std::string err = streams.path("err");
    std::vector<std::string> words = {quzo::tests::binaryDir() + std::string("/bin/quzo")};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        if (::chdir(root_.c_str()) != 0) {
            ::_exit(127);
        }
        redirect(STDIN_FILENO, in, O_RDONLY);
        redirect(STDERR_FILENO, err, O_WRONLY | O_CREAT | O_TRUNC);
        prepareOutput(surroundings, out);
        if (surroundings.maxFileBytes != 0) {
            const rlimit limit{surroundings.maxFileBytes, surroundings.maxFileBytes};
            ::setrlimit(RLIMIT_FSIZE, &limit);
        }
        if (surroundings.maxMemory != 0) {
            const rlimit limit{surroundings.maxMemory, surroundings.maxMemory};
            ::setrlimit(RLIMIT_AS, &limit);
        }
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    if (surroundings.killAfter != 0) {
        ::usleep(surroundings.killAfter);
        ::kill(child, SIGKILL); // it is still ours, dead or alive
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {code, readFile(out), readFile(err)};
}

std::map<std::string, std::string> TemporaryDirectory::files(std::string_view name) const {
    std::map<std::string, std::string> found;
    const fs::path top = root_ / name;
    if (!fs::exists(top)) {
        return found;
    }
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
        if (entry.is_regular_file() && !entry.is_symlink()) {
            found[entry.path().lexically_relative(top).string()] = readFile(entry.path());
        }
    }
    return found;
}

} // namespace quzo::test
