// The message: what is made when, and how it is written. See mail_message.h.
//
// parse() keeps the bytes and does nothing else. Header blocks, tree, protection and charset are found
// when somebody asks, since most messages pass with a look at the envelope and a field or two.
#include "platform/message/message_impl.h"

#include <utility>

#include "platform/base/identifiers.h"
#include "platform/charset/converter.h"
#include "platform/message/charset_of_message.h"
#include "platform/message/edit/message_writer.h"
#include "platform/message/edit/resource_locator.h"
#include "platform/message/stamp/insert_stamp.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"

namespace quzo::platform {

std::unique_ptr<MailMessage> MailMessage::parse(std::string bytes, const Limits& limits,
                                                RawValues rawValues) {
    return std::make_unique<MessageImpl>(std::move(bytes), limits, rawValues);
}

MessageImpl::MessageImpl(std::string bytes, const Limits& limits, RawValues rawValues)
    : rawValues_(rawValues), context_(*this, std::move(bytes), limits) {}

int MessageImpl::insertStamp(int position, KvMsgResourceLocator* stamp, int /*kind*/, const char* srcCharset,
                             const char* dstCharset) {
    return guarded("Inserting a stamp", static_cast<int>(kErrorNoMemory), [&]() -> int {
        if (stamp == nullptr) {
            return kErrorInvalidArgument;
        }
        const std::string& bytes = static_cast<const MemoryLocator*>(stamp)->bytes();
        std::string text;
        if (srcCharset != nullptr && !sameCharset(srcCharset, "utf-8")) {
            const int error = convert(bytes, srcCharset, "utf-8", Unmappable::Fail, '?', text);
            if (error != kErrorNone) {
                return error;
            }
        } else {
            text = bytes;
        }
        constexpr int kBefore = 1;
        StampRequest request{position == kBefore ? StampPosition::Before : StampPosition::After, text};
        request.charset = dstCharset;
        request.asAttachment = stampsAreAttachments();
        request.once = stampOnce_;
        return platform::insertStamp(root(), request);
    });
}

const Protection& MessageImpl::protection() const {
    if (protection_ && protection_->shapes == context_.shapes) {
        return protection_->found;
    }
    if (context_.shapes == 0) {
        const ScannedText& source = context_.source;
        const RootProtection atRoot = findRootProtection(source.text(), source.header(0));
        protection_ = {0, atRoot.isSigned && atRoot.isEncrypted
                              ? Protection{*atRoot.isSigned, *atRoot.isEncrypted}
                              : findProtection(source.text(), source.structure())};
    } else {
        std::string text;
        write([&text](std::string_view piece) {
            text += piece;
            return true;
        });
        const ScannedText standing(std::move(text), context_.source.limits());
        protection_ = {context_.shapes, findProtection(standing.text(), standing.structure())};
    }
    return protection_->found;
}

bool MessageImpl::isSigned() const {
    // Protected is the answer that does no harm.
    return guarded("Looking for a signature", true, [this] { return protection().isSigned; });
}

bool MessageImpl::isEncrypted() const {
    return guarded("Looking for encryption", true, [this] { return protection().isEncrypted; });
}

const char* MessageImpl::getIdentifier() const {
    return guarded("Making an identifier", "00", [this] {
        if (identifier_.empty()) {
            identifier_ = newIdentifier();
        }
        return identifier_.c_str();
    });
}

int MessageImpl::setEnvelope(std::string_view sender, const std::vector<std::string>& recipients) {
    return guarded("Setting the envelope", static_cast<int>(kErrorNoMemory),
                   [&] { return envelope_.set(sender, recipients); });
}

EntityTree& MessageImpl::tree() {
    context_.tree.grow();
    return context_.tree;
}

const char* MessageImpl::charset() {
    if (!charset_ || charset_->edits != context_.edits) {
        const std::string found = charsetOfMessage(*this);
        // Kept for the message's life: callers hold it while they change the Subject.
        charset_ = {context_.edits, found.empty() ? nullptr : context_.keep(found)};
    }
    return charset_->name;
}

// Edits of types may have changed the tree, and edits in the tree need it to be written.
void MessageImpl::settle() const {
    if (context_.shapes != 0) {
        context_.tree.grow();
    }
}

bool MessageImpl::changed() const {
    if (context_.edits == 0) {
        return false;
    }
    const std::string_view received = original();
    std::size_t at = 0;
    const bool same = write([&](std::string_view piece) {
        const std::string_view there = received.substr(at, piece.size());
        const bool equal = there.data() == piece.data() ? there.size() == piece.size() : there == piece;
        at += piece.size();
        return equal;
    });
    return !same || at != received.size();
}

bool MessageImpl::write(const Sink& sink) const {
    if (context_.edits == 0) {
        return original().empty() || sink(original());
    }
    settle();
    return writeMessage(context_, sink);
}

std::size_t MessageImpl::size() const {
    if (context_.edits == 0) {
        return original().size();
    }
    std::size_t bytes = 0;
    write([&bytes](std::string_view piece) {
        bytes += piece.size();
        return true;
    });
    return bytes;
}

std::string MessageImpl::headerText() const { return writtenHeader(context_.tree.root().header()); }

} // namespace quzo::platform
