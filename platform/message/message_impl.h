// The one implementation of MailMessage.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/charset_of_message.h"
#include "platform/message/edit/entity.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/envelope.h"
#include "platform/message/mail_message.h"
#include "platform/message/protection.h"

namespace quzo::platform {

class MessageImpl final : public MailMessage, private Surroundings {
public:
    MessageImpl(std::string bytes, const Limits& limits, RawValues rawValues);
    ~MessageImpl() override = default;
    MessageImpl(const MessageImpl&) = delete;
    MessageImpl& operator=(const MessageImpl&) = delete;

    // All messages and entities of this platform are of these classes.
    static MessageImpl* from(KvMsgMailMessage* msg) { return static_cast<MessageImpl*>(msg); }
    // For the operations that only read. What they find is kept in the message, which a caller cannot see.
    static MessageImpl* from(const KvMsgMailMessage* msg) {
        return static_cast<MessageImpl*>(const_cast<KvMsgMailMessage*>(msg));
    }

    KvMsgEntity* getRootEntity() override { return &root(); }
    int insertStamp(int position, KvMsgResourceLocator* stamp, int kind, const char* srcCharset,
                    const char* dstCharset) override;
    bool isSigned() const override;
    bool isEncrypted() const override;
    const char* getIdentifier() const override;
    KvMsgMailSessionInfo* getSessionInfo() override { return &envelope_; }
    KvMsgAttachHandle getAttachHandle() const override { return {this}; }

    std::string_view original() const override { return context_.source.text(); }
    bool changed() const override;
    bool write(const Sink& sink) const override;
    std::size_t size() const override;
    int error() const override { return context_.source.error(); }
    bool limited() const override { return context_.source.structure().limited; }
    LimitReached limitReached() const override { return context_.source.limitReached(); }
    void setIdentifier(std::string identifier) override { identifier_ = std::move(identifier); }
    void setMailId(std::string mailId) override { mailId_ = std::move(mailId); }
    void setStampOnce(bool once) override { stampOnce_ = once; }
    void setRemovalNote(std::string note) override { context_.removalNote = std::move(note); }
    bool hasSender() const override { return envelope_.hasSender(); }
    const std::string& sender() const override { return envelope_.sender(); }
    const std::vector<std::string>& recipients() const override { return envelope_.recipients(); }
    int setEnvelope(std::string_view sender, const std::vector<std::string>& recipients) override;

    MessageContext& context() { return context_; }
    Envelope& envelope() { return envelope_; }
    Entity& root() { return context_.tree.root(); }
    // The entities as they now stand, those below the root included.
    EntityTree& tree();
    bool plainlyLeaf() { return context_.tree.plainlyLeaf(); }
    const std::string& mailId() const { return mailId_; }

    RawValues rawValues() const override { return rawValues_; }
    std::string charsetOfBody() override { return bodyCharset(*this); }

    // The charset of the text, as msgu::getCharset answers it; null when nothing says one.
    const char* charset();

    // The root's header block as it now stands, without the empty line.
    std::string headerText() const;

private:
    const Protection& protection() const;
    void settle() const;

    const RawValues rawValues_;
    mutable MessageContext context_; // reading it makes what has not been looked at yet
    Envelope envelope_;
    struct KnownProtection {
        unsigned shapes; // of the message, when it was found
        Protection found;
    };
    mutable std::optional<KnownProtection> protection_;
    mutable std::string identifier_; // made on first use when the host gives none
    std::string mailId_;
    bool stampOnce_ = false;
    struct KnownCharset {
        unsigned edits; // of the message, when it was found
        const char* name;
    };
    std::optional<KnownCharset> charset_;
};

} // namespace quzo::platform
