// Values of header fields: encoded words, addresses, parameters. Whatever they hold, what is read of them can
// be used as it is: text that can be written again, addresses for an SMTP command, lines that stay in their
// field.
#include <algorithm>

#include "fuzz_input.h"
#include "host/scan/envelope.h"
#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "platform/message/mail_message.h"
#include "platform/message/values/address_list.h"
#include "platform/message/values/mailbox.h"
#include "platform/message/values/readable_text.h"
#include "quzo/core/error_text.h"

namespace quzo::fuzz {
namespace {

using namespace platform;

std::string utf8Of(const DecodedValue& value) {
    std::string text;
    const int error = convert(value.bytes, value.charset.c_str(), "utf-8", Unmappable::Fail, '?', text);
    return error == kErrorNone ? text : value.bytes;
}

// Line breaks only where a blank goes on with the field.
bool staysInField(std::string_view written) {
    for (std::size_t at = 0; at < written.size(); ++at) {
        const char c = written[at];
        if (c == '\0' || (c == '\r' && written.substr(at, 2) != "\r\n") ||
            (c == '\n' &&
             (at + 1 == written.size() || (written[at + 1] != ' ' && written[at + 1] != '\t')))) {
            return false;
        }
    }
    return true;
}

void readWords(std::string_view raw) {
    const DecodedValue value = decodeWords(raw);
    require(isUtf8(readableText(value.bytes, value.charset)), "a readable text that is no UTF-8");
    std::string written;
    if (value.charset.empty() || encodeWords(value.bytes, value.charset.c_str(), 9, "\r\n", written) != 0) {
        return;
    }
    require(staysInField(written), "encoded words leave their field");
    const std::string back = utf8Of(decodeWords(written));
    // ASCII that says it is utf-16 is taken for ASCII.
    require(back == utf8Of(value) || (isAscii(value.bytes) && back == value.bytes),
            "what was encoded is not read back");
}

void readAddresses(std::string_view text) {
    Mailbox mailbox;
    if (parseMailbox(text, mailbox) == kErrorNone) {
        require(mailbox.address.empty() || validAddress(mailbox.address), "no address");
        require(isUtf8(mailbox.displayName), "a name that is no UTF-8");
    }
    host::eachAddress(text, [](const std::string& address) {
        require(validAddress(address), "no address in a list");
        return true;
    });
    for (const char* charset : {"utf-8", "iso-2022-jp", static_cast<const char*>(nullptr)}) {
        std::string written;
        if (writtenAddressList(text, charset, 4, "\r\n", written) == kErrorNone) {
            require(staysInField(written), "an address list leaves its field");
        }
    }
}

void readParameters(std::string_view text) {
    for (const char* field : {"Content-Type: ", "Content-Disposition: attachment; "}) {
        const auto message = MailMessage::parse(field + std::string(text) + "\n\nbody\n", {});
        for (const std::string& name : EntityReader::fileNames(*message->getRootEntity())) {
            require(!name.empty() && isUtf8(name), "a file name that is none");
        }
        EntityReader::contentType(*message->getRootEntity());
    }
}

} // namespace
} // namespace quzo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool ready = setenv("G_SLICE", "always-malloc", 1) == 0;
    quzo::fuzz::require(ready, "start-up");
    const std::string_view text = quzo::fuzz::textOf(data, size);
    quzo::fuzz::readWords(text);
    quzo::fuzz::readAddresses(text);
    quzo::fuzz::readParameters(text);
    return 0;
}
