// The header block of one entity: its received fields, and what edits made of them.
//
// Fields keep their received order; an added one remembers the offset before which it stands. So the
// block can be listed as it now stands and written as splices without being built anew.
#pragma once

#include <cstdint>
#include <forward_list>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/edit/header_field.h"
#include "platform/message/edit/splice.h"
#include "platform/message/structure/content_type.h"
#include "platform/message/structure/scanned_text.h"

namespace quzo::platform {

class Entity;
struct Content;
struct MessageContext;

// A header block as text, and where its fields lie in it.
struct HeaderView {
    std::string_view text;
    const HeaderSpan* span = nullptr; // never null in a result
};

class HeaderBlock {
public:
    // The block of an entity of a scanned text, for `owner`, which is told of edits. All of them outlive it.
    HeaderBlock(MessageContext& context, Entity& owner, const ScannedText& text, std::uint32_t index)
        : context_(&context), owner_(&owner), text_(&text), entity_(index) {}
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
    ContentType contentType() const;
    // The whole block as it now stands. Holds until the next edit of the block.
    HeaderView view() const;

    // The operations of KvMsgEntity on a block that is editable().
    HeaderField* add(std::size_t position, std::string_view name, std::string_view value, const char* charset,
                     int& error);
    int removeAt(std::size_t index);
    // All fields of the name, but for `kept`, which may be null. Cannot fail after prepareToRemove(name) and
    // an edit of the block.
    void removeAll(std::string_view name, const HeaderField* kept);
    void prepareToRemove(std::string_view name);

    // Takes all fields out for whose names `goes` is true, and puts whole fields, line breaks included, where
    // the first of them stood, or at the end. Made ahead, and of use until the next edit of the block;
    // carrying it out cannot fail.
    struct Exchange {
        std::vector<HeaderField*> order;
        std::vector<HeaderField*> gone;
        std::forward_list<HeaderField> added;
    };
    Exchange prepareExchange(const std::function<bool(std::string_view name)>& goes,
                             const std::vector<std::string>& fields);
    void carryOut(Exchange& exchange) noexcept;

    // What the edits changed of text(), in order.
    SpliceList splices() const;
    bool edited() const { return version_ != 0; }
    // Grows with each edit of the block.
    unsigned version() const { return version_; }

    // As received, or as an edit brought it in.
    const HeaderSpan& span() const { return text_->header(entity_); }
    std::string_view text() const { return text_->text(); }
    Content source() const;
    MessageContext& context() const { return *context_; }
    // Before a change to a field of that name.
    void noteEdit(std::string_view name);

private:
    void makeFields();
    void makeOrder();
    std::size_t endOfFields() const;
    std::size_t appendOffset() const;
    void collectTail(SpliceList& splices) const;
    bool beginsWithField() const;
    void collectPreface(SpliceList& splices) const;

    bool isOfMessage() const;

    MessageContext* context_;
    Entity* owner_;
    const ScannedText* text_;
    std::uint32_t entity_;
    unsigned version_ = 0;
    bool typeEdited_ = false;           // an edit touched a Content-Type
    bool ordered_ = false;              // order_ counts; before that the received fields do
    std::vector<HeaderField> received_; // all at once when the first is asked for, then never moved
    std::forward_list<HeaderField> added_;
    std::vector<HeaderField*> order_; // the fields as they now stand
    struct Rescanned {
        std::string text;
        HeaderSpan span;
    };
    mutable std::unique_ptr<Rescanned> view_; // what view() made of an edited block
};

} // namespace quzo::platform
