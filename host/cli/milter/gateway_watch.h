// Sees what a running milter does, for the log and the figures.
#pragma once

#include <memory>

#include "host/cli/milter/shared_errors.h"
#include "host/figures/figures.h"
#include "host/figures/figures_service.h"
#include "host/figures/health.h"
#include "host/gateway/installation.h"
#include "host/milter/milter_watch.h"

namespace quzo::host {

// Any thread. Outlives the connections, as the installation does, which is open.
class GatewayWatch final : public MilterWatch {
public:
    explicit GatewayWatch(Installation& installation);

    void judged(const MessageResult& result, const MilterVerdict& verdict,
                const MessageFacts& facts) noexcept override;
    void outOfMemory() noexcept override { figures_.outOfMemory(); }

    // What a reload found.
    void reloaded(const Faults& findings);

    // For the queue runner to tell.
    Figures& figures() { return figures_; }

    // Shows the figures as the settings say, as long as the result lives; null when they say nothing of it.
    std::unique_ptr<FiguresService> show(SharedErrors& errors);

private:
    Installation& installation_;
    Figures figures_;
    Health health_;
};

} // namespace quzo::host
