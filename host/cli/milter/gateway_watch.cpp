// See gateway_watch.h.
#include "host/cli/milter/gateway_watch.h"

#include <ctime>
#include <utility>

#include "host/milter/milter_server.h"
#include "platform/config/figures_settings.h"

namespace quzo::host {

GatewayWatch::GatewayWatch(Installation& installation)
    : installation_(installation), figures_(std::time(nullptr)), health_(installation) {}

void GatewayWatch::judged(const MessageResult& result, const MilterVerdict& verdict,
                          const MessageFacts& facts) noexcept {
    figures_.judged(result, verdict, facts.taken);
    if (const MessageLog* log = installation_.messageLog()) {
        log->tell(result, facts);
    }
}

void GatewayWatch::reloaded(const Faults& findings) {
    figures_.reloaded(!hasErrors(findings), std::time(nullptr));
    health_.reloaded(findings);
}

std::unique_ptr<FiguresService> GatewayWatch::show(SharedErrors& errors) {
    platform::IniSettings settings = installation_.settings();
    platform::FiguresSettings figures = platform::readFiguresSettings(settings);
    if (!figures.address && figures.file.empty()) {
        return nullptr;
    }
    return std::make_unique<FiguresService>(
        FiguresService::Parts{.figures = figures_,
                              .health = health_,
                              .queues = *installation_.queues(),
                              .settings = std::move(figures),
                              .connections = MilterServer::connections,
                              .say = [&errors](const Fault& fault) { errors.say(fault); }});
}

} // namespace quzo::host
