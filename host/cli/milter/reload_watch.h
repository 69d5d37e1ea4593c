// New policies for a milter that runs: on SIGUSR1, and when `quzo milter reload` asks.
#pragma once

#include <signal.h>

#include <atomic>
#include <string>
#include <thread>

#include "host/cli/console/file_io.h"
#include "host/cli/milter/control_socket.h"
#include "host/cli/milter/gateway_watch.h"
#include "host/cli/milter/shared_errors.h"
#include "host/gateway/installation.h"

namespace quzo::host {

// While one lives, no signal comes to the thread that made it, nor ever to those that it starts meanwhile:
// those that end the process are for libmilter's thread, and anywhere else they would end it at once.
class SignalsHeld {
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before_{};
};

// Loads policy and objects anew, in a thread of its own; what is wrong with them is said on `errors`, and to
// the command that asked. Make one before other threads start, so that the signal comes to it alone.
class ReloadWatch {
public:
    // From here on SIGUSR1 waits for a watch, where it would end the process.
    static void keepSignal();

    // `control`: where commands ask; empty: nowhere. A path that cannot be used is said, and costs no more
    // than that.
    ReloadWatch(Installation& installation, const std::string& control, SharedErrors& errors,
                GatewayWatch& told);
    ~ReloadWatch();
    ReloadWatch(const ReloadWatch&) = delete;
    ReloadWatch& operator=(const ReloadWatch&) = delete;

private:
    void watch();
    ControlAnswer answer(std::string_view request);
    ControlAnswer reload();

    Installation& installation_;
    SharedErrors& errors_;
    GatewayWatch& told_;
    ControlSocket control_;
    FileDescriptor signals_; // readable when SIGUSR1 has come
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

} // namespace quzo::host
