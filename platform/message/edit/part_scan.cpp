// See part_scan.h.
#include "platform/message/edit/part_scan.h"

#include <algorithm>

#include "platform/message/edit/message_context.h"
#include "platform/message/edit/message_writer.h"

namespace quzo::platform {
namespace {

// Whether a line "--label" or "--label--" is one of a multipart with the boundary `open`.
bool takes(std::string_view open, std::string_view label) {
    constexpr std::string_view kDashes = "--";
    const auto isWithDashes = [&](std::string_view longer, std::string_view shorter) {
        return longer.size() == shorter.size() + kDashes.size() && longer.starts_with(shorter) &&
               longer.ends_with(kDashes);
    };
    return open == label || isWithDashes(open, label) || isWithDashes(label, open);
}

} // namespace

PartPlace placeOf(const Entity& entity, bool inside) {
    PartPlace place;
    for (const Entity* up = inside ? &entity : entity.parent(); up != nullptr; up = up->parent()) {
        ++place.depth;
        if (up->span().type == kEntityMultipart) {
            place.boundaries.push_back(up->span().boundary);
        }
    }
    std::reverse(place.boundaries.begin(), place.boundaries.end());
    place.inDigest = inside ? entity.header().contentType().is("multipart", "digest") : isInDigest(entity);
    return place;
}

bool isInDigest(const Entity& entity) {
    const Entity* parent = entity.parent();
    return parent != nullptr && parent->header().contentType().is("multipart", "digest");
}

const ScannedText* scanContent(Entity& entity) {
    MessageContext& context = entity.context();
    std::string part = writtenHeader(entity.header());
    if (!part.empty() && part.back() != '\n') {
        part += context.source.lineBreak();
    }
    part.append(context.source.lineBreak());
    return scanPartAt(context, writtenContent(entity, std::move(part)), placeOf(entity), isFollowed(entity));
}

const ScannedText* scanPartAt(MessageContext& context, std::string part, const PartPlace& place,
                              bool followed) {
    // A line in front, since a message's own header block may have more in front of it than a part's; and the
    // delimiter line that will follow.
    const std::string_view lineBreak = context.source.lineBreak();
    std::string text = std::move(part.insert(0, lineBreak));
    std::size_t wantedEnd = text.size();
    if (followed && !place.boundaries.empty()) {
        text.append(lineBreak);
        wantedEnd = text.size();
        text.append("--").append(place.boundaries.back()).append("--").append(lineBreak);
    }
    std::size_t end = 0;
    const ScannedText& scanned = context.fragments.emplace_back(std::move(text), lineBreak.size(), place,
                                                                context.source.limits(), end);
    if (end == wantedEnd) {
        return &scanned;
    }
    context.fragments.pop_back();
    return nullptr;
}

bool isFollowed(const Entity& entity) {
    for (const Entity* at = &entity; at->parent() != nullptr; at = at->parent()) {
        const EntitySpan& around = at->parent()->span();
        if (around.type != kEntityMultipart) {
            continue;
        }
        // A multipart that was not closed is, when its last part is another.
        const bool isLastScanned = at->slot() != Entity::kInserted && at->nextSlot() == nullptr;
        if (around.closed || at->nextSibling() != nullptr || !isLastScanned) {
            return true;
        }
    }
    return false;
}

bool wouldSwallow(const Entity& entity, const std::vector<std::string_view>& boundaries) {
    const auto takesOne = [&](std::string_view open) {
        return std::any_of(boundaries.begin(), boundaries.end(),
                           [&](std::string_view label) { return takes(open, label); });
    };
    const Entity* at = &entity;
    for (; at->firstChild() != nullptr; at = at->lastChild()) {
        const EntitySpan& span = at->span();
        if (span.type == kEntityMultipart && (span.closed || takesOne(span.boundary))) {
            return !span.closed;
        }
    }
    // A leaf whose type names a boundary is still waiting for it.
    for (const ContentType& type : allContentTypes(at->header().view().text, *at->header().view().span)) {
        std::string storage;
        if (type.is("multipart") && takesOne(findParameter(type.parameters, "boundary", storage))) {
            return true;
        }
    }
    return false;
}

bool namesBoundary(const Entity& entity) {
    const HeaderView header = entity.header().view();
    const std::vector<ContentType> types = allContentTypes(header.text, *header.span);
    return std::any_of(types.begin(), types.end(),
                       [](const ContentType& type) { return type.is("multipart"); });
}

bool dependsOnWhatFollows(const Entity& entity) {
    const Entity* at = &entity;
    while (at->span().type != kEntityMultipart && at->firstChild() != nullptr) {
        at = at->firstChild(); // the root of an embedded message
    }
    if (at->span().type == kEntityMultipart) {
        return !at->span().closed;
    }
    // A header block without an end gets one by the line break of what follows.
    return !at->span().header.readable || mayHoldParts(*at);
}

bool mayHoldParts(const Entity& entity) {
    const ContentType type = entity.header().contentType();
    return type.is("multipart") || isEmbeddedMessage(type) || (!type.valid() && isInDigest(entity));
}

} // namespace quzo::platform
