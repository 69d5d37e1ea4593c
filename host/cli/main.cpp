// The program: makes the process safe to work in, runs the command, and makes sure that what it wrote to
// standard output has arrived.
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <exception>

#include "host/base/exit_code.h"
#include "host/cli/command_line.h"
#include "host/cli/console/file_io.h"
#include "host/cli/console/interrupt.h"

namespace {

// A standard descriptor that is closed would be given to the next file that is opened, and a message would
// go there. The stand-ins fail when they are used: standard output is opened for reading only.
void occupyStandardDescriptors() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) == -1) {
            const int flags = number == STDERR_FILENO ? O_WRONLY : O_RDONLY;
            if (::open(number == STDIN_FILENO ? "/" : "/dev/null", flags) < 0) {
                return;
            }
        }
    }
}

// A reader that has gone and a limit on file sizes are reported by the calls that meet them.
void ignoreWriteSignals() {
    for (const int number : {SIGPIPE, SIGXFSZ}) {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(number, &ignore, nullptr);
    }
}

// What one message has freed serves the next: handing it back to the system in between costs a fifth of the
// time of a run over small messages. Blocks of large messages are still handed back as soon as they are free.
void keepFreedMemory() {
    constexpr int kLargeBlock = 4 << 20; // bytes
    constexpr int kKept = 16 << 20;
    mallopt(M_MMAP_THRESHOLD, kLargeBlock); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
    mallopt(M_TRIM_THRESHOLD, kKept);       // NOLINT(concurrency-mt-unsafe)
}

int run(int argc, char** argv, quzo::host::Console& console) {
    using namespace quzo::host;
    int code = runCommandLine(argc, argv, console);
    if (const MaybeFault fault = console.out.finish()) {
        code = worseExit(code, console.err.say(*fault));
    }
    return code;
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    ignoreWriteSignals();
    keepFreedMemory();
    quzo::host::Console console;
    try {
        const int code = run(argc, argv, console);
        if (code > quzo::host::kExitBySignal) {
            quzo::host::endBySignal(code - quzo::host::kExitBySignal);
        }
        return code;
    } catch (const std::exception& problem) {
        // In pieces, since it may be memory that is missing.
        for (const char* piece : {"quzo: gave up (", problem.what(), "): run it again\n"}) {
            quzo::host::writeAll(STDERR_FILENO, piece);
        }
        return quzo::host::kExitTryAgain;
    }
}
