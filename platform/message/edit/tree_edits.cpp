// Inserting, wrapping and removing entities. See tree_edits.h.
#include "platform/message/edit/tree_edits.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/message/edit/content_fields.h"
#include "platform/message/edit/edit_checks.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/message_writer.h"
#include "platform/message/edit/part_scan.h"
#include "platform/message/edit/prepared_edit.h"
#include "platform/message/edit/removal_note.h"
#include "platform/message/values/transfer_encoding.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

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
    std::vector<std::string> fields = contentFields(inner, isInDigest(multipart));
    if (fields.empty()) {
        // Lines that are no fields are no header block without one that is.
        fields.push_back(
            std::string("Content-Type: text/plain").append(multipart.context().source.lineBreak()));
    }
    HeaderBlock::Exchange header = multipart.header().prepareExchange(describesContent, fields);
    multipart.header().carryOut(header);
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

int takeOut(Entity& entity, const std::string& note) {
    if (!isAnyRoot(entity)) {
        placeRemovalNote(entity, note);
    }
    Entity& top = withEmptyParents(entity);
    if (isAnyRoot(top)) {
        return note.empty() ? replaceBody(top, {"", "text/plain", "us-ascii", "7bit", true})
                            : replaceBody(top, {note, "text/plain", "utf-8", nullptr, true});
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
        WrapEdit edit;
        edit.prepare(entity);
        edit.carryOut();
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
    PartEdit edit;
    error = edit.prepare(into, std::move(part), position);
    if (error == kErrorNone) {
        edit.carryOut();
    }
    return error;
}

int insertWhole(Entity& into, Entity& root, int position) {
    const std::string_view lineBreak = into.context().source.lineBreak();
    root.context().tree.grow();
    const std::string type = std::string("Content-Type: message/rfc822").append(lineBreak);
    std::string part = writtenEntity(root, type + std::string(lineBreak));
    const std::string_view message = std::string_view(part).substr(type.size() + lineBreak.size());
    if (const std::string_view encoding = plainEncodingOf(message); encoding != "7bit") {
        part.insert(type.size(),
                    std::string("Content-Transfer-Encoding: ").append(encoding).append(lineBreak));
    }
    PartEdit edit;
    const int error = edit.prepare(into, std::move(part), position);
    if (error == kErrorNone) {
        edit.carryOut();
    }
    return error;
}

int removeEntity(Entity& entity) {
    const int error = checkEditable(entity.context().tree.root());
    if (error != kErrorNone || entity.removed()) {
        return error != kErrorNone ? error : static_cast<int>(kErrorNotFound);
    }
    const std::string note = removalNoteFor(entity);
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
    return goes == nullptr ? static_cast<int>(kErrorNone) : takeOut(*goes, note);
}

} // namespace quzo::platform
