// See reload_watch.h. libmilter leaves SIGUSR1 alone, which is why it is that one.
#include "host/cli/milter/reload_watch.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <exception>

#include "host/base/exit_code.h"

namespace quzo::host {
namespace {

sigset_t reloadSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    return signals;
}

} // namespace

SignalsHeld::SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
}

SignalsHeld::~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

void ReloadWatch::keepSignal() {
    const sigset_t signals = reloadSignal();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

ReloadWatch::ReloadWatch(Installation& installation, const std::string& control, SharedErrors& errors,
                         GatewayWatch& told)
    : installation_(installation), errors_(errors), told_(told) {
    keepSignal();
    const sigset_t signals = reloadSignal();
    signals_ = FileDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (const MaybeFault fault = control.empty() ? std::nullopt : control_.open(control)) {
        errors_.say(Fault::warning(fault->where, fault->what, fault->advice));
    }
    const SignalsHeld held;
    thread_ = std::thread([this] { watch(); });
}

ReloadWatch::~ReloadWatch() {
    over_ = true;
    pthread_kill(thread_.native_handle(), SIGUSR1);
    thread_.join();
}

void ReloadWatch::watch() {
    pollfd waiting[] = {{signals_.get(), POLLIN, 0}, {control_.descriptor(), POLLIN, 0}};
    while (!over_) {
        if (::poll(waiting, std::size(waiting), -1) < 0 && errno != EINTR) {
            return;
        }
        signalfd_siginfo received{};
        if (::read(signals_.get(), &received, sizeof received) == sizeof received && !over_) {
            reload();
        }
        if (!over_ && (waiting[1].revents & POLLIN) != 0) {
            control_.serve([this](std::string_view request) { return answer(request); });
        }
    }
}

ControlAnswer ReloadWatch::answer(std::string_view request) {
    return request == "reload" ? reload() : ControlAnswer{"quzo: milter: that is no request\n", kExitUsage};
}

ControlAnswer ReloadWatch::reload() try {
    Faults findings = installation_.reload();
    const bool done = !hasErrors(findings);
    if (const MaybeFault fault = done ? installation_.recordReferences(true) : std::nullopt) {
        findings.push_back(*fault);
    }
    const char* const end = done ? "quzo: milter: loaded anew"
                                 : "quzo: milter: not loaded anew: the former policy stays in force";
    told_.reloaded(findings);
    errors_.say(findings);
    errors_.line(end);
    ControlAnswer answer{{}, exitCodeOf(findings)};
    for (const Fault& finding : findings) {
        answer.text.append(finding.line()).append("\n");
    }
    answer.text.append(end).append("\n");
    return answer;
} catch (const std::exception&) {
    told_.figures().reloaded(false, std::time(nullptr));
    errors_.line("quzo: milter: not loaded anew: out of memory");
    return {"quzo: milter: not loaded anew: out of memory\n", kExitTryAgain};
}

} // namespace quzo::host
