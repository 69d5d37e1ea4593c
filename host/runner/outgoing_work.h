// An entry that goes to a server: an attempt to deliver it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/runner/entry_moves.h"
#include "platform/base/next_hop.h"
#include "platform/mta/smtp/mail_sender.h"

namespace quzo::host {

// For one thread; `moves` and `sender` outlive it.
class OutgoingWork {
public:
    // Of a queue in which an entry's own server counts, or of one in which all go to the next hop.
    enum class Routes : std::uint8_t { Own, None };

    OutgoingWork(const EntryMoves& moves, platform::MailSender& sender,
                 std::optional<platform::NextHop> nextHop, std::string hostname, Routes routes = Routes::Own)
        : moves_(moves),
          sender_(sender),
          nextHop_(std::move(nextHop)),
          hostname_(std::move(hostname)),
          routes_(routes) {}

    // The server for the entry: its own, or the next hop. None: it cannot be sent at all.
    std::optional<platform::NextHop> hopOf(const platform::QueueEntry& entry) const;

    // Sends to all recipients who have not got it and are not refused, a hundred at a time. After each
    // hundred the disk says who has it. A server that could not be reached is not asked again for a minute;
    // what goes there meanwhile gets the same answer. `sender` is that of the envelope. The message goes out
    // as it is stored, behind a field of ours (traceField()).
    WorkDone work(platform::QueueClaim& claim, const std::string& sender, std::int64_t now);

private:
    struct Attempt;
    void take(const platform::SendResult& result, const std::vector<std::string>& recipients,
              Attempt& attempt);
    int split(platform::QueueClaim& claim, std::int64_t now) const;
    platform::SendResult send(platform::SendJob& job, std::int64_t now);
    WorkDone finish(platform::QueueClaim& claim, Attempt& attempt, std::int64_t now);

    struct Silence {
        std::int64_t until = 0; // seconds since 1970
        std::string reason;
    };

    const EntryMoves& moves_;
    platform::MailSender& sender_;
    std::optional<platform::NextHop> nextHop_;
    std::string hostname_; // under which this host passes mail on
    Routes routes_;
    std::map<std::pair<std::string, std::uint16_t>, Silence> silent_; // servers, by host and port
};

} // namespace quzo::host
