// What every `quzo queue` subcommand begins with.
#pragma once

#include <optional>

#include "host/admin/queue_desk.h"
#include "host/cli/console/console.h"
#include "host/cli/queue/queue_options.h"
#include "host/gateway/installation.h"

namespace quzo::host {

// The queue that a command works on. Lives as long as the command.
class QueueSession {
public:
    // Reads settings and arguments. False after a fault, which has been said; exitCode() is then set.
    // `writing`: the command changes queues, so what killed processes left is tidied up first.
    bool start(const QueueOptions& options, bool writing, Console& console);

    int exitCode() const { return exitCode_; }

    QueueDesk& desk() { return *desk_; }
    const char* name() const { return desk_->name(); }
    const platform::QueueFilter& filter() const { return filter_; }

private:
    bool refuse(const Fault& fault, Console& console);

    Installation installation_;
    std::optional<QueueDesk> desk_;
    platform::QueueFilter filter_;
    int exitCode_ = 0;
};

} // namespace quzo::host
