// Whether a running gateway can do its work.
#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "host/base/fault.h"
#include "host/gateway/installation.h"

namespace quzo::host {

// Any thread. The installation is open and outlives it.
class Health {
public:
    // What was found on the disk holds for `fresh`, however often it is asked for.
    explicit Health(const Installation& installation, std::chrono::seconds fresh = std::chrono::seconds(5))
        : installation_(installation), fresh_(fresh) {}

    // What a reload came to; its errors stand until one without.
    void reloaded(const Faults& findings);

    // One line each; empty: all is well. Looked at are the policy, the last reload, and whether a file can be
    // made and written where each of the queues is.
    std::vector<std::string> faults();

private:
    void lookAtQueues();

    const Installation& installation_;
    const std::chrono::seconds fresh_;
    std::mutex mutex_; // of what follows
    std::vector<std::string> reloadFaults_;
    std::vector<std::string> queueFaults_;
    std::chrono::steady_clock::time_point looked_{}; // at the queues
    bool everLooked_ = false;
};

} // namespace quzo::host
