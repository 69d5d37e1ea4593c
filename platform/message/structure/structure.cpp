// The structure scan: one walk over the message, from boundary line to boundary line.
//
// It keeps a stack of the containers (multiparts and embedded messages) it is in, never recurses, and never
// goes back: a boundary line of an outer multipart ends everything inside it, closed or not. A body outside
// of every multipart is not looked at at all. Limits are checked before a part gets any memory; what lies
// beyond them is passed over, but the ends of what was found before are still true.
#include "platform/message/structure/structure.h"
#include "platform/base/ascii.h"

#include <algorithm>
#include <utility>

#include "platform/message/structure/content_type.h"
#include "platform/message/structure/structure_boundaries.h"
#include "platform/message/structure/structure_header.h"
#include "platform/message/structure/structure_lines.h"
#include "quzo/core/message.h"

namespace quzo::platform {

namespace {

class StructureScanner {
public:
    StructureScanner(std::string_view text, const Limits& limits) : text_(text), limits_(limits) {}

    Structure scan(HeaderSpan rootHeader);
    Structure scanPart(std::size_t begin, const PartPlace& place, std::size_t& end);

private:
    // A container that has been entered. Its index in open_, behind those around the part that is scanned, is
    // the owner of its boundaries.
    struct Open {
        std::uint32_t entity;
        std::uint32_t lastChild;
        bool digest; // a multipart/digest, whose parts are messages when they do not say otherwise
    };

    EntitySpan& at(std::uint32_t entity) { return result_.entities[entity]; }
    std::uint32_t add(std::uint32_t parent, HeaderSpan header);
    std::uint32_t owner(std::size_t level) const { return around_ + static_cast<std::uint32_t>(level); }
    std::size_t enter(std::uint32_t entity);
    bool enterMessage(std::uint32_t entity, const ContentType& contentType);
    bool enterMultipart(std::uint32_t entity, const ContentType& contentType);
    bool openBoundaries(const HeaderSpan& header, std::uint32_t owner);
    ContentType typeOf(std::uint32_t entity) const;
    bool mayNest(std::uint32_t entity);
    bool mayAdd(std::uint32_t container);
    std::size_t cross(const BoundaryLine& line);
    void leaveInner(std::size_t level, std::size_t bodyEnd);
    void leave(std::uint32_t entity, std::size_t bodyEnd);

    const std::string_view text_;
    const Limits& limits_;
    Structure result_;
    std::vector<Open> open_;
    std::size_t fields_ = 0;                 // of all entities so far
    std::uint32_t around_ = 0;               // multiparts around the part that is scanned
    std::size_t depth_ = 0;                  // containers around it
    bool inDigest_ = false;                  // it is in a multipart/digest
    std::uint32_t leaf_ = EntitySpan::kNone; // the leaf whose end is being looked for
    OpenBoundaries boundaries_;
};

std::uint32_t StructureScanner::add(std::uint32_t parent, HeaderSpan header) {
    const auto entity = static_cast<std::uint32_t>(result_.entities.size());
    result_.limited = result_.limited || header.limited;
    fields_ += header.fields.size();
    EntitySpan& added = result_.entities.emplace_back();
    added.cut = header.limited;
    added.header = std::move(header);
    added.parent = parent;
    added.type = kEntityLeaf;
    return entity;
}

// The type that decides about the structure, defaults applied.
ContentType StructureScanner::typeOf(std::uint32_t entity) const {
    ContentType contentType = governingContentType(text_, result_.entities[entity].header);
    if (!contentType.valid() && !contentType.is("multipart") &&
        (open_.empty() ? inDigest_ : open_.back().digest)) {
        contentType.type = "message";
        contentType.subtype = "rfc822";
    }
    return contentType;
}

bool StructureScanner::mayNest(std::uint32_t entity) {
    if (limits_.nesting == 0 || depth_ + open_.size() < limits_.nesting) {
        return true;
    }
    at(entity).cut = true;
    result_.limited = true;
    return false;
}

bool StructureScanner::mayAdd(std::uint32_t container) {
    constexpr std::size_t kMost = EntitySpan::kNone;
    const std::size_t most = limits_.parts == 0 ? kMost : std::min(limits_.parts, kMost);
    const bool room = limits_.headerFields == 0 || fields_ < limits_.headerFields;
    if (room && result_.entities.size() < most) {
        return true;
    }
    at(container).cut = true;
    result_.limited = true;
    return false;
}

// Opens what may be the boundary of a multipart. Two Content-Type fields can name two; which of them readers
// go by differs, so the first that occurs in the body decides.
bool StructureScanner::openBoundaries(const HeaderSpan& header, std::uint32_t owner) {
    for (const FieldSpan& field : header.fields) {
        boundaries_.openOfField(text_, field, owner);
    }
    return boundaries_.owns(owner);
}

bool StructureScanner::enterMultipart(std::uint32_t entity, const ContentType& contentType) {
    if (!mayNest(entity) || !openBoundaries(at(entity).header, owner(open_.size()))) {
        return false;
    }
    at(entity).type = kEntityMultipart;
    open_.push_back({entity, EntitySpan::kNone, contentType.is("multipart", "digest")});
    return true;
}

// Enters the message that is the body of `entity`; its root becomes the last entity.
bool StructureScanner::enterMessage(std::uint32_t entity, const ContentType& contentType) {
    const std::size_t begin = at(entity).header.bodyBegin;
    BoundaryLine line;
    const bool empty = begin == text_.size() || boundaries_.match(text_, begin, text_.size(), line);
    if (empty || isTransferEncoded(text_, at(entity).header) || !mayNest(entity) || !mayAdd(entity)) {
        return false;
    }
    at(entity).type = equalsNoCase(contentType.subtype, "rfc822") ? kEntityMessage : kEntityOtherMessage;
    open_.push_back({entity, static_cast<std::uint32_t>(result_.entities.size()), false});
    add(entity, scanInnerHeader(text_, begin, true, limits_, boundaries_));
    return true;
}

// Goes into an entity as far as it leads without a boundary line. Returns where to look for the next one.
std::size_t StructureScanner::enter(std::uint32_t entity) {
    for (;;) {
        const HeaderSpan& header = at(entity).header;
        const ContentType contentType = header.limited ? ContentType() : typeOf(entity);
        if (isEmbeddedMessage(contentType) && enterMessage(entity, contentType)) {
            entity = open_.back().lastChild;
            continue;
        }
        if (!contentType.is("multipart") || !enterMultipart(entity, contentType)) {
            leaf_ = entity;
        }
        return at(entity).header.bodyBegin;
    }
}

// Sets the end of an entity that nothing can be added to any more.
void StructureScanner::leave(std::uint32_t entity, std::size_t bodyEnd) {
    EntitySpan& span = at(entity);
    span.bodyEnd = std::max(bodyEnd, span.header.bodyBegin);
    if (span.type != kEntityMultipart) {
        return;
    }
    const bool hasChildren = entity + 1 < result_.entities.size() && at(entity + 1).parent == entity;
    if (!hasChildren) {
        // No part was found in it, so what there is must be seen as its body.
        span.type = kEntityLeaf;
        span.firstBoundary = 0;
        span.closeDelimiter = 0;
        span.closed = false;
        span.boundary = {};
    } else if (!span.closed) {
        span.closeDelimiter = span.bodyEnd;
    }
}

// Leaves everything that is deeper than the first `level` containers.
void StructureScanner::leaveInner(std::size_t level, std::size_t bodyEnd) {
    std::size_t end = bodyEnd;
    if (leaf_ != EntitySpan::kNone) {
        leave(leaf_, bodyEnd);
        end = at(leaf_).end = at(leaf_).bodyEnd;
        leaf_ = EntitySpan::kNone;
    }
    while (open_.size() > level) {
        boundaries_.close(owner(open_.size() - 1));
        const std::uint32_t entity = open_.back().entity;
        leave(entity, bodyEnd);
        end = at(entity).end = std::max(end, at(entity).bodyEnd);
        open_.pop_back();
    }
}

// Goes over a boundary line. Returns where to look for the next one.
std::size_t StructureScanner::cross(const BoundaryLine& line) {
    const std::size_t level = line.owner - around_;
    if (line.close && at(open_[level].entity).boundary.data() == nullptr) {
        return line.next; // Nothing has been opened yet that it could close.
    }
    leaveInner(level + 1, beforeLineBreak(text_, line.begin));
    Open& container = open_[level];
    const std::uint32_t multipart = container.entity;
    if (at(multipart).boundary.data() == nullptr) {
        at(multipart).boundary = line.label;
        at(multipart).firstBoundary = line.begin;
        boundaries_.close(line.owner);
        boundaries_.open(line.label, line.owner);
    }
    if (line.close) {
        at(multipart).closed = true;
        at(multipart).closeDelimiter = line.begin;
        boundaries_.close(line.owner);
        return line.next;
    }
    // Data that ends with a boundary line has been cut off there: no part begins behind it.
    if (line.next == text_.size() || !mayAdd(multipart)) {
        return line.next;
    }
    const std::uint32_t child =
        add(multipart, scanInnerHeader(text_, line.next, false, limits_, boundaries_));
    if (container.lastChild != EntitySpan::kNone) {
        at(container.lastChild).nextSibling = child;
    }
    container.lastChild = child;
    return enter(child);
}

Structure StructureScanner::scan(HeaderSpan rootHeader) {
    std::size_t from = enter(add(EntitySpan::kNone, std::move(rootHeader)));
    BoundaryLine line;
    while (boundaries_.find(text_, from, text_.size(), line)) {
        from = cross(line);
    }
    leaveInner(0, text_.size());
    return std::move(result_);
}

Structure StructureScanner::scanPart(std::size_t begin, const PartPlace& place, std::size_t& end) {
    for (const std::string_view boundary : place.boundaries) {
        boundaries_.open(boundary, around_++);
    }
    depth_ = place.depth;
    inDigest_ = place.inDigest;
    std::size_t from =
        enter(add(EntitySpan::kNone, scanInnerHeader(text_, begin, false, limits_, boundaries_)));
    end = text_.size();
    BoundaryLine line;
    while (boundaries_.find(text_, from, text_.size(), line)) {
        if (line.owner < around_) {
            end = line.begin;
            break;
        }
        from = cross(line);
    }
    leaveInner(0, end == text_.size() ? end : beforeLineBreak(text_, end));
    return std::move(result_);
}

} // namespace

bool holdsMessage(const EntitySpan& entity) {
    return entity.type == kEntityMessage || entity.type == kEntityOtherMessage;
}

Structure scanPart(std::string_view text, std::size_t begin, const PartPlace& place, const Limits& limits,
                   std::size_t& end) {
    return StructureScanner(text, limits).scanPart(begin, place, end);
}

Structure scanStructure(std::string_view text, HeaderSpan rootHeader, const Limits& limits) {
    return StructureScanner(text, limits).scan(std::move(rootHeader));
}

} // namespace quzo::platform
