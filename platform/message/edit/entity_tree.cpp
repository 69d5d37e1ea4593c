// Building the tree, changing it, and finding the body. See entity_tree.h.
#include "platform/message/edit/entity_tree.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/base/ascii.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/part_scan.h"

namespace quzo::platform {

EntityTree::EntityTree(MessageContext& context) : context_(&context), root_(context, context.source, 0) {}

bool EntityTree::plainlyLeaf() {
    if (below_ || !stale_.empty()) {
        return false;
    }
    if (plainlyLeaf_ == Plain::Unknown) {
        const HeaderSpan& header = context_->source.header(0);
        const std::string_view text = context_->source.text();
        const bool leaf =
            std::none_of(header.fields.begin(), header.fields.end(), [&](const FieldSpan& field) {
                if (!equalsNoCase(fieldName(text, field), "Content-Type")) {
                    return false;
                }
                const auto type =
                    readContentType(text.substr(field.valueBegin, field.end - field.valueBegin)).type;
                return equalsNoCase(type, "multipart") || equalsNoCase(type, "message");
            });
        plainlyLeaf_ = leaf ? Plain::Yes : Plain::No;
    }
    return plainlyLeaf_ == Plain::Yes;
}

void EntityTree::grow() {
    if (!below_) {
        below_.emplace();
        try {
            makeChildren(root_, context_->source);
            count_ = context_->source.structure().entities.size();
        } catch (...) {
            below_.reset();
            throw;
        }
    }
    while (!stale_.empty()) {
        settle(stale_.back());
        stale_.pop_back();
    }
}

EntityTree::TypeNote EntityTree::prepareNote(Entity& entity) {
    stale_.reserve(stale_.size() + ++prepared_);
    return {&entity, namesBoundary(entity)};
}

void EntityTree::note(const TypeNote& note) noexcept {
    if (note.entity != nullptr) {
        stale_.push_back(note);
    }
}

// A leaf whose type says nothing of a structure stays one. Where the type matters, the content is scanned as
// it now is described. A content that would end at a boundary around it is found anew with what is around it.
void EntityTree::settle(const TypeNote& stale) {
    Entity& entity = *stale.entity;
    if (entity.removed()) {
        return;
    }
    if (entity.span().type == kEntityLeaf && !mayHoldParts(entity) && !stale.waited) {
        return;
    }
    for (Entity* at = &entity; at != nullptr; at = at->parent_) {
        if (const ScannedText* text = scanContent(*at)) {
            Entity& made = make(*text, at->embedded_);
            if (!wouldSwallow(made, placeOf(*at).boundaries)) {
                replaceContent(*at, made);
                return;
            }
        }
    }
}

Entity& EntityTree::make(const ScannedText& text, bool embedded) {
    Entity& made = below_->emplace_back(*context_, text, 0);
    made.embedded_ = embedded;
    made.slot_ = Entity::kInserted;
    makeChildren(made, text);
    return made;
}

// Makes what lies below entity 0 of a text, as the children of `holder`, which has none.
void EntityTree::makeChildren(Entity& holder, const ScannedText& text) {
    const std::vector<EntitySpan>& spans = text.structure().entities;
    const std::size_t base = below_->size();
    for (std::uint32_t i = 1; i < spans.size(); ++i) {
        below_->emplace_back(*context_, text, i);
    }
    for (std::uint32_t i = 1; i < spans.size(); ++i) {
        const std::uint32_t above = spans[i].parent;
        Entity& entity = (*below_)[base + i - 1];
        entity.parent_ = above == 0 ? &holder : &(*below_)[base + above - 1];
        entity.embedded_ = entity.parent_->embedded_ || holdsMessage(spans[above]);
        Entity* const before = entity.parent_->lastChild_;
        (before == nullptr ? entity.parent_->firstSlot_ : before->nextSlot_) = &entity;
        (before == nullptr ? entity.parent_->firstChild_ : before->nextSibling_) = &entity;
        entity.previousSibling_ = before;
        entity.parent_->lastChild_ = &entity;
    }
}

Entity* EntityTree::next(const Entity& entity, const Entity* top) {
    Entity* found = entity.removed_ ? nullptr : entity.firstChild();
    for (const Entity* at = &entity; found == nullptr && at != nullptr && at != top; at = at->parent_) {
        found = at->nextSibling();
    }
    return found;
}

// Entities in a subtree.
std::size_t EntityTree::sizeOf(const Entity& top) {
    std::size_t entities = 0;
    for (const Entity* at = &top; at != nullptr; at = next(*at, &top)) {
        ++entities;
    }
    return entities;
}

bool EntityTree::contains(const KvMsgEntity* entity) {
    grow();
    if (entity == &root_) {
        return true;
    }
    known_.reserve(below_->size());
    for (std::size_t i = known_.size(); i < below_->size(); ++i) {
        known_.insert(&(*below_)[i]);
    }
    return known_.count(entity) != 0 && !static_cast<const Entity*>(entity)->removed();
}

void EntityTree::noteShape(Entity& entity) noexcept {
    ++context_->shapes;
    entity.contentEdited_ = true;
    entity.noteEdit();
}

void EntityTree::dropChildren(Entity& entity) noexcept {
    count_ -= sizeOf(entity) - 1;
    for (Entity* slot = entity.firstSlot_; slot != nullptr; slot = slot->nextSlot_) {
        slot->removed_ = true;
    }
    entity.firstSlot_ = nullptr;
    entity.firstChild_ = nullptr;
    entity.lastChild_ = nullptr;
}

void EntityTree::takeContent(Entity& to, Entity& from) noexcept {
    to.content_ = from.content_;
    to.editedBelow_ = from.editedBelow_;
    to.firstSlot_ = std::exchange(from.firstSlot_, nullptr);
    to.firstChild_ = std::exchange(from.firstChild_, nullptr);
    to.lastChild_ = std::exchange(from.lastChild_, nullptr);
    for (Entity* slot = to.firstSlot_; slot != nullptr; slot = slot->nextSlot_) {
        slot->parent_ = &to;
    }
}

void EntityTree::replaceContent(Entity& entity, Entity& made) noexcept {
    dropChildren(entity);
    takeContent(entity, made);
    made.removed_ = true;
    count_ += sizeOf(entity) - 1;
    noteShape(entity);
}

void EntityTree::insertChild(Entity& multipart, Entity& made, Entity* before) noexcept {
    Entity*& slot = before == nullptr ? multipart.firstSlot_ : before->nextSlot_;
    made.nextSlot_ = std::exchange(slot, &made);
    Entity*& link = before == nullptr ? multipart.firstChild_ : before->nextSibling_;
    made.nextSibling_ = std::exchange(link, &made);
    (made.nextSibling_ == nullptr ? multipart.lastChild_ : made.nextSibling_->previousSibling_) = &made;
    made.previousSibling_ = before;
    made.parent_ = &multipart;
    count_ += sizeOf(made);
    noteShape(multipart);
}

void EntityTree::pushDown(Entity& entity, Entity& made, const ScannedText& frame) noexcept {
    takeContent(made, entity);
    made.contentEdited_ = entity.contentEdited_;
    made.parent_ = &entity;
    entity.content_ = {&frame, 0};
    entity.editedBelow_ = false;
    entity.firstSlot_ = &made;
    entity.firstChild_ = &made;
    entity.lastChild_ = &made;
    ++count_;
    noteShape(entity);
}

void EntityTree::pullUp(Entity& entity, Entity& child) noexcept {
    dropChildren(entity);
    takeContent(entity, child);
    count_ += sizeOf(entity) - 1;
    noteShape(entity);
}

void EntityTree::remove(Entity& entity) noexcept {
    const bool bodyStays = bodyKnown_ && bodyShapes_ == context_->shapes;
    Entity& parent = *entity.parent_;
    Entity* const before = entity.previousSibling_;
    Entity* const behind = entity.nextSibling_;
    (before == nullptr ? parent.firstChild_ : before->nextSibling_) = behind;
    (behind == nullptr ? parent.lastChild_ : behind->previousSibling_) = before;
    count_ -= sizeOf(entity);
    entity.removed_ = true;
    noteShape(parent);
    // Most of what is removed is no part of the body; then that need not be found anew.
    if (bodyStays &&
        std::none_of(body_.begin(), body_.end(), [](const Entity* part) { return part->removed(); })) {
        bodyShapes_ = context_->shapes;
    }
}

const std::vector<Entity*>& EntityTree::body() {
    grow();
    if (!bodyKnown_ || bodyShapes_ != context_->shapes) {
        body_.clear();
        findBody();
        bodyKnown_ = true;
        bodyShapes_ = context_->shapes;
    }
    return body_;
}

// One pass in document order. The first text part decides; a later one belongs to the body when the nearest
// container that it shares with a part of the body is a multipart/alternative.
void EntityTree::findBody() {
    if (root_.span().type == kEntityLeaf) {
        body_.push_back(&root_);
        return;
    }
    std::unordered_set<const Entity*> holders; // of a part of the body
    for (Entity* part = next(root_); part != nullptr; part = next(*part)) {
        if (part->span().type != kEntityLeaf || part->embedded() || part->markedAttachment() ||
            part->mediaType().rfind("text/", 0) != 0) {
            continue;
        }
        const Entity* shared = part->parent();
        while (shared != nullptr && holders.count(shared) == 0) {
            shared = shared->parent();
        }
        if (shared != nullptr && shared->mediaType() != "multipart/alternative") {
            continue;
        }
        body_.push_back(part);
        for (const Entity* holder = part->parent(); holder != nullptr && holders.insert(holder).second;
             holder = holder->parent()) {
        }
    }
}

} // namespace quzo::platform
