// The signals are blocked in every thread and taken by one that waits for them, so nothing here needs
// async-signal-safe tricks.
#include "host/cli/console/interrupt.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

#include "host/cli/console/temporary_files.h"

namespace quzo::host {

InterruptWatch::InterruptWatch(int secondExit) : secondExit_(secondExit), wakeUp_(::eventfd(0, EFD_CLOEXEC)) {
    sigemptyset(&signals_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};
        if (sigaction(number, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
            sigaddset(&signals_, number);
        }
    }
    sigaddset(&signals_, SIGUSR2); // wakes the thread up
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
    thread_ = std::thread([this] { watch(); });
}

InterruptWatch::~InterruptWatch() {
    over_ = true;
    pthread_kill(thread_.native_handle(), SIGUSR2);
    thread_.join();
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void InterruptWatch::watch() {
    for (;;) {
        int number = 0;
        if (sigwait(&signals_, &number) != 0 || over_) {
            return;
        }
        if (number == SIGUSR2) {
            continue;
        }
        if (signal_ != 0) {
            endNow(number);
        }
        signal_ = number;
        const std::uint64_t one = 1;
        writeAll(wakeUp_.get(), {reinterpret_cast<const char*>(&one), sizeof one});
    }
}

void InterruptWatch::endNow(int number) const {
    removeTemporariesForGood();
    if (secondExit_ != 0) {
        ::_exit(secondExit_);
    }
    endBySignal(number);
}

void endBySignal(int number) {
    struct sigaction ordinary {};
    ordinary.sa_handler = SIG_DFL;
    sigaction(number, &ordinary, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, number);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    ::raise(number);
    ::_exit(128 + number);
}

} // namespace quzo::host
