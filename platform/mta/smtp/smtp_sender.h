// Handing messages over by SMTP, one after the other, over one connection as long as they go to one server.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/mta/smtp/mail_sender.h"
#include "platform/mta/smtp/smtp_connection.h"

namespace quzo::platform {

class SmtpSender final : public MailSender {
public:
    explicit SmtpSender(SmtpOptions options) : options_(std::move(options)) {}
    ~SmtpSender() override;

    // An address that could not stand in a command is refused here, and so is a message that the server says
    // it could not take: one above its size, or with an address that needs SMTPUTF8 where it is not offered.
    SendResult send(const SendJob& job) override;

    void rest() override;

private:
    // Those of `places` that the server can be asked about; the others get their answers.
    std::vector<std::size_t> fitting(const SendJob& job, std::uint64_t size, const ServerGreeting& server,
                                     std::vector<std::size_t> places, std::vector<RecipientAnswer>& answers);
    void transfer(const SendJob& job, const std::vector<std::size_t>& places, SendResult& result);

    SmtpOptions options_;
    NextHop hop_; // of the connection
    std::unique_ptr<SmtpConnection> connection_;
};

} // namespace quzo::platform
