// See milter.h.
#include "host/cli/milter/milter.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>

#include "host/base/exit_code.h"
#include "host/base/result.h"
#include "host/cli/milter/background_runner.h"
#include "host/cli/milter/gateway_watch.h"
#include "host/cli/milter/reload_watch.h"
#include "host/cli/milter/service_notice.h"
#include "host/gateway/installation.h"
#include "host/milter/milter_server.h"
#include "host/runner/runner_service.h"

namespace quzo::host {
namespace {

constexpr std::chrono::seconds kFarewell{10}; // for connections that are still there at the end
constexpr int kOwnPages = 512 << 10;          // bytes

void fillContext(MilterContext& context, Installation& installation,
                 const platform::MilterSettings& settings) {
    context.snapshot = [&installation] { return installation.snapshot(); };
    context.queues = installation.queues();
    context.isTrusted = [networks = settings.trustedAddresses](std::string_view address) {
        return std::any_of(networks.begin(), networks.end(),
                           [address](const platform::Network& network) { return network.contains(address); });
    };
    context.rescanDaemonName = settings.rescanDaemonName;
    context.headerVirusName = settings.headerVirusName;
    context.headerWholeMail = settings.headerWholeMail;
    context.headerDeleteAll = settings.headerDeleteAll;
}

// Memory of large messages goes back to the system with them: by itself malloc stops doing so for a size that
// it has seen once. And the threads of many connections share few heaps, since each keeps its gaps.
void setUpMemory() {
    const int cores = static_cast<int>(std::thread::hardware_concurrency()); // 0: not known
    // NOLINTBEGIN(concurrency-mt-unsafe): no other thread is there yet
    ::mallopt(M_MMAP_THRESHOLD, kOwnPages);
    ::mallopt(M_ARENA_MAX, 2 * std::max(cores, 2));
    // NOLINTEND(concurrency-mt-unsafe)
}

void waitForConnections() {
    const auto end = std::chrono::steady_clock::now() + kFarewell;
    while (MilterServer::connections() > 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

// That of the command line, else of the settings.
Result<platform::MilterSocket> socketFor(const MilterCommandOptions& options,
                                         const platform::MilterSettings& settings) {
    if (options.socket.empty()) {
        return settings.socket;
    }
    if (const auto socket = platform::MilterSocket::parse(options.socket)) {
        return *socket;
    }
    return Fault{kExitUsage, "--socket", "it is no socket",
                 "write unix:/absolute/path, inet:PORT@HOST or inet6:PORT@[ADDRESS]"};
}

// With all that works beside it, until a signal ends it.
MaybeFault serve(MilterServer& server, Installation& installation, const std::string& iniFile,
                 GatewayWatch& watch, ErrorOutput& output) {
    SharedErrors errors(output);
    const ReloadWatch reloads(installation, controlPathOf(installation.settings()), errors, watch);
    std::unique_ptr<FiguresService> figures;
    std::optional<BackgroundRunner> runner;
    {
        const SignalsHeld held; // they are not for the threads of these
        figures = watch.show(errors);
        if (!RunnerService::settingsFault(installation, iniFile)) {
            runner.emplace(installation, errors, watch.figures());
        }
    }
    tellServiceManager("READY=1");
    MaybeFault ended = server.run();
    tellServiceManager("STOPPING=1");
    return ended;
}

} // namespace

int runMilter(const MilterCommandOptions& options, Console& console) {
    ReloadWatch::keepSignal();
    setUpMemory();
    if (options.policyFile.empty()) {
        return console.err.say(Fault{kExitUsage, "milter", "there is no policy",
                                     "name one with -p FILE, and the settings with -c FILE"});
    }
    // These outlive this function: connections may, too.
    static Installation installation;
    static MilterContext context;
    const bool usable = installation.open({.iniFile = options.iniFile, .policyFile = options.policyFile});
    const int exitCode = console.err.say(installation.findings());
    if (!usable) {
        return exitCode;
    }
    if (const MaybeFault fault = installation.recordReferences(true)) {
        console.err.say(*fault);
    }
    const platform::MilterSettings settings = installation.settings().milter();
    const auto socket = socketFor(options, settings);
    if (!socket) {
        return console.err.say(socket.fault());
    }
    fillContext(context, installation, settings);
    static GatewayWatch watch(installation);
    context.watch = &watch;
    MilterServer server(*socket, context);
    if (const MaybeFault fault = server.open()) {
        return console.err.say(*fault);
    }
    const MaybeFault ended = serve(server, installation, options.iniFile, watch, console.err);
    waitForConnections();
    if (MilterServer::connections() > 0) {
        ::_exit(ended ? ended->exitCode : kExitOk); // what they use must not go before them
    }
    return ended ? console.err.say(*ended) : kExitOk;
}

} // namespace quzo::host
