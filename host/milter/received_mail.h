// One message as a mail server hands it over, piece by piece.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/milter/growing_text.h"
#include "host/milter/header_edits.h"
#include "platform/message/structure/limits.h"

namespace quzo::host {

struct ReceivedRecipient {
    std::string received; // with angle brackets, as it came
    std::string address;  // without
};

// Of one transaction; used by one thread. What was collected has line ends of CRLF, and a value stays inside
// of its field: a CR or LF in it that makes no fold is a blank. Throws std::bad_alloc.
class ReceivedMail {
public:
    // What comes once a limit is reached is not kept.
    explicit ReceivedMail(const platform::Limits& limits);

    // `argument`: "<a@b>" or "<>"; `parameters` behind it, such as "SIZE=1000", which makes room in time.
    void setSender(std::string_view argument, const std::vector<std::string_view>& parameters);
    void addRecipient(std::string_view argument);
    // `hidden`: it is among fields(), since the server has it, and not in the message.
    void addField(std::string_view name, std::string_view value, bool hidden);
    void addBody(std::string_view piece);

    // Which limit the mail is beyond; empty: none. Not all of it is there then.
    const std::string& beyondLimit() const { return beyondLimit_; }

    bool hidesFields() const { return hidesFields_; }

    const std::string& sender() const { return sender_; }
    const std::vector<ReceivedRecipient>& recipients() const { return recipients_; }
    const std::vector<MailField>& fields() const { return fields_; }

    // Where the body begins in bytes().
    std::size_t bodyBegin() const { return bodyBegin_; }

    // The message, which it gives away.
    std::string takeBytes();

private:
    void endHeader();
    void add(std::string_view piece);
    bool tooMuchWith(std::string_view name, std::string_view value);

    platform::Limits limits_;
    std::string beyondLimit_;
    std::size_t envelopeBytes_ = 0;
    std::size_t headerBytes_ = 0; // with what is hidden
    bool hidesFields_ = false;
    bool headerEnded_ = false;
    std::size_t bodyBegin_ = 0;
    std::string sender_;
    std::vector<ReceivedRecipient> recipients_;
    std::vector<MailField> fields_;
    GrowingText bytes_;
};

} // namespace quzo::host
