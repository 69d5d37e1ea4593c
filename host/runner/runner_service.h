// The queue runner of an installation, as the programs have it: its settings, the server that mail goes to,
// and the mails that sum up notifications.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/base/fault.h"
#include "host/gateway/installation.h"
#include "host/runner/clock.h"
#include "host/runner/queue_runner.h"
#include "platform/mta/smtp/smtp_sender.h"

namespace quzo::host {

// For one thread. References outlive it. What passes the policy again has its line in the installation's
// message log.
class RunnerService {
public:
    struct Parts {
        Installation& installation; // open
        Clock& clock;
        std::function<bool()> stopping; // between two entries: whether to end
        std::function<void(platform::QueueKind, const std::string& id, const WorkDone&)> told; // may be null
        std::function<void(const Fault&)> say; // each fault once
        ScanTold scanned{};                    // of each message that passed the policy again; may be null
    };

    explicit RunnerService(Parts parts);

    // Why the settings of the installation allow no run. `iniFile` is named in it.
    static MaybeFault settingsFault(const Installation& installation, const std::string& iniFile);

    // Cleans up after killed processes: at the start, or when it is due again.
    void tidy(bool start);

    // Works each of the queues off once, in their order; `passed` may be null and gets the figures of each.
    // The worst exit code.
    int run(const std::vector<platform::QueueKind>& kinds,
            const std::function<void(platform::QueueKind, const RunFigures&)>& passed);

private:
    void sendSummaries();
    void logScanned(const MessageResult& result, const MessageFacts& facts) const;

    Parts parts_;
    platform::SmtpSender sender_;
    QueueRunner runner_;
    bool summariesSaid_ = false;
};

} // namespace quzo::host
