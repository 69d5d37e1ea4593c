// Composed mail as another reader sees it, and the adapter that takes it.
#pragma once

#include <gmime/gmime.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quzo/core/adapter.h"
#include "tests/message/gmime_tree.h"
#include "tests/message/messages.h"

namespace quzo::platform::test {

// One mail that was sent.
struct SentMail {
    std::string bytes;
    std::string sender;
    std::vector<std::string> recipients;
    bool scanned = false; // submitted for scanning
};

// Keeps what is composed; refuses everything else.
class ComposedMail : public KvIsAdapter {
public:
    int submitForScan(unsigned& error, KvMsgMailMessage* msg, int /*mode*/) override {
        return keep(error, msg, true);
    }
    int sendComposed(unsigned& error, KvMsgMailMessage* msg) override { return keep(error, msg, false); }
    int deleteMessage(unsigned& error, KvMsgMailMessage*) override { return refuse(error); }
    int sendMessage(unsigned& error, KvMsgMailMessage*, bool) override { return refuse(error); }
    int postponeMessage(unsigned& error, KvMsgMailMessage*, unsigned char, unsigned char, int, int) override {
        return refuse(error);
    }
    int handoffMessage(unsigned& error, KvMsgMailMessage*, const char*, unsigned) override {
        return refuse(error);
    }
    int quarantineMessage(int& error, KvMsgMailMessage*, const char*, const char*, char*) override {
        return error = 9;
    }
    int archiveMessage(int& error, KvMsgMailMessage*, const char*, const char*, const char*) override {
        return error = 9;
    }

    std::vector<SentMail> sent;

private:
    int keep(unsigned& error, KvMsgMailMessage* msg, bool scanned) {
        const auto& mail = dynamic_cast<MailMessage&>(*msg);
        sent.push_back({written(mail), mail.sender(), mail.recipients(), scanned});
        error = 0;
        return 0;
    }
    static int refuse(unsigned& error) {
        error = 9;
        return 1;
    }
};

// A mail as GMime reads it.
class ReadMail {
public:
    explicit ReadMail(const std::string& bytes)
        : stream_(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size())),
          parser_(g_mime_parser_new_with_stream(stream_.get())),
          message_(g_mime_parser_construct_message(parser_.get(), nullptr)) {
        EXPECT_NE(message_, nullptr);
    }

    std::string subject() const { return orEmpty(g_mime_message_get_subject(message_.get())); }

    // The names of the root's fields, in order.
    std::vector<std::string> fieldNames() const {
        std::vector<std::string> names;
        for (GMimeObject* object :
             {GMIME_OBJECT(message_.get()), g_mime_message_get_mime_part(message_.get())}) {
            GMimeHeaderList* list = g_mime_object_get_header_list(object);
            for (int i = 0; i < g_mime_header_list_get_count(list); ++i) {
                GMimeHeader* header = g_mime_header_list_get_header_at(list, i);
                if (g_mime_header_get_offset(header) >= 0) {
                    names.emplace_back(g_mime_header_get_name(header));
                }
            }
        }
        return names;
    }

    // "NAME|ADDRESS" of each mailbox in a field.
    std::vector<std::string> mailboxes(GMimeAddressType field) const {
        std::vector<std::string> all;
        InternetAddressList* list = g_mime_message_get_addresses(message_.get(), field);
        for (int i = 0; i < internet_address_list_length(list); ++i) {
            InternetAddress* one = internet_address_list_get_address(list, i);
            all.push_back(orEmpty(internet_address_get_name(one)) + "|" +
                          (INTERNET_ADDRESS_IS_MAILBOX(one)
                               ? orEmpty(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(one)))
                               : std::string("(group)")));
        }
        return all;
    }

    // The text, and what follows it, as "type/subtype;charset;encoding".
    std::vector<std::string> parts() const {
        std::vector<std::string> all;
        GMimeObject* root = g_mime_message_get_mime_part(message_.get());
        const auto add = [&all](GMimeObject* part) {
            GMimeContentType* type = g_mime_object_get_content_type(part);
            all.push_back(std::string(g_mime_content_type_get_media_type(type)) + "/" +
                          g_mime_content_type_get_media_subtype(type) + ";" +
                          orEmpty(g_mime_content_type_get_parameter(type, "charset")) + ";" +
                          orEmpty(g_mime_object_get_header(part, "Content-Transfer-Encoding")));
        };
        add(root);
        for (int i = 0; GMIME_IS_MULTIPART(root) && i < g_mime_multipart_get_count(GMIME_MULTIPART(root));
             ++i) {
            add(g_mime_multipart_get_part(GMIME_MULTIPART(root), i));
        }
        return all;
    }

    // The text in UTF-8.
    std::string text() const {
        GMimeObject* part = g_mime_message_get_mime_part(message_.get());
        if (GMIME_IS_MULTIPART(part)) {
            part = g_mime_multipart_get_part(GMIME_MULTIPART(part), 0);
        }
        if (!GMIME_IS_TEXT_PART(part)) {
            return "(no text)";
        }
        char* text = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
        std::string copy = orEmpty(text);
        g_free(text);
        return copy;
    }

private:
    static std::string orEmpty(const char* text) { return text != nullptr ? text : ""; }

    GObjectHandle<GMimeStream> stream_;
    GObjectHandle<GMimeParser> parser_;
    GObjectHandle<GMimeMessage> message_;
};

} // namespace quzo::platform::test
