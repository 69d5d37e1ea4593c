// See figures_server.h. Every request is answered here; nothing of what the HTTP library can do with files
// and scripts is reached.
#include "host/figures/figures_server.h"

#include <civetweb.h>

#include <array>
#include <exception>
#include <string_view>
#include <utility>

#include "host/base/exit_code.h"

namespace quzo::host {
namespace {

struct Answer {
    int status = 200;
    const char* type = "text/plain; charset=utf-8";
    std::string body;
};

Answer answerTo(std::string_view method, std::string_view path, const FiguresServer::Pages& pages) {
    if (path != "/metrics" && path != "/health") {
        return {.status = 404, .body = "There are /metrics and /health.\n"};
    }
    if (method != "GET" && method != "HEAD") {
        return {.status = 405, .body = "It can only be read.\n"};
    }
    if (path == "/metrics") {
        return {.type = "text/plain; version=0.0.4; charset=utf-8", .body = pages.figures()};
    }
    const std::vector<std::string> faults = pages.faults();
    Answer answer{.status = faults.empty() ? 200 : 503, .body = faults.empty() ? "ok\n" : ""};
    for (const std::string& fault : faults) {
        answer.body += fault + "\n";
    }
    return answer;
}

void send(mg_connection* client, const Answer& answer, bool withBody) {
    mg_response_header_start(client, answer.status);
    mg_response_header_add(client, "Content-Type", answer.type, -1);
    mg_response_header_add(client, "Content-Length", std::to_string(answer.body.size()).c_str(), -1);
    mg_response_header_add(client, "Cache-Control", "no-store", -1);
    mg_response_header_add(client, "Connection", "close", -1);
    mg_response_header_send(client);
    if (withBody) {
        mg_write(client, answer.body.data(), answer.body.size());
    }
}

// The library's own pages are never shown: what is returned is the status, which says that all is done.
int onRequest(mg_connection* client) noexcept {
    constexpr int kServerError = 500;
    try {
        const mg_request_info* request = mg_get_request_info(client);
        const auto* pages = static_cast<const FiguresServer::Pages*>(request->user_data);
        const std::string_view method = request->request_method;
        const Answer answer =
            answerTo(method, request->local_uri != nullptr ? request->local_uri : "", *pages);
        send(client, answer, method != "HEAD");
        return answer.status;
    } catch (const std::exception&) {
        mg_response_header_start(client, kServerError);
        mg_response_header_send(client);
        return kServerError;
    }
}

int keepQuiet(const mg_connection* /*client*/, const char* /*message*/) noexcept { return 1; }

} // namespace

Result<std::unique_ptr<FiguresServer>> FiguresServer::start(const platform::LoopbackPort& address,
                                                            Pages pages) {
    const std::string place = address.address + ":" + std::to_string(address.port);
    // The time is that of a whole request, in milliseconds; sizes are bytes.
    std::array<const char*, 15> options = {"listening_ports",
                                           place.c_str(),
                                           "num_threads",
                                           "8",
                                           "connection_queue",
                                           "16",
                                           "listen_backlog",
                                           "16",
                                           "request_timeout_ms",
                                           "5000",
                                           "max_request_size",
                                           "8192",
                                           "enable_keep_alive",
                                           "no",
                                           nullptr};
    mg_callbacks callbacks{};
    callbacks.begin_request = onRequest;
    callbacks.log_message = keepQuiet;
    std::unique_ptr<FiguresServer> server(new FiguresServer(std::move(pages)));
    mg_init_library(0);
    server->context_.reset(mg_start(&callbacks, &server->pages_, options.data()));
    if (server->context_ == nullptr) {
        return Fault{kExitCannotCreate, place, "the port for figures cannot be opened",
                     "see to figures_address in [milter], and that nobody else has the port"};
    }
    return server;
}

void FiguresServer::Stop::operator()(mg_context* context) const { mg_stop(context); }

std::uint16_t FiguresServer::port() const {
    mg_server_port port{};
    return mg_get_server_ports(context_.get(), 1, &port) == 1 ? static_cast<std::uint16_t>(port.port)
                                                              : std::uint16_t{0};
}

} // namespace quzo::host
