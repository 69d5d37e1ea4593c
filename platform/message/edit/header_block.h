// The header block of one entity: its received fields, and what edits made of them.
//
// Fields keep their received order; an added one remembers the offset before which it stands. So the
// block can be listed as it now stands and written as splices without being built anew.
#pragma once

#include <cstdint>
#include <forward_list>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/edit/header_field.h"
#include "platform/message/edit/raw_values.h"
#include "platform/message/edit/splice.h"
#include "platform/message/structure/content_type.h"
#include "platform/message/structure/scanned_text.h"

namespace quzo::platform {

class HeaderBlock;

// What reading a field needs to know of the message around it.
class Surroundings {
public:
    virtual RawValues rawValues() const = 0;
    // The charset of the message's body, as bodyCharset() in charset_of_message.h finds it.
    virtual std::string charsetOfBody() = 0;

protected:
    ~Surroundings() = default;
};

// What all parts of one message share.
struct MessageContext {
    MessageContext(Surroundings& owner, std::string bytes, const Limits& limits)
        : surroundings(owner), source(std::move(bytes), limits) {}

    Surroundings& surroundings;
    ScannedText source;
    std::pmr::monotonic_buffer_resource arena;    // texts that must hold as long as the message
    std::vector<const HeaderBlock*> editedBlocks; // in no order
    unsigned edits = 0;                           // grows with each change of the text

    // A copy of `text` with a NUL behind it, for the message's life.
    const char* keep(std::string_view text);
};

class HeaderBlock {
public:
    HeaderBlock(MessageContext& context, std::uint32_t entity) : context_(&context), entity_(entity) {}
    HeaderBlock(const HeaderBlock&) = delete;
    HeaderBlock& operator=(const HeaderBlock&) = delete;

    // Whether fields may be changed: a readable header block in a message within its limits.
    bool editable() const;

    std::size_t count() const;
    HeaderField* at(std::size_t index);       // null beyond the count
    HeaderField* find(std::string_view name); // the first of the name, or null
    std::vector<HeaderField*> all(std::string_view name);
    std::vector<std::string_view> rawValues(std::string_view name); // of all(), until the next edit

    // The raw value of the first field of that name as it now stands; makes no field object where it can.
    std::optional<std::string_view> rawValue(std::string_view name);
    // The Content-Type that counts, as it now stands; not valid() when there is none.
    ContentType contentType();

    // The operations of KvMsgEntity on a block that is editable().
    HeaderField* add(std::size_t position, std::string_view name, std::string_view value, const char* charset,
                     int& error);
    int removeAt(std::size_t index);
    // All fields of the name, but for `kept`, which may be null. Cannot fail after prepareToRemove(name) and
    // an edit of the block.
    void removeAll(std::string_view name, const HeaderField* kept);
    void prepareToRemove(std::string_view name);

    // Adds what the edits changed to `splices`.
    void collect(SpliceList& splices) const;

    // For the fields.
    const HeaderSpan& span() const { return context_->source.header(entity_); }
    std::string_view text() const { return context_->source.text(); }
    MessageContext& context() const { return *context_; }
    // Before a change to a field of that name.
    void noteEdit(std::string_view name);

private:
    void makeFields();
    void makeOrder();
    std::size_t appendOffset() const;
    void collectTail(SpliceList& splices) const;
    bool beginsWithField() const;
    void collectPreface(SpliceList& splices) const;

    MessageContext* context_;
    std::uint32_t entity_;
    bool noted_ = false;                // stands in the context's list of edited blocks
    bool typeEdited_ = false;           // an edit touched a Content-Type
    bool ordered_ = false;              // order_ counts; before that the received fields do
    std::vector<HeaderField> received_; // all at once when the first is asked for, then never moved
    std::forward_list<HeaderField> added_;
    std::vector<HeaderField*> order_; // the fields as they now stand
};

} // namespace quzo::platform
