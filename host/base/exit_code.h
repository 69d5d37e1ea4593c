// What the program's exit says: the numbers of sysexits.h that quzo uses.
#pragma once

namespace quzo::host {

enum ExitCode : int {
    kExitOk = 0,
    kExitUsage = 64,         // the command line
    kExitData = 65,          // a bad message, a setting that is refused
    kExitNoInput = 66,       // an input that is missing or cannot be read
    kExitCannotCreate = 73,  // an output that cannot be created
    kExitInputOutput = 74,   // reading or writing failed
    kExitTryAgain = 75,      // something was deferred
    kExitConfiguration = 78, // quzo.ini or the policy
    kExitBySignal = 128, // and the number of the signal that asked for the end: main() ends the process by it
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
