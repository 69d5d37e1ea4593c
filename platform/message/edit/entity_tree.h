// The entities of a message and their order; the edits that change it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <unordered_set>
#include <vector>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

struct MessageContext;

// Scanning a text and making its entities can fail for want of memory; putting them into the tree cannot. So
// an edit makes all it needs first, and then happens whole.
class EntityTree {
public:
    explicit EntityTree(MessageContext& context);

    Entity& root() { return root_; }
    const Entity& root() const { return root_; }

    // Whether the root's type alone says that nothing lies below it. False says nothing.
    bool plainlyLeaf();

    // Makes the entities below the root, and finds those anew of entities whose type was edited. To be called
    // before anything below the root is looked at.
    void grow();

    // The entity of that index in the message as received, also one that was removed since. After grow().
    Entity& received(std::uint32_t index) { return index == 0 ? root_ : (*below_)[index - 1]; }

    // The next one in document order, with `top` the next one in that subtree; null at the end.
    static Entity* next(const Entity& entity, const Entity* top = nullptr);

    // How many there are, without those that were removed. After grow().
    std::size_t count() const { return count_; }

    // Whether such an entity is in the tree. The pointer is compared, never followed, unless it is one of
    // this message.
    bool contains(const KvMsgEntity* entity);

    // The parts that are the message's body: the first text part outside embedded messages that is not
    // marked as attachment, with its alternatives; a root that is a leaf always. In document order.
    const std::vector<Entity*>& body();

    // What this entity is may be another after an edit of its header, or with other things around it. To be
    // called before the edit.
    void noteTypeEdit(Entity& entity) { note(prepareNote(entity)); }
    // The same in two steps, of which the second cannot fail.
    struct TypeNote {
        Entity* entity = nullptr; // null: there is nothing to note
        bool waited =
            false; // a type of it named a boundary, so lines around it may have been taken for its own
    };
    TypeNote prepareNote(Entity& entity);
    void note(const TypeNote& note) noexcept;

    // Makes entity 0 of a scanned text, with all below it; it has no place in the tree yet. `embedded`: it
    // will be part of an embedded message.
    Entity& make(const ScannedText& text, bool embedded);

    // The edits of the tree. None of them can fail.

    // Gives an entity the content of a made one; its own children are gone, and so is the made one.
    void replaceContent(Entity& entity, Entity& made) noexcept;

    // Adds a made entity to a multipart, behind its child `before`, or in front of all when that is null.
    void insertChild(Entity& multipart, Entity& made, Entity* before) noexcept;

    // Moves the content of an entity, with all that is in it, to a made one without content, which becomes
    // its only child. `frame` is the empty multipart that takes the content's place.
    void pushDown(Entity& entity, Entity& made, const ScannedText& frame) noexcept;

    // The reverse: the content of `child`, a child of `entity`, becomes that of `entity`, which loses what
    // else it had.
    void pullUp(Entity& entity, Entity& child) noexcept;

    // Takes an entity out. Not for a root, nor for the root of an embedded message.
    void remove(Entity& entity) noexcept;

private:
    void makeChildren(Entity& holder, const ScannedText& text);
    static std::size_t sizeOf(const Entity& top);
    void dropChildren(Entity& entity) noexcept;
    static void takeContent(Entity& to, Entity& from) noexcept;
    void settle(const TypeNote& stale);
    void findBody();
    void noteShape(Entity& entity) noexcept;

    MessageContext* context_;
    Entity root_;
    std::optional<std::deque<Entity>> below_; // all that were ever made; none before the tree is known
    std::size_t count_ = 1;
    std::vector<TypeNote> stale_;
    std::size_t prepared_ = 0;                     // notes that have, or had, a place kept for them
    std::unordered_set<const KvMsgEntity*> known_; // those of below_ when somebody last asked
    std::vector<Entity*> body_;
    bool bodyKnown_ = false;
    unsigned bodyShapes_ = 0; // the message's shapes when body_ was found
    enum class Plain : std::uint8_t { Unknown, Yes, No };
    Plain plainlyLeaf_ = Plain::Unknown;
};

} // namespace quzo::platform
