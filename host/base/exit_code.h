// What the program's exit says: the numbers of sysexits.h that quzo uses.
#pragma once

#include <string_view>

namespace quzo::host {

enum ExitCode : int {
    kExitOk = 0,
    kExitUsage = 64,
    kExitData = 65,
    kExitNoInput = 66,
    kExitCannotCreate = 73,
    kExitInputOutput = 74,
    kExitTryAgain = 75,
    kExitConfiguration = 78,
    kExitBySignal = 128, // and the number of the signal that asked for the end: main() ends the process by it
};

struct ExitCodeText {
    ExitCode code;
    std::string_view text;
};

// What each tells people.
inline constexpr ExitCodeText kExitCodeTexts[] = {
    {kExitOk, "done"},
    {kExitUsage, "the command line is wrong"},
    {kExitData, "a bad message, one that can never be read, or a setting text that is refused"},
    {kExitNoInput, "an input, the policy, an object or an entry is missing"},
    {kExitCannotCreate, "an output cannot be created"},
    {kExitInputOutput, "reading or writing failed"},
    {kExitTryAgain, "a message was deferred, or the store cannot be reached: try again"},
    {kExitConfiguration, "settings, store or policy are wrong"},
};

// The exit code of a run in which both happened: deferred mail counts most (run it again), then failed
// output and input, then bad messages, then missing inputs.
constexpr int worseExit(int first, int second) {
    if (first > kExitBySignal) {
        return first;
    }
    constexpr int kOrder[] = {kExitTryAgain, kExitInputOutput, kExitCannotCreate, kExitData, kExitNoInput};
    for (const int code : kOrder) {
        if (first == code || second == code) {
            return code;
        }
    }
    return first != kExitOk ? first : second;
}

} // namespace quzo::host
