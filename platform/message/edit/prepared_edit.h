// Edits of the tree that were made ahead: whoever has to do several of them prepares all, and then carries
// them out, which cannot fail.
//
// Each is of use for the message as it was when it was prepared; others that were prepared with it may be
// carried out before, as long as none of them touches the same entity, or inserts into the same multipart.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/edit/entity_tree.h"
#include "platform/message/values/text_part.h"

namespace quzo::platform {

// A new content and new fields for a leaf.
class BodyEdit {
public:
    // The header of the entity behind the edit: `fields` take the place of those for whose names `goes` is
    // true. `described` says how the body is scanned, and is what the header will say of it. Whole fields,
    // with their line breaks.
    struct Header {
        const std::vector<std::string>& described;
        const std::vector<std::string>& fields;
        std::function<bool(std::string_view name)> goes;
    };

    // `stored`: the body as it will stand in the message. Returns 0, kErrorInvalidArgument for a body in
    // which a boundary around it occurs, or kErrorLimit. The entity must be editable, see checkEditable().
    int prepare(Entity& entity, std::string stored, const Header& header);

    void carryOut() noexcept;

private:
    Entity* entity_ = nullptr;
    Entity* made_ = nullptr;
    HeaderBlock::Exchange header_;
};

// What an entity was becomes the only part of a multipart/mixed in its place.
class WrapEdit {
public:
    void prepare(Entity& entity);
    void carryOut() noexcept;

    // Of the multipart that it will be.
    const std::string& boundary() const { return boundary_; }

private:
    Entity* entity_ = nullptr;
    Entity* inner_ = nullptr;
    const ScannedText* frame_ = nullptr;
    HeaderBlock::Exchange header_;
    std::string boundary_;
    EntityTree::TypeNote note_; // the part is found anew, now that something follows it
};

// A new part in a multipart.
class PartEdit {
public:
    enum class Into : std::uint8_t {
        Multipart, // the entity, which becomes one when it is none
        Wrapped,   // a multipart that takes the place of the entity, whatever that is
    };

    // `part`: header block, empty line and body. `position`: before the child at that place; -1: behind all.
    // Returns 0 or what BodyEdit::prepare returns, or an error for an entity that cannot be edited.
    int prepare(Entity& entity, std::string part, int position, Into into = Into::Multipart);

    // The same with a text of ours, in base64 where a boundary would occur in it otherwise.
    int prepareText(Entity& entity, TextPart part, int position, Into into = Into::Multipart);

    void carryOut() noexcept;

private:
    Entity* entity_ = nullptr;
    Entity* made_ = nullptr;
    Entity* before_ = nullptr;
    bool inFront_ = false; // of what was wrapped
    bool wraps_ = false;
    EntityTree::TypeNote note_; // what stands before it is found anew
    WrapEdit wrap_;
};

// Where an entity stands among the parts of the multipart around it, counted from 0.
int placeAmongParts(const Entity& entity);

} // namespace quzo::platform
