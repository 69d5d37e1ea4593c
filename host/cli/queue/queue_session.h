// What every `quzo queue` subcommand begins and ends with.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/base/fault.h"
#include "host/cli/console/console.h"
#include "host/cli/queue/queue_options.h"
#include "host/gateway/installation.h"
#include "platform/queue/queue_admin.h"

namespace quzo::host {

// The queue that a command works on. Lives as long as the command.
class QueueSession {
public:
    // Reads settings and arguments. False after a fault, which has been said; exitCode() is then set.
    // `writing`: the command changes queues, so what killed processes left is tidied up first.
    bool start(const QueueOptions& options, bool writing, Console& console);

    int exitCode() const { return exitCode_; }

    platform::QueueAdmin& admin() { return *admin_; }
    platform::QueueKind queue() const { return queue_; }
    const char* name() const { return platform::queueName(queue_); }
    const platform::QueueFilter& filter() const { return filter_; }
    std::int64_t now() const { return now_; }

    // What went wrong with an entry of this queue; a result that is done is no fault.
    Fault fault(std::string_view id, const platform::QueueResult& result) const;
    Fault fault(std::string_view id, int error) const;

private:
    int refuse(const Fault& fault, Console& console);
    MaybeFault missingPlace();

    Installation installation_;
    std::optional<platform::QueueAdmin> admin_;
    platform::QueueKind queue_ = platform::QueueKind::Quarantine;
    platform::QueueFilter filter_;
    std::int64_t now_ = 0;
    int exitCode_ = 0;
};

} // namespace quzo::host
