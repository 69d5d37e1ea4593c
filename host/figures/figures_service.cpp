// See figures_service.h.
#include "host/figures/figures_service.h"

#include <fcntl.h>

#include <ctime>
#include <exception>
#include <utility>

#include "host/figures/figures_file.h"
#include "platform/queue/file_system.h"

namespace quzo::host {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kPauses = 20; // of counting, in times that it took

} // namespace

FiguresService::FiguresService(Parts parts) : parts_(std::move(parts)), thread_([this] { work(); }) {}

FiguresService::~FiguresService() {
    stop_.raise();
    thread_.join();
    server_.reset();
    if (!parts_.settings.file.empty()) {
        platform::FileSystem::real().unlink(AT_FDCWD, parts_.settings.file.c_str());
    }
}

// What goes wrong with memory in one round may go right in the next.
void FiguresService::work() {
    for (bool ended = false; !ended;) {
        try {
            openPort();
            countQueues();
            writeFile();
        } catch (const std::exception&) {
            parts_.say(Fault::warning("figures", "a round over them was given up: out of memory"));
        }
        ended = stop_.upWithin(parts_.round);
    }
}

// Each fault once, until it is another one or has gone.
void FiguresService::say(MaybeFault fault, std::string& said) {
    const std::string line = fault ? fault->line() : std::string();
    if (fault && line != said) {
        fault->severity = Fault::Severity::Warning;
        parts_.say(*fault);
    }
    said = line;
}

void FiguresService::openPort() {
    if (server_ != nullptr || !parts_.settings.address) {
        return;
    }
    auto server = FiguresServer::start(
        *parts_.settings.address,
        {.figures = [this] { return text(); }, .faults = [this] { return parts_.health.faults(); }});
    if (server) {
        server_ = std::move(*server);
        say(std::nullopt, saidOfPort_);
    } else {
        say(server.fault(), saidOfPort_);
    }
}

void FiguresService::countQueues() {
    const SteadyClock::time_point start = SteadyClock::now();
    if (start < nextCount_) {
        return;
    }
    const std::int64_t now = std::time(nullptr);
    Faults unreadable; // the log has said it
    std::vector<QueueStatus> queues =
        queueStatus(parts_.queues, now, unreadable, [this] { return stop_.up(); });
    if (stop_.up()) {
        return; // they may not have been seen to their end
    }
    parts_.figures.setQueues(std::move(queues), now);
    const SteadyClock::time_point end = SteadyClock::now();
    nextCount_ = end + (end - start) * kPauses;
}

std::string FiguresService::text() const {
    return parts_.figures.text({.now = std::time(nullptr),
                                .connections = parts_.connections(),
                                .healthy = parts_.health.faults().empty()});
}

void FiguresService::writeFile() {
    if (!parts_.settings.file.empty()) {
        say(replaceFile(parts_.settings.file, text()), saidOfFile_);
    }
}

} // namespace quzo::host
