// Read off what the scan left, so that the scan itself need not keep reasons.
#include "platform/message/structure/limit_reached.h"

#include <cstddef>

#include "platform/message/structure/structure.h"

namespace quzo::platform {

namespace {

std::size_t depthOf(const Structure& structure, const EntitySpan& entity) {
    std::size_t depth = 0;
    for (std::uint32_t at = entity.parent; at != EntitySpan::kNone; at = structure.entities[at].parent) {
        ++depth;
    }
    return depth;
}

bool fieldsAreFull(std::size_t fields, const Limits& limits) {
    return limits.headerFields != 0 && fields >= limits.headerFields;
}

} // namespace

LimitReached limitReached(const HeaderSpan& header, const Limits& limits) {
    if (!header.limited) {
        return header.readable ? LimitReached::None : LimitReached::NoHeader;
    }
    return fieldsAreFull(header.fields.size(), limits) ? LimitReached::HeaderFields
                                                       : LimitReached::HeaderBytes;
}

LimitReached limitReached(const Structure& structure, const Limits& limits) {
    const LimitReached ofRoot = limitReached(structure.entities.front().header, limits);
    if (ofRoot != LimitReached::None) {
        return ofRoot;
    }
    std::size_t fields = 0;
    const EntitySpan* first = nullptr; // that is cut
    for (const EntitySpan& entity : structure.entities) {
        fields += entity.header.fields.size();
        first = first == nullptr && entity.cut ? &entity : first;
    }
    if (first == nullptr) {
        return LimitReached::None;
    }
    if (first->header.limited) {
        return limitReached(first->header, limits);
    }
    if (limits.nesting != 0 && depthOf(structure, *first) >= limits.nesting) {
        return LimitReached::Nesting;
    }
    return fieldsAreFull(fields, limits) ? LimitReached::HeaderFields : LimitReached::Parts;
}

} // namespace quzo::platform
