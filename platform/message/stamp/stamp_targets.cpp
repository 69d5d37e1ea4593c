// See stamp_targets.h. Entities nest as deeply as the limits let a sender nest them, which may be thousands
// deep, so nothing here recurses: the walk is over the tree in document order, and each container decides
// once whether what lies in it is looked at.
#include "platform/message/stamp/stamp_targets.h"

#include <optional>
#include <string>
#include <unordered_map>

#include "platform/base/ascii.h"
#include "platform/message/edit/entity_tree.h"
#include "platform/message/structure/content_type.h"

namespace quzo::platform {
namespace {

using How = StampTarget::How;

bool isProtection(const Entity& entity, const ContentType& type) {
    if (entity.span().type == kEntityMultipart) {
        return type.is("multipart", "signed") || type.is("multipart", "encrypted");
    }
    return type.is("application", "pkcs7-mime") || type.is("application", "x-pkcs7-mime");
}

// Containers whose parts are no body, whatever they are.
bool holdsNoBody(const Entity& entity, const ContentType& type) {
    return entity.span().type != kEntityMultipart || type.is("multipart", "digest") ||
           type.is("multipart", "appledouble");
}

bool hasContentId(const Entity& entity, std::string_view wanted) {
    const std::optional<std::string_view> value = entity.header().rawValue("Content-ID");
    const auto bare = [](std::string_view id) {
        id = trimmed(id);
        id.remove_prefix(id.starts_with('<') ? 1 : 0);
        id.remove_suffix(id.ends_with('>') ? 1 : 0);
        return id;
    };
    return value && bare(*value) == bare(wanted);
}

// The part of a multipart/related that is shown; the others only serve it.
Entity* rootOfRelated(const Entity& related, const ContentType& type) {
    std::string storage;
    const std::string_view start = findParameter(type.parameters, "start", storage);
    if (!start.empty()) {
        for (Entity* child = related.firstChild(); child != nullptr; child = child->nextSibling()) {
            if (hasContentId(*child, start)) {
                return child;
            }
        }
    }
    return related.firstChild();
}

// isShownInTurn() of an entity with that type.
bool showsInTurn(const Entity& multipart, const ContentType& type) {
    return type.is("multipart") && !type.is("multipart", "alternative") && !type.is("multipart", "related") &&
           !type.is("multipart", "report") && !holdsNoBody(multipart, type) && !isProtection(multipart, type);
}

class TargetSearch {
public:
    std::vector<StampTarget> run(Entity& root) {
        Entity* entity = &root;
        while (entity != nullptr) {
            entity = visit(*entity) ? EntityTree::next(*entity) : behind(*entity);
        }
        if (found_.empty()) {
            const bool mixed = isShownInTurn(root);
            found_.push_back({mixed ? How::Outside : How::Beside, &root});
        }
        return std::move(found_);
    }

private:
    // A container that is looked into.
    struct Holder {
        bool alternative = false;
        const Entity* only = nullptr; // of its parts; null: any
        bool holdsFound = false;      // something in it was found
    };

    // Looks at an entity; whether what lies in it is looked at too.
    bool visit(Entity& entity) {
        if (!counts(entity)) {
            return false;
        }
        const ContentType type = entity.header().contentType();
        if (isProtection(entity, type)) {
            add(How::Beside, entity);
            return false;
        }
        if (entity.span().type == kEntityLeaf) {
            const std::string media = entity.mediaType();
            if (media == "text/plain" || media == "text/html") {
                add(media == "text/plain" ? How::Text : How::Html, entity);
            }
            return false;
        }
        if (holdsNoBody(entity, type)) {
            return false;
        }
        Holder& holder = holders_[&entity];
        holder.alternative = type.is("multipart", "alternative");
        holder.only = type.is("multipart", "related") ? rootOfRelated(entity, type) : nullptr;
        return true;
    }

    // Whether an entity can be of the body: no attachment is, nor a part behind the first that is, but for
    // another alternative of it; of a related part only the one that is shown.
    bool counts(const Entity& entity) {
        if (entity.parent() == nullptr) {
            return true;
        }
        const Holder& holder = holders_[entity.parent()];
        return (holder.only == nullptr || holder.only == &entity) &&
               (holder.alternative || !holder.holdsFound) && !entity.markedAttachment();
    }

    void add(How how, Entity& entity) {
        found_.push_back({how, &entity});
        for (const Entity* up = entity.parent(); up != nullptr; up = up->parent()) {
            Holder& holder = holders_[up];
            if (holder.holdsFound) {
                break;
            }
            holder.holdsFound = true;
        }
    }

    // The entity behind a subtree.
    static Entity* behind(const Entity& entity) {
        const Entity* up = &entity;
        while (up != nullptr && up->nextSibling() == nullptr) {
            up = up->parent();
        }
        return up == nullptr ? nullptr : up->nextSibling();
    }

    std::vector<StampTarget> found_;
    std::unordered_map<const Entity*, Holder> holders_;
};

} // namespace

std::vector<StampTarget> stampTargets(Entity& root) { return TargetSearch().run(root); }

bool isShownInTurn(const Entity& multipart) {
    return showsInTurn(multipart, multipart.header().contentType());
}

bool canHaveNeighbours(const Entity& entity) {
    const Entity* parent = entity.parent();
    return parent != nullptr && isShownInTurn(*parent);
}

} // namespace quzo::platform
