// What `quzo apply` says while it works and at its end.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>

#include "host/base/fault.h"
#include "host/cli/apply/message_processor.h"
#include "host/cli/console/console.h"

namespace quzo::host {

// Writes the results in the order in which they come and keeps the counts. Used by the main thread.
class ApplyResults {
public:
    explicit ApplyResults(Console& console) : console_(console) {}

    void take(const Processed& done);

    // A fault of the run as a whole.
    void fault(const Fault& fault);

    // What this run put into queues, where it waits now, one line a queue. `dryRun`: would have put.
    void sayQueues(bool dryRun) const;

    // One line with the number of messages of each outcome.
    void saySummary() const;

    // The same when a signal ended the run.
    void sayInterrupted(int signal) const;

    // The number of files that were passed over, if any; `named`: each has been said.
    void sayPassedOver(std::size_t files, bool named) const;

    std::size_t messages() const { return messages_; }
    int exitCode() const { return exitCode_; }

private:
    std::string counts() const;

    Console& console_;
    std::array<std::size_t, 5> counts_{}; // by Outcome
    std::map<std::string, std::size_t> queued_;
    std::size_t messages_ = 0;
    int exitCode_ = 0;
};

} // namespace quzo::host
