// See smtp_transaction.h.
//
// What counts is the answer to the whole message: before it nobody is taken for served, and a server that
// hangs up before it has said so may have the message or not, which is the one case in which nobody can know.
// Where the server allows it commands are sent together and their answers read together, in groups small
// enough that neither side ever waits for the other to read. DATA then goes out before anybody knows whether
// there will be a recipient: a server that wants a message for nobody all the same is hung up on, since it
// may have taken somebody whom we do not know of.
#include "platform/mta/smtp/smtp_transaction.h"

#include <algorithm>

#include "platform/base/utf8.h"

namespace quzo::platform {
namespace {

using Fate = RecipientAnswer::Fate;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kGroup = std::size_t{4} << 10U;  // bytes of commands that go out together
constexpr std::size_t kPiece = std::size_t{64} << 10U; // bytes of the message that go out together
constexpr std::uint64_t kSlowest = 1024;               // bytes a second that a server reads at least
constexpr std::chrono::seconds kLastWords{1};          // to hear why a server has hung up

constexpr int kClosing = 421;       // whatever it answers, the connection ends
constexpr int kTooManyForOne = 552; // of a recipient: he may come with the next transaction
constexpr int kGoOn = 354;

} // namespace

SmtpConnection::Time SmtpTransaction::deadline(std::chrono::seconds more) const {
    return Clock::now() + timeout_ + more;
}

SmtpTransaction::End SmtpTransaction::run(const std::vector<std::size_t>& places,
                                          std::vector<RecipientAnswer>& answers) {
    places_ = places;
    if (!connection_.quiet()) {
        trouble_ = "the server has hung up";
        return End::Unused;
    }
    bool whole = sendEnvelope(answers);
    const bool wanted = whole && mailTaken_ && !places_.empty();
    if (wanted) {
        whole = sendMessage(answers);
    }
    if (whole && !wanted && dataSent_) {
        whole = cancelData();
    }
    if (whole && mailTaken_ && !messageOver_) {
        SmtpReply reset;
        whole = command("RSET\r\n") && reply(reset, "RSET") && reset.positive();
        return whole ? End::Clean : End::Broken;
    }
    if (whole) {
        return End::Clean;
    }
    setAll(answers, Fate::Later, trouble_);
    return answered_ ? End::Broken : End::Unused;
}

std::string SmtpTransaction::mailCommand() const {
    std::string line = "MAIL FROM:<" + job_.sender + ">";
    const ServerGreeting& server = connection_.server();
    if (server.hasSize()) {
        line += " SIZE=" + std::to_string(facts_.size);
    }
    if (server.eightBit() && facts_.eightBit) {
        line += " BODY=8BITMIME";
    }
    const bool ascii =
        isAscii(job_.sender) && std::all_of(places_.begin(), places_.end(),
                                            [&](std::size_t i) { return isAscii(job_.recipients[i]); });
    if (server.utf8() && !ascii) {
        line += " SMTPUTF8";
    }
    return line + "\r\n";
}

bool SmtpTransaction::sendEnvelope(std::vector<RecipientAnswer>& answers) {
    const std::vector<std::size_t> all = places_;
    const bool together = connection_.server().pipelining();
    std::size_t sent = 0; // recipients whose command has gone out
    std::string lines = mailCommand();
    for (bool mail = true; mail || (mailTaken_ && sent < all.size()); mail = false) {
        const std::size_t first = sent;
        while (sent < all.size() && (lines.empty() || (together && lines.size() < kGroup))) {
            lines += "RCPT TO:<" + job_.recipients[all[sent++]] + ">\r\n";
        }
        if (together && sent == all.size()) {
            lines += "DATA\r\n";
            dataSent_ = true;
        }
        if (!command(lines) || (mail && !takeMailReply(answers))) {
            return false;
        }
        for (std::size_t i = first; i < sent; ++i) {
            if (!takeRecipientReply(all[i], answers)) {
                return false;
            }
        }
        lines.clear();
    }
    return true;
}

bool SmtpTransaction::takeMailReply(std::vector<RecipientAnswer>& answers) {
    SmtpReply taken;
    if (!reply(taken, "MAIL")) {
        return false;
    }
    answered_ = true;
    mailTaken_ = taken.positive();
    if (!mailTaken_) {
        setAll(answers, taken.permanent() ? Fate::Refused : Fate::Later, taken.text);
    }
    return true;
}

bool SmtpTransaction::takeRecipientReply(std::size_t place, std::vector<RecipientAnswer>& answers) {
    SmtpReply taken;
    if (!reply(taken, "RCPT")) {
        return false;
    }
    if (mailTaken_ && !taken.positive()) {
        const bool refused = taken.permanent() && taken.code != kTooManyForOne;
        answers[place].fate = refused ? Fate::Refused : Fate::Later;
        answers[place].text = std::move(taken.text);
        std::erase(places_, place);
    }
    return true;
}

bool SmtpTransaction::cancelData() {
    SmtpReply taken;
    if (!reply(taken, "DATA", kGoOn)) {
        return false;
    }
    if (taken.code == kGoOn) {
        trouble_ = "the server wants a message for nobody";
    }
    return taken.code != kGoOn;
}

bool SmtpTransaction::sendMessage(std::vector<RecipientAnswer>& answers) {
    SmtpReply taken;
    if ((!dataSent_ && !command("DATA\r\n")) || !reply(taken, "DATA", kGoOn)) {
        return false;
    }
    if (taken.code == kGoOn && !sendBody(answers)) {
        return false;
    }
    if (taken.code == kGoOn && !reply(taken, "the message")) {
        trouble_ += "; whether it has the message is not known";
        return false;
    }
    messageOver_ = taken.code != kGoOn && bodySent_;
    Fate fate = taken.permanent() ? Fate::Refused : Fate::Later;
    fate = taken.positive() && bodySent_ ? Fate::Accepted : fate;
    setAll(answers, fate, taken.text);
    return true;
}

bool SmtpTransaction::sendBody(std::vector<RecipientAnswer>& answers) {
    const SmtpConnection::Time slowest =
        deadline(std::chrono::seconds(static_cast<std::int64_t>(facts_.size / kSlowest)));
    WireEncoder encoder;
    std::string wire;
    bool lost = false;
    const auto flush = [&] {
        lost = lost || !connection_.send(wire, std::min(deadline(), slowest));
        wire.clear();
        return !lost;
    };
    const bool read = job_.message([&](std::string_view piece) {
        encoder.add(piece, wire);
        return wire.size() < kPiece || flush();
    });
    if (!read && !lost) {
        trouble_ = "the message could not be read to its end";
        return false;
    }
    // A server that speaks before the end has given up, or is not to be understood.
    lost = lost || !connection_.quiet();
    if (!lost) {
        encoder.finish(wire);
        bodySent_ = flush();
    }
    if (lost) {
        // It has not got the end of the message, so whatever it says it has not taken it.
        trouble_ = "the connection was lost in the middle of the message";
        SmtpReply last;
        if (connection_.receive(last, Clock::now() + kLastWords) == SmtpConnection::Got::Reply) {
            trouble_ = last.text;
            if (last.permanent()) {
                setAll(answers, Fate::Refused, last.text);
            }
        }
    }
    return !lost;
}

bool SmtpTransaction::command(std::string_view line) {
    if (connection_.send(line, deadline())) {
        return true;
    }
    trouble_ = "the connection was lost";
    return false;
}

// An answer that can be understood and lets the work go on. Numbers of the third hundred are none, but for
// the one that is asked for.
bool SmtpTransaction::reply(SmtpReply& out, const char* to, int wanted) {
    switch (connection_.receive(out, deadline())) {
        case SmtpConnection::Got::Reply:
            break;
        case SmtpConnection::Got::Closed:
            trouble_ = std::string("the server hung up instead of answering to ") + to;
            return false;
        case SmtpConnection::Got::TimedOut:
            trouble_ = std::string("the server gave no answer to ") + to + " in time";
            return false;
        case SmtpConnection::Got::Garbage:
            trouble_ = std::string("the server's answer to ") + to + " is none";
            return false;
    }
    if (out.code == kClosing || (out.code / 100 == 3 && out.code != wanted)) {
        trouble_ = out.text;
        return false;
    }
    return true;
}

// The fate is told even when there is no memory left for the reason.
void SmtpTransaction::setAll(std::vector<RecipientAnswer>& answers, Fate fate, const std::string& text) {
    for (const std::size_t place : places_) {
        answers[place].fate = fate;
    }
    try {
        for (const std::size_t place : places_) {
            answers[place].text = text;
        }
    } catch (const std::bad_alloc&) {
    }
    places_.clear();
}

} // namespace quzo::platform
