// The port on which a running gateway shows its figures and its health, by HTTP.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/base/result.h"
#include "platform/config/figures_settings.h"

struct mg_context;

namespace quzo::host {

// GET /metrics and GET /health, with threads of its own, so many that a handful of clients which say nothing
// keep no other waiting; each has seconds for its request and for taking the answer, and what waits beyond a
// few is refused.
class FiguresServer {
public:
    // Called by the server's threads, several at once. What throws is answered with 500.
    struct Pages {
        std::function<std::string()> figures;
        std::function<std::vector<std::string>()> faults; // a line each; none: healthy
    };

    // Opens the port; port 0 is any that is free. The threads take no signals that the caller's does not.
    static Result<std::unique_ptr<FiguresServer>> start(const platform::LoopbackPort& address, Pages pages);

    // Ends the threads; a client that is being answered holds that up for two seconds.
    ~FiguresServer() = default;
    FiguresServer(const FiguresServer&) = delete;
    FiguresServer& operator=(const FiguresServer&) = delete;

    std::uint16_t port() const;

private:
    explicit FiguresServer(Pages pages) : pages_(std::move(pages)) {}

    struct Stop {
        void operator()(mg_context* context) const;
    };
    Pages pages_;
    std::unique_ptr<mg_context, Stop> context_; // goes before the pages
};

} // namespace quzo::host
