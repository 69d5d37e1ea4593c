// Ending a run when a signal asks for it.
#pragma once

#include <atomic>
#include <csignal>
#include <thread>

#include "host/cli/console/file_io.h"

namespace quzo::host {

// While one lives, the first SIGINT, SIGTERM or SIGHUP (where they are not ignored) only says so here, and
// the work comes to an end by itself: what is done is told, and nothing is half done. The second one, for
// whoever will not wait, removes every temporary file and ends the process as it would have. Make one before
// other threads start.
class InterruptWatch {
public:
    // `secondExit`: the exit code with which the second one ends the process; 0: by the signal.
    explicit InterruptWatch(int secondExit = 0);
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

    // The signal that came; 0 as long as there was none. Any thread.
    int signal() const { return signal_; }

    // A descriptor that can be read from the first signal on, to be waited for beside what an input is read
    // from; -1 when there is none.
    int wakeUp() const { return wakeUp_.get(); }

private:
    void watch();
    void endNow(int number) const;

    const int secondExit_;
    sigset_t signals_{};
    sigset_t before_{};
    FileDescriptor wakeUp_;
    std::atomic<int> signal_ = 0;
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

// Ends the process by the signal, as if nobody had held it up. Call it with everything written.
[[noreturn]] void endBySignal(int number);

} // namespace quzo::host
