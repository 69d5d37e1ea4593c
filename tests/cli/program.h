// Running the built program on files of our own.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::test {

struct ProgramRun {
    int exitCode = -1; // 128 + the signal when a signal ended it
    std::string out;
    std::string err;
};

// How the program's surroundings differ from the ordinary.
struct Surroundings {
    std::string input = {};         // of standard input
    std::string outputFile = {};    // where standard output goes instead of into ProgramRun::out
    bool closeOutput = false;       // standard output is closed
    bool brokenPipe = false;        // standard output is a pipe that nobody reads
    unsigned long maxFileBytes = 0; // limit on the size of files; 0: none
    unsigned killAfter = 0;         // microseconds after which it is killed; 0: never
    unsigned long maxMemory = 0;    // limit on the address space in bytes; 0: none
};

// A directory that goes away with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::string path(std::string_view name = {}) const;

    // Writes a file and the directories above it; returns its path.
    std::string write(std::string_view name, std::string_view bytes) const;

    // Runs `quzo` with the arguments in this directory, relative paths being below it.
    ProgramRun quzo(const std::vector<std::string>& arguments, const Surroundings& surroundings = {}) const;

    // Every regular file below a directory with its bytes, by relative path.
    std::map<std::string, std::string> files(std::string_view name) const;

private:
    std::filesystem::path root_;
};

// The program's file.
const char* quzoProgram();

std::string readFile(const std::filesystem::path& path);

} // namespace quzo::test
