// The entities below the root, and what depends on seeing all of them.
#pragma once

#include <cstdint>
#include <deque>
#include <unordered_set>
#include <vector>

#include "platform/message/entity.h"

namespace quzo::platform {

class EntityTree {
public:
    // Makes an entity for each one of the structure. `root` is the message's own entity 0.
    EntityTree(MessageImpl& message, Entity& root, const Structure& structure);

    Entity& at(std::uint32_t index) { return index == 0 ? *root_ : below_[index - 1]; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(below_.size()) + 1; }

    // Whether such an entity is in the tree. The pointer is compared, never followed.
    bool contains(const KvMsgEntity* entity) const;

    // The parts that are the message's body: the first text part outside embedded messages that is not
    // marked as attachment, with its alternatives; a root that is a leaf always. In document order.
    const std::vector<Entity*>& body();

private:
    void findBody();

    Entity* root_;
    std::deque<Entity> below_;
    mutable std::unordered_set<const KvMsgEntity*> known_; // filled on first use
    std::vector<Entity*> body_;
    bool bodyKnown_ = false;
    unsigned bodyEdits_ = 0; // the message's edits when body_ was found
};

} // namespace quzo::platform
