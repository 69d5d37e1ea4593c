// Building the tree and finding the body. See entity_tree.h.
#include "platform/message/entity_tree.h"

#include <vector>

#include "platform/message/message_impl.h"

namespace quzo::platform {

EntityTree::EntityTree(MessageImpl& message, Entity& root, const Structure& structure) : root_(&root) {
    const auto count = static_cast<std::uint32_t>(structure.entities.size());
    for (std::uint32_t i = 1; i < count; ++i) {
        below_.emplace_back(message, i);
    }
    const auto entityOrNull = [this, count](std::uint32_t index) {
        return index < count ? &at(index) : nullptr;
    };
    for (std::uint32_t i = 0; i < count; ++i) {
        const EntitySpan& span = structure.entities[i];
        at(i).place(entityOrNull(span.parent), entityOrNull(i + 1), entityOrNull(span.nextSibling));
    }
}

bool EntityTree::contains(const KvMsgEntity* entity) const {
    if (known_.empty()) {
        known_.reserve(below_.size() + 1);
        for (const Entity& one : below_) {
            known_.insert(&one);
        }
        known_.insert(root_);
    }
    return known_.count(entity) != 0;
}

const std::vector<Entity*>& EntityTree::body() {
    const unsigned edits = root_->message().context().edits;
    if (!bodyKnown_ || bodyEdits_ != edits) {
        body_.clear();
        findBody();
        bodyKnown_ = true;
        bodyEdits_ = edits;
    }
    return body_;
}

// One pass in document order. The first text part decides; a later one belongs to the body when the nearest
// container that it shares with a part of the body is a multipart/alternative.
void EntityTree::findBody() {
    if (root_->getEntityType() == kEntityLeaf) {
        body_.push_back(root_);
        return;
    }
    std::vector<bool> holdsBody(size(), false);
    for (std::uint32_t i = 1; i < size(); ++i) {
        Entity& part = at(i);
        if (part.getEntityType() != kEntityLeaf || part.embedded() || part.markedAttachment() ||
            part.mediaType().rfind("text/", 0) != 0) {
            continue;
        }
        const Entity* shared = part.parent();
        while (shared != nullptr && !holdsBody[shared->index()]) {
            shared = shared->parent();
        }
        if (shared != nullptr && shared->mediaType() != "multipart/alternative") {
            continue;
        }
        body_.push_back(&part);
        for (const Entity* holder = part.parent(); holder != nullptr && !holdsBody[holder->index()];
             holder = holder->parent()) {
            holdsBody[holder->index()] = true;
        }
    }
}

} // namespace quzo::platform
