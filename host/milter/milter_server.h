// The milter protocol, by libmilter: a socket, a thread for each connection, a MilterSession for each.
#pragma once

#include <string>

#include "host/base/fault.h"
#include "host/milter/milter_session.h"
#include "platform/config/milter_settings.h"

namespace quzo::host {

// One in a process: libmilter's state is the process's.
class MilterServer {
public:
    // The context outlives the process's connections, which may be
    // there when run() has come back: never let it go before the process ends.
    MilterServer(const platform::MilterSocket& socket, const MilterContext& context);
    MilterServer(const MilterServer&) = delete;
    MilterServer& operator=(const MilterServer&) = delete;

    // Opens the socket. A path that a dead process has left is taken over.
    MaybeFault open();

    // Serves until SIGTERM or SIGINT comes, or stop(); messages in hand are finished. libmilter waits for the
    // two signals in a thread of its own.
    MaybeFault run();

    // From any thread.
    static void stop();

    // How many connections there are.
    static int connections();

private:
    std::string socket_; // as libmilter writes it
};

} // namespace quzo::host
