// The message: what is made when, and how it is written. See mail_message.h.
//
// parse() keeps the bytes and does nothing else. Header blocks, tree, protection and charset are found
// when somebody asks, since most messages pass with a look at the envelope and a field or two.
#include "platform/message/message_impl.h"

#include <algorithm>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/message/charset_of_message.h"
#include "platform/message/identifiers.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"

namespace quzo::platform {

std::unique_ptr<MailMessage> MailMessage::parse(std::string bytes, const Limits& limits,
                                                RawValues rawValues) {
    return std::make_unique<MessageImpl>(std::move(bytes), limits, rawValues);
}

MessageImpl::MessageImpl(std::string bytes, const Limits& limits, RawValues rawValues)
    : rawValues_(rawValues), context_(*this, std::move(bytes), limits), root_(*this, 0) {}

// Stamps are not placed yet; the caller is told so, and nothing changes.
int MessageImpl::insertStamp(int /*position*/, KvMsgResourceLocator* /*stamp*/, int /*kind*/,
                             const char* /*srcCharset*/, const char* /*dstCharset*/) {
    return kErrorNotSupported;
}

const Protection& MessageImpl::protection() const {
    if (!protection_) {
        const ScannedText& source = context_.source;
        const RootProtection atRoot = findRootProtection(source.text(), source.header(0));
        protection_ = atRoot.isSigned && atRoot.isEncrypted
                          ? Protection{*atRoot.isSigned, *atRoot.isEncrypted}
                          : findProtection(source.text(), source.structure());
    }
    return *protection_;
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
    if (!tree_) {
        tree_ = std::make_unique<EntityTree>(*this, root_, context_.source.structure());
    }
    return *tree_;
}

bool MessageImpl::plainlyLeaf() {
    if (!plainlyLeaf_) {
        const HeaderSpan& header = context_.source.header(0);
        const std::string_view text = context_.source.text();
        plainlyLeaf_ = std::none_of(header.fields.begin(), header.fields.end(), [&](const FieldSpan& field) {
            if (!equalsNoCase(fieldName(text, field), "Content-Type")) {
                return false;
            }
            const auto type =
                readContentType(text.substr(field.valueBegin, field.end - field.valueBegin)).type;
            return equalsNoCase(type, "multipart") || equalsNoCase(type, "message");
        });
    }
    return *plainlyLeaf_;
}

const char* MessageImpl::charset() {
    if (!charset_ || charset_->edits != context_.edits) {
        const std::string found = charsetOfMessage(*this);
        // Kept for the message's life: callers hold it while they change the Subject.
        charset_ = {context_.edits, found.empty() ? nullptr : context_.keep(found)};
    }
    return charset_->name;
}

SpliceList MessageImpl::splices() const {
    SpliceList splices;
    for (const HeaderBlock* block : context_.editedBlocks) {
        block->collect(splices);
    }
    splices.sort();
    return splices;
}

bool MessageImpl::changed() const { return !context_.editedBlocks.empty() && !splices().empty(); }

bool MessageImpl::write(const Sink& sink) const {
    const std::string_view text = original();
    if (context_.editedBlocks.empty()) {
        return text.empty() || sink(text);
    }
    return splices().write(text, 0, text.size(), sink);
}

std::size_t MessageImpl::size() const {
    return context_.editedBlocks.empty() ? original().size() : splices().writtenSize(original().size());
}

std::string MessageImpl::headerText() const {
    const HeaderSpan& header = context_.source.header(0);
    std::string out;
    splices().write(original(), header.begin, header.end, [&out](std::string_view piece) {
        out.append(piece);
        return true;
    });
    return out;
}

} // namespace quzo::platform
