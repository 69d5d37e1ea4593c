// The queue runner beside a milter, in a thread of its own.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "host/cli/milter/shared_errors.h"
#include "host/figures/figures.h"
#include "host/gateway/installation.h"

namespace quzo::host {

// Looks at the queues every `poll` of the settings until it goes. The installation has queues, and outlives
// it, as `errors` and `figures` do. It ends between two messages: when a server keeps one waiting, after that
// server's time-out.
class BackgroundRunner {
public:
    BackgroundRunner(Installation& installation, SharedErrors& errors, Figures& figures);
    ~BackgroundRunner();
    BackgroundRunner(const BackgroundRunner&) = delete;
    BackgroundRunner& operator=(const BackgroundRunner&) = delete;

private:
    void work();
    bool over();
    bool overAfter(std::chrono::seconds pause); // false: the pause has passed

    Installation& installation_;
    SharedErrors& errors_;
    Figures& figures_;
    std::mutex mutex_;
    std::condition_variable change_;
    bool over_ = false; // guarded by the mutex
    std::thread thread_;
};

} // namespace quzo::host
