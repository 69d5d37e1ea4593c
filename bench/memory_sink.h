// An adapter whose queue is memory.
#pragma once

#include <string>
#include <string_view>

#include "platform/message/mail_message.h"
#include "platform/queue/leaving_message.h"
#include "quzo/core/adapter.h"
#include "quzo/core/error_text.h"

namespace quzo::bench {

// Takes composed messages, as the queues would, and keeps the last one's bytes; refuses everything else.
class MemorySink final : public KvIsAdapter {
public:
    std::string_view bytes() const { return bytes_; }

    int submitForScan(unsigned& error, KvMsgMailMessage* msg, int /*mode*/) override {
        return keep(error, platform::writerOf(dynamic_cast<platform::MailMessage&>(*msg)));
    }
    int sendComposed(unsigned& error, KvMsgMailMessage* msg) override {
        return keep(error, platform::leavingWriterOf(dynamic_cast<platform::MailMessage&>(*msg)));
    }
    int deleteMessage(unsigned& error, KvMsgMailMessage*) override { return refuse(error); }
    int sendMessage(unsigned& error, KvMsgMailMessage*, bool) override { return refuse(error); }
    int postponeMessage(unsigned& error, KvMsgMailMessage*, unsigned char, unsigned char, int, int) override {
        return refuse(error);
    }
    int handoffMessage(unsigned& error, KvMsgMailMessage*, const char*, unsigned) override {
        return refuse(error);
    }
    int quarantineMessage(int& error, KvMsgMailMessage*, const char*, const char*, char* pathOut) override {
        *pathOut = '\0';
        return refuse(error);
    }
    int archiveMessage(int& error, KvMsgMailMessage*, const char*, const char*, const char*) override {
        return refuse(error);
    }

private:
    int keep(unsigned& error, const platform::MessageWriter& write) {
        bytes_.clear(); // its room stays
        write([this](std::string_view piece) {
            bytes_.append(piece);
            return true;
        });
        error = kErrorNone;
        return kErrorNone;
    }
    template <typename Number>
    static int refuse(Number& error) {
        error = kErrorNotSupported;
        return kErrorNotSupported;
    }

    std::string bytes_;
};

} // namespace quzo::bench
