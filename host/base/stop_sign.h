// How a thread that works in rounds learns that it is to end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace quzo::host {

// Any thread. Once it is up, it stays so.
class StopSign {
public:
    void raise() {
        {
            const std::scoped_lock lock(mutex_);
            up_ = true;
        }
        change_.notify_all();
    }

    bool up() const {
        const std::scoped_lock lock(mutex_);
        return up_;
    }

    // Waits for it, for the pause at most. Whether it is up.
    bool upWithin(std::chrono::milliseconds pause) {
        std::unique_lock lock(mutex_);
        return change_.wait_for(lock, pause, [this] { return up_; });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable change_;
    bool up_ = false; // guarded by the mutex
};

} // namespace quzo::host
