// A failed connection leaves only a message in the server's language. Asked for before it fails, the message
// is the code alone, which tells a wrong password (settings) from a server that is starting up (try again).
#include "platform/store/postgres_diagnosis.h"

#include <poll.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/base/visible_text.h"
#include "platform/store/postgres_library.h"

namespace quzo::platform {
namespace {

using Clock = std::chrono::steady_clock;
using Connection = std::unique_ptr<PGconn, decltype(PostgresLibrary::finish)>;

constexpr std::chrono::milliseconds kPatience{3000};

// Drives the connection until it stands, fails or the time is over.
void attempt(const PostgresLibrary& postgres, PGconn* connection) {
    const auto deadline = Clock::now() + kPatience;
    PostgresPollingStatusType state = PGRES_POLLING_WRITING;
    while (state != PGRES_POLLING_OK && state != PGRES_POLLING_FAILED) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd waiting{postgres.socket(connection), 0, 0};
        waiting.events = state == PGRES_POLLING_READING ? POLLIN : POLLOUT;
        if (left.count() <= 0 || waiting.fd < 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0) {
            return;
        }
        state = postgres.connectPoll(connection);
    }
}

// What stands after the last "failed: " of the first line, or the line.
std::string reasonOf(std::string_view message) {
    message = message.substr(0, message.find('\n'));
    constexpr std::string_view kMark = "failed: ";
    if (const std::size_t at = message.rfind(kMark); at != std::string_view::npos) {
        message.remove_prefix(at + kMark.size());
    }
    return visibleText(message);
}

// The five characters behind "FATAL:  ", when the server sent some.
std::string_view stateOf(std::string_view message) {
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
        message.remove_suffix(1);
    }
    constexpr std::size_t kLength = 5;
    if (message.size() < kLength + 2 || message[message.size() - kLength - 1] != ' ') {
        return {};
    }
    const std::string_view state = message.substr(message.size() - kLength);
    const bool formed = state.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ") == state.npos;
    return formed ? state : std::string_view();
}

} // namespace

StoreFault diagnosePostgres(const ConnectionTarget& target) {
    const std::string store = "the store (" + target.label + ") ";
    const PostgresLibrary& postgres = postgresLibrary();
    const Connection connection(postgres.connectStart(target.connection.c_str()), postgres.finish);
    if (!connection) {
        return {StoreTrouble::NoMemory, "out of memory"};
    }
    postgres.setErrorVerbosity(connection.get(), PQERRORS_SQLSTATE);
    attempt(postgres, connection.get());
    const std::string_view message = postgres.errorMessage(connection.get());
    const std::string_view state = stateOf(message);
    if (state.starts_with("28") || postgres.connectionNeedsPassword(connection.get()) != 0) {
        return {StoreTrouble::CannotOpen, store + "refuses the user or the password: check both"};
    }
    if (state == "3D000") {
        return {StoreTrouble::CannotOpen, store + "is not there: create the database"};
    }
    if (state == "42501") {
        return {StoreTrouble::NotAllowed, store + "does not let this user in: grant the right to connect"};
    }
    if (state.starts_with("53")) {
        return {StoreTrouble::Unreachable, store + "has no room for another session: try again"};
    }
    if (state.starts_with("57P")) {
        return {StoreTrouble::Unreachable, store + "is starting up or shutting down: try again"};
    }
    const std::string reason = message.empty() ? "no answer" : reasonOf(message);
    return {StoreTrouble::Unreachable, store + "cannot be reached: " + reason};
}

} // namespace quzo::platform
