// See milter.h. SIGUSR1 has policy and objects loaded anew: libmilter leaves that signal alone, and a thread
// waits for it here.
#include "host/cli/milter/milter.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <optional>
#include <thread>

#include "host/base/exit_code.h"
#include "host/cli/milter/background_runner.h"
#include "host/gateway/installation.h"
#include "host/milter/milter_server.h"
#include "host/runner/runner_service.h"

namespace quzo::host {
namespace {

constexpr std::chrono::seconds kFarewell{10}; // for connections that are still there at the end

// While one lives, no signal comes to this thread, nor ever to those that it starts meanwhile: those that end
// the process are for libmilter's thread, and anywhere else they would end it at once.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before_{};
};

// Loads policy and objects anew when SIGUSR1 comes. Make one before other threads start, so that the signal
// comes to it alone.
class ReloadWatch {
public:
    ReloadWatch(Installation& installation, SharedErrors& errors)
        : installation_(installation), errors_(errors) {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
        const SignalsHeld held;
        thread_ = std::thread([this] { watch(); });
    }
    ~ReloadWatch() {
        over_ = true;
        pthread_kill(thread_.native_handle(), SIGUSR1);
        thread_.join();
    }
    ReloadWatch(const ReloadWatch&) = delete;
    ReloadWatch& operator=(const ReloadWatch&) = delete;

private:
    void watch() {
        for (int number = 0; sigwait(&signals_, &number) == 0 && !over_;) {
            const Faults findings = installation_.reload();
            errors_.say(findings);
            errors_.line(hasErrors(findings)
                             ? "quzo: milter: not loaded anew: the former policy stays in force"
                             : "quzo: milter: loaded anew");
        }
    }

    Installation& installation_;
    SharedErrors& errors_;
    sigset_t signals_{};
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

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

void waitForConnections() {
    const auto end = std::chrono::steady_clock::now() + kFarewell;
    while (MilterServer::connections() > 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

} // namespace

int runMilter(const MilterCommandOptions& options, Console& console) {
    if (options.policyFile.empty()) {
        return console.err.say(Fault{kExitUsage, "milter", "there is no policy",
                                     "name one with -p FILE, and the settings with -c FILE"});
    }
    // Both outlive this function: connections may, too.
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
    platform::MilterSettings settings = installation.settings().milter();
    if (!options.socket.empty()) {
        const auto socket = platform::MilterSocket::parse(options.socket);
        if (!socket) {
            return console.err.say(
                Fault{kExitUsage, "--socket", "it is no socket",
                      "write unix:/absolute/path, inet:PORT@HOST or inet6:PORT@[ADDRESS]"});
        }
        settings.socket = *socket;
    }
    fillContext(context, installation, settings);
    MilterServer server(settings.socket, context);
    if (const MaybeFault fault = server.open()) {
        return console.err.say(*fault);
    }
    MaybeFault ended;
    {
        SharedErrors errors(console.err);
        const ReloadWatch reloads(installation, errors);
        std::optional<BackgroundRunner> runner;
        if (!RunnerService::settingsFault(installation, options.iniFile)) {
            const SignalsHeld held; // they are not for the runner's thread
            runner.emplace(installation, errors);
        }
        ended = server.run();
    }
    waitForConnections();
    if (MilterServer::connections() > 0) {
        ::_exit(ended ? ended->exitCode : kExitOk); // what they use must not go before them
    }
    return ended ? console.err.say(*ended) : kExitOk;
}

} // namespace quzo::host
