// Inserting, wrapping and removing entities. See tree_edits.h.
#include "platform/message/edit/tree_edits.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/base/ascii.h"
#include "platform/base/identifiers.h"
#include "platform/message/edit/edit_checks.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/message_writer.h"
#include "platform/message/edit/part_scan.h"
#include "platform/message/values/transfer_encoding.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

bool describesContent(std::string_view name) { return startsWithNoCase(name, "Content-"); }

// The fields about the content as they stand, each with its line break; for another place. What the old place
// alone said is said in so many words.
std::vector<std::string> contentFields(const Entity& entity, bool forDigest) {
    const std::string_view lineBreak = entity.context().source.lineBreak();
    std::vector<std::string> fields;
    for (std::size_t i = 0; i < entity.header().count(); ++i) {
        const HeaderField& field = *entity.header().at(i);
        if (describesContent(field.name())) {
            fields.emplace_back(field.text());
            if (fields.back().back() != '\n') {
                fields.back().append(lineBreak);
            }
        }
    }
    const bool fromDigest = isInDigest(entity);
    if (fromDigest != forDigest && !entity.header().contentType().valid()) {
        fields.push_back(std::string("Content-Type: ")
                             .append(fromDigest ? "message/rfc822" : "text/plain")
                             .append(lineBreak));
    }
    return fields;
}

// A multipart that an entity is to become, with what it was as its part. All of it is made; nothing has
// changed.
struct Wrapping {
    std::string boundary;
    std::vector<std::string> fields; // of the multipart
    Entity* inner = nullptr;
    const ScannedText* frame = nullptr;
};

Wrapping prepareWrapping(Entity& entity) {
    MessageContext& context = entity.context();
    const std::string_view lineBreak = context.source.lineBreak();
    Wrapping made;
    made.boundary = "=_" + newIdentifier(); // "=_" is in no encoded text
    std::string header;
    for (const std::string& field : contentFields(entity, false)) {
        header += field;
    }
    // Scanned for its header block alone.
    header.append(lineBreak);
    made.inner = &context.tree.make(*scanPartAt(context, header, {}), entity.embedded());
    made.frame = &context.fragments.emplace_back(made.boundary, lineBreak);
    made.fields.push_back(std::string("Content-Type: multipart/mixed; boundary=\"")
                              .append(made.boundary)
                              .append("\"")
                              .append(lineBreak));
    addMimeVersion(entity, made.fields);
    return made;
}

void carryOut(Entity& entity, const Wrapping& wrapping) {
    if (dependsOnWhatFollows(entity)) {
        entity.context().tree.noteTypeEdit(*wrapping.inner);
    }
    entity.header().exchange(describesContent, wrapping.fields);
    entity.context().tree.pushDown(entity, *wrapping.inner, *wrapping.frame);
}

int checkNesting(const Entity& entity) {
    const std::size_t most = entity.context().source.limits().nesting;
    return most != 0 && placeOf(entity).depth >= most ? kErrorLimit : kErrorNone;
}

// The child behind which one at `position` goes; null for the first place.
Entity* childBefore(const Entity& multipart, int position) {
    if (position < 0) {
        return multipart.lastChild();
    }
    Entity* before = nullptr;
    for (Entity* child = multipart.firstChild(); child != nullptr && position > 0; --position) {
        before = child;
        child = child->nextSibling();
    }
    return before;
}

int insertPart(Entity& into, std::string_view part, int position) {
    int error = checkEditable(into);
    const bool wraps = into.getEntityType() != kEntityMultipart;
    if (error == kErrorNone && wraps) {
        error = checkNesting(into);
    }
    if (error != kErrorNone) {
        return error;
    }
    MessageContext& context = into.context();
    Wrapping wrapping;
    PartPlace place;
    if (wraps) {
        wrapping = prepareWrapping(into);
        place = placeOf(into);
        ++place.depth;
        place.inDigest = false;
        place.boundaries.emplace_back(wrapping.frame->structure().entities.front().boundary);
    } else {
        place = placeOf(into, true);
    }
    const ScannedText* text = scanPartAt(context, part, place);
    if (text == nullptr) {
        return kErrorInvalidArgument;
    }
    error = checkRoom(into, *text);
    Entity* before = wraps ? nullptr : childBefore(into, position);
    Entity& made = context.tree.make(*text, into.embedded());
    if (error != kErrorNone || (before != nullptr && wouldSwallow(*before, place.boundaries)) ||
        wouldSwallow(made, place.boundaries)) {
        return error != kErrorNone ? error : static_cast<int>(kErrorInvalidArgument);
    }
    if (wraps) {
        carryOut(into, wrapping);
        before = childBefore(into, position);
    } else if (before != nullptr && dependsOnWhatFollows(*before)) {
        context.tree.noteTypeEdit(*before);
    }
    context.tree.insertChild(into, made, before);
    return kErrorNone;
}

// The multipart/signed around an entity, the innermost first, and whether a multipart/encrypted is.
struct Protections {
    std::vector<Entity*> signedAround;
    bool encrypted = false;
};

Protections protectionsAround(const Entity& entity) {
    Protections found;
    for (Entity* up = entity.parent(); up != nullptr; up = up->parent()) {
        const ContentType type = up->header().contentType();
        found.encrypted = found.encrypted || type.is("multipart", "encrypted");
        if (up->span().type == kEntityMultipart && type.is("multipart", "signed")) {
            found.signedAround.push_back(up);
        }
    }
    return found;
}

// Makes a multipart what its first part is.
void unwrap(Entity& multipart) {
    Entity& inner = *multipart.firstChild();
    if (dependsOnWhatFollows(inner)) {
        multipart.context().tree.noteTypeEdit(multipart);
    }
    multipart.header().exchange(describesContent, contentFields(inner, isInDigest(multipart)));
    multipart.context().tree.pullUp(multipart, inner);
}

bool liesIn(const Entity& entity, const Entity& container) {
    const Entity* up = &entity;
    while (up != nullptr && up != &container) {
        up = up->parent();
    }
    return up != nullptr;
}

// The outermost multipart that would be left empty, else the entity itself. A root is never taken out.
Entity& withEmptyParents(Entity& entity) {
    Entity* top = &entity;
    for (Entity* up = entity.parent(); !isAnyRoot(*top) && up != nullptr; up = up->parent()) {
        if (up->firstChild() != top || top->nextSibling() != nullptr) {
            break;
        }
        top = up;
    }
    return *top;
}

// Whether nothing is left of `content` without the entity, which may be it.
bool isLastOf(Entity& entity, const Entity& content) {
    return liesIn(entity, content) && liesIn(content, withEmptyParents(entity));
}

int takeOut(Entity& entity) {
    Entity& top = withEmptyParents(entity);
    if (isAnyRoot(top)) {
        return replaceBody(top, {"", "text/plain", "us-ascii", "7bit", true});
    }
    Entity& multipart = *top.parent();
    const Entity* before = top.previousSibling();
    if (before != nullptr && wouldSwallow(*before, placeOf(multipart, true).boundaries)) {
        return kErrorInvalidArgument;
    }
    multipart.context().tree.remove(top);
    return kErrorNone;
}

} // namespace

int wrap(Entity& entity) {
    int error = checkEditable(entity);
    error = error == kErrorNone ? checkNesting(entity) : error;
    if (error == kErrorNone) {
        carryOut(entity, prepareWrapping(entity));
    }
    return error;
}

int insertCopy(Entity& into, Entity& child, int position) {
    int error = checkEditable(child);
    error = error == kErrorNone ? checkEditable(into) : error;
    if (error != kErrorNone) {
        return error;
    }
    const bool toDigest = into.header().contentType().is("multipart", "digest");
    std::string part = writtenEntity(child);
    if (isInDigest(child) != toDigest && !child.header().contentType().valid()) {
        part.insert(0, contentFields(child, toDigest).back());
    }
    return insertPart(into, part, position);
}

int insertWhole(Entity& into, Entity& root, int position) {
    const std::string_view lineBreak = into.context().source.lineBreak();
    root.context().tree.grow();
    std::string part = writtenEntity(root);
    const std::string_view encoding = plainEncodingOf(part);
    std::string header = std::string("Content-Type: message/rfc822").append(lineBreak);
    if (encoding != "7bit") {
        header.append("Content-Transfer-Encoding: ").append(encoding).append(lineBreak);
    }
    return insertPart(into, part.insert(0, header.append(lineBreak)), position);
}

int removeEntity(Entity& entity) {
    const int error = checkEditable(entity.context().tree.root());
    if (error != kErrorNone || entity.removed()) {
        return error != kErrorNone ? error : static_cast<int>(kErrorNotFound);
    }
    const Protections around = protectionsAround(entity);
    if (around.encrypted) {
        return kErrorNotSupported;
    }
    Entity* goes = &entity; // null once it went with a container
    for (Entity* container : around.signedAround) {
        Entity* content = container->firstChild();
        if (goes != nullptr && isLastOf(*goes, *content)) {
            goes = container; // nothing of what was signed is left
            continue;
        }
        if (wouldSwallow(*content, placeOf(*container).boundaries)) {
            return kErrorInvalidArgument;
        }
        goes = goes != nullptr && liesIn(*goes, *content) ? goes : nullptr;
        unwrap(*container);
    }
    return goes == nullptr ? static_cast<int>(kErrorNone) : takeOut(*goes);
}

} // namespace quzo::platform
