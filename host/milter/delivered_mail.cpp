// See delivered_mail.h.
#include "host/milter/delivered_mail.h"

#include <algorithm>
#include <string_view>

namespace quzo::host {
namespace {

constexpr std::size_t kPiece = 65535; // bytes: more than every server takes at once
constexpr std::string_view kHeaderEnd = "\r\n\r\n";

// Takes what is written: the header is kept, the body compared.
class Comparison {
public:
    explicit Comparison(std::string_view receivedBody) : left_(receivedBody) {}

    bool take(std::string_view piece) {
        while (!inBody_ && !piece.empty()) {
            const std::string_view part = piece.substr(0, kPiece); // a body is not to be copied
            piece.remove_prefix(part.size());
            if (!takeHeader(part)) {
                return false;
            }
        }
        return compare(piece);
    }

    DeliveredMail result() && {
        return {fieldsOf(header_), bodyBegin_, changed_ || !left_.empty() || !inBody_};
    }

private:
    bool takeHeader(std::string_view part) {
        const std::size_t searched = header_.size() - std::min(header_.size(), kHeaderEnd.size() - 1);
        header_.append(part);
        const bool none = header_.starts_with("\r\n");
        const std::size_t end = none ? 0 : header_.find(kHeaderEnd, searched);
        if (end == std::string::npos) {
            return true;
        }
        inBody_ = true;
        bodyBegin_ = end + (none ? 2 : kHeaderEnd.size());
        const std::string rest = header_.substr(bodyBegin_);
        header_.resize(bodyBegin_ - 2);
        return compare(rest);
    }

    bool compare(std::string_view piece) {
        changed_ = changed_ || !left_.starts_with(piece);
        left_.remove_prefix(std::min(piece.size(), left_.size()));
        return !changed_; // no need to look on
    }

    std::string header_;
    bool inBody_ = false;
    std::size_t bodyBegin_ = 0;
    std::string_view left_; // of the received body, not met yet
    bool changed_ = false;
};

// Hands a body over in as few calls as there can be: each is a packet, and a system call or two.
class BodySender {
public:
    explicit BodySender(MailEditor& editor) : editor_(editor) {}

    bool take(std::string_view piece) {
        while (taken_ && !piece.empty()) {
            const std::string_view part = piece.substr(0, kPiece - held_.size());
            piece.remove_prefix(part.size());
            if (part.size() == kPiece) {
                send(part); // needs no copy
            } else if (held_.append(part).size() == kPiece) {
                sendHeld();
            }
        }
        return taken_;
    }

    // An empty body has to be said, too.
    bool end() {
        if (taken_ && (!held_.empty() || !any_)) {
            sendHeld();
        }
        return taken_;
    }

private:
    void sendHeld() {
        send(held_);
        held_.clear();
    }

    void send(std::string_view part) {
        any_ = true;
        taken_ = editor_.replaceBody(part);
    }

    MailEditor& editor_;
    std::string held_;
    bool any_ = false;
    bool taken_ = true;
};

} // namespace

DeliveredMail deliveredMail(const MessageResult& result, std::size_t receivedBody) {
    Comparison comparison(result.message->original().substr(receivedBody));
    result.write([&](std::string_view piece) { return comparison.take(piece); });
    return std::move(comparison).result();
}

bool sendBody(const MessageResult& result, std::size_t bodyBegin, MailEditor& editor) {
    std::size_t skip = bodyBegin;
    BodySender sender(editor);
    result.write([&](std::string_view piece) {
        const std::size_t skipped = std::min(skip, piece.size());
        skip -= skipped;
        return sender.take(piece.substr(skipped));
    });
    return sender.end();
}

} // namespace quzo::host
