// One message over a connection: MAIL, RCPT for each recipient, DATA, and what the server says to each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/mta/smtp/mail_sender.h"
#include "platform/mta/smtp/smtp_connection.h"
#include "platform/mta/smtp/wire_message.h"

namespace quzo::platform {

// For one use and one thread. Arguments outlive it. Addresses must be ones that may stand in a command.
class SmtpTransaction {
public:
    SmtpTransaction(SmtpConnection& connection, std::chrono::seconds timeout, const SendJob& job,
                    const WireFacts& facts)
        : connection_(connection), timeout_(timeout), job_(job), facts_(facts) {}

    enum class End : std::uint8_t {
        Clean,  // the connection may be used again
        Broken, // it may not; the answers are true
        Unused, // the server has hung up before it looked at the message: another connection may do
    };

    // Sends to the recipients whose places in the job are given, and sets their answers. Those with anything
    // but Later must not be sent to again.
    End run(const std::vector<std::size_t>& places, std::vector<RecipientAnswer>& answers);

    // After Unused: what happened.
    const std::string& trouble() const { return trouble_; }

private:
    bool sendEnvelope(std::vector<RecipientAnswer>& answers);
    bool takeMailReply(std::vector<RecipientAnswer>& answers);
    bool takeRecipientReply(std::size_t place, std::vector<RecipientAnswer>& answers);
    bool cancelData();
    bool sendMessage(std::vector<RecipientAnswer>& answers);
    bool sendBody(std::vector<RecipientAnswer>& answers);
    bool command(std::string_view line);
    bool reply(SmtpReply& out, const char* to, int wanted = 0);
    void setAll(std::vector<RecipientAnswer>& answers, RecipientAnswer::Fate fate, const std::string& text);
    std::string mailCommand() const;
    SmtpConnection::Time deadline(std::chrono::seconds more = {}) const;

    SmtpConnection& connection_;
    std::chrono::seconds timeout_;
    const SendJob& job_;
    const WireFacts& facts_;
    std::vector<std::size_t> places_; // that the server may still get the message for
    std::string trouble_;             // what broke the connection
    bool answered_ = false;           // whether the server said anything that counts
    bool mailTaken_ = false;
    bool dataSent_ = false;
    bool bodySent_ = false;    // with its end
    bool messageOver_ = false; // the server has said what becomes of it
};

} // namespace quzo::platform
