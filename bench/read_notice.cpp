// The attached message is taken from the bytes as they stand between its part's header and the last boundary;
// everything else is what GMime decodes. See read_notice.h.
#include "bench/read_notice.h"

#include <stdexcept>

#include "bench/gmime_message.h"
#include "quzo/core/reprocess_mark.h"

namespace quzo::bench {
namespace {

struct Free {
    void operator()(char* text) const { g_free(text); }
};

void require(bool right, const char* what) {
    if (!right) {
        throw std::runtime_error(std::string("the mail has ") + what);
    }
}

std::string orEmpty(const char* text) { return text != nullptr ? text : ""; }

std::vector<std::string> mailboxes(GMimeMessage& mail, GMimeAddressType field) {
    std::vector<std::string> all;
    InternetAddressList* list = g_mime_message_get_addresses(&mail, field);
    for (int i = 0; i < internet_address_list_length(list); ++i) {
        InternetAddress* one = internet_address_list_get_address(list, i);
        require(INTERNET_ADDRESS_IS_MAILBOX(one), "a group of addresses");
        all.emplace_back(orEmpty(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(one))));
    }
    return all;
}

std::string textOf(GMimeObject* part) {
    require(GMIME_IS_TEXT_PART(part), "no text");
    require(g_mime_part_get_content_encoding(GMIME_PART(part)) == GMIME_CONTENT_ENCODING_BASE64,
            "a text that is not base64");
    require(orEmpty(g_mime_object_get_content_type_parameter(part, "charset")) == "utf-8", "another charset");
    const std::unique_ptr<char, Free> text(g_mime_text_part_get_text(GMIME_TEXT_PART(part)));
    return orEmpty(text.get());
}

std::string attachedBytes(std::string_view mail, const std::string& boundary) {
    const std::string_view lineBreak = mail[mail.find('\n') - 1] == '\r' ? "\r\n" : "\n";
    const std::string blank = std::string(lineBreak).append(lineBreak);
    const std::size_t header = mail.find("Content-Type: message/rfc822");
    require(header != std::string_view::npos, "no attached message");
    const std::size_t begin = mail.find(blank, header) + blank.size();
    const std::size_t end = mail.rfind(std::string(lineBreak).append("--").append(boundary).append("--"));
    require(end != std::string_view::npos && begin < end, "no end of the attached message");
    return std::string(mail.substr(begin, end - begin));
}

} // namespace

Notice readNotice(std::string_view mail) {
    const std::string bytes(mail);
    const GObjectOwner<GMimeMessage> read = gmimeMessage(bytes);
    require(read != nullptr, "no header");
    GMimeObject* root = g_mime_message_get_mime_part(read.get());
    require(GMIME_IS_MULTIPART(root) && g_mime_multipart_get_count(GMIME_MULTIPART(root)) == 2,
            "not two parts");
    require(GMIME_IS_MESSAGE_PART(g_mime_multipart_get_part(GMIME_MULTIPART(root), 1)), "no message in it");
    require(g_mime_object_get_header(GMIME_OBJECT(read.get()), "MIME-Version") != nullptr, "no MIME version");
    Notice notice;
    const std::vector<std::string> senders = mailboxes(*read, GMIME_ADDRESS_TYPE_FROM);
    require(senders.size() == 1, "no sender, or several");
    notice.sender = senders.front();
    notice.recipients = mailboxes(*read, GMIME_ADDRESS_TYPE_TO);
    notice.subject = orEmpty(g_mime_message_get_subject(read.get()));
    notice.text = textOf(g_mime_multipart_get_part(GMIME_MULTIPART(root), 0));
    notice.messageId = orEmpty(g_mime_message_get_message_id(read.get()));
    for (const char* name : {kReprocessRulesHeader, kReprocessTypeHeader}) {
        notice.marks.emplace_back(name, orEmpty(g_mime_object_get_header(GMIME_OBJECT(read.get()), name)));
    }
    notice.attached = attachedBytes(mail, orEmpty(g_mime_multipart_get_boundary(GMIME_MULTIPART(root))));
    return notice;
}

} // namespace quzo::bench
