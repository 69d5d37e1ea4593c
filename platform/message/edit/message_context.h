// What the entities, header fields and edits of one message share.
#pragma once

#include <list>
#include <memory_resource>
#include <string>
#include <string_view>

#include "platform/message/edit/entity_tree.h"
#include "platform/message/edit/raw_values.h"
#include "platform/message/structure/scanned_text.h"

namespace quzo::platform {

// What reading a field needs to know of the message around it.
class Surroundings {
public:
    virtual RawValues rawValues() const = 0;
    // The charset of the message's body, as bodyCharset() in charset_of_message.h finds it.
    virtual std::string charsetOfBody() = 0;

protected:
    ~Surroundings() = default;
};

// The message as received, and what edits made of it. Every edit is noted at the entity that it changes:
// fields in its HeaderBlock, a new body or other children in the Entity itself. What the message is now is
// always the tree of entities; MessageWriter turns that into bytes. Used by one thread at a time.
struct MessageContext {
    MessageContext(Surroundings& owner, std::string bytes, const Limits& limits)
        : surroundings(owner), source(std::move(bytes), limits), tree(*this) {}
    MessageContext(const MessageContext&) = delete;
    MessageContext& operator=(const MessageContext&) = delete;

    Surroundings& surroundings;
    ScannedText source;                        // as received; never changes
    std::list<ScannedText> fragments;          // texts that edits brought in, kept for the message's life
    std::pmr::monotonic_buffer_resource arena; // texts that must hold as long as the message
    std::string removalNote{};                 // MailMessage::setRemovalNote()
    unsigned edits = 0;                        // grows with each change of the message
    unsigned shapes = 0; // grows with each change of the tree, or of a field that says what an entity is
    EntityTree tree;

    // A copy of `text` with a NUL behind it, for the message's life.
    const char* keep(std::string_view text);
};

} // namespace quzo::platform
