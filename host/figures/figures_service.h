// Keeps the figures of a running gateway up to date and shows them where the settings say.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "host/base/fault.h"
#include "host/base/stop_sign.h"
#include "host/figures/figures.h"
#include "host/figures/figures_server.h"
#include "host/figures/health.h"
#include "platform/config/figures_settings.h"
#include "platform/queue/queues.h"

namespace quzo::host {

// A thread that counts what is in the queues and writes the file every 15 seconds, and has the port. Where
// the queues are so long that counting takes a while, it pauses for twenty times as long. What cannot be
// shown is said and tried again: no mail waits for it.
class FiguresService {
public:
    // References outlive it.
    struct Parts {
        Figures& figures;
        Health& health;
        platform::Queues& queues;
        platform::FiguresSettings settings;
        std::function<int()> connections;      // how many there are
        std::function<void(const Fault&)> say; // by the thread
        std::chrono::milliseconds round = std::chrono::seconds(15);
    };

    // The thread takes no signals that the caller's does not.
    explicit FiguresService(Parts parts);
    // Takes the file away: what it says is over.
    ~FiguresService();
    FiguresService(const FiguresService&) = delete;
    FiguresService& operator=(const FiguresService&) = delete;

private:
    void work();
    void openPort();
    void countQueues();
    void writeFile();
    std::string text() const;
    void say(MaybeFault fault, std::string& said);

    Parts parts_;
    std::unique_ptr<FiguresServer> server_;
    std::chrono::steady_clock::time_point nextCount_{};
    std::string saidOfPort_, saidOfFile_; // the last fault of each, so that it is said once
    StopSign stop_;
    std::thread thread_;
};

} // namespace quzo::host
