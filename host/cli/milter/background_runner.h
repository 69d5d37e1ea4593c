// The queue runner beside a milter, in a thread of its own.
#pragma once

#include <thread>

#include "host/base/stop_sign.h"
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

    Installation& installation_;
    SharedErrors& errors_;
    Figures& figures_;
    StopSign stop_;
    std::thread thread_;
};

} // namespace quzo::host
