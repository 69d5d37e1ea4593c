// See prepared_edit.h.
#include "platform/message/edit/prepared_edit.h"

#include <utility>

#include "platform/base/identifiers.h"
#include "platform/message/edit/content_fields.h"
#include "platform/message/edit/edit_checks.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/part_scan.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

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

} // namespace

int BodyEdit::prepare(Entity& entity, std::string stored, const Header& header) {
    MessageContext& context = entity.context();
    std::string part;
    for (const std::string& field : header.described) {
        part += field;
    }
    stored.insert(0, part.append(context.source.lineBreak()));
    const ScannedText* text = scanPartAt(context, std::move(stored), placeOf(entity), isFollowed(entity));
    if (text == nullptr) {
        return kErrorInvalidArgument;
    }
    const int excess = checkRoom(entity, *text);
    if (excess == kErrorNone) {
        entity_ = &entity;
        made_ = &context.tree.make(*text, entity.embedded());
        header_ = entity.header().prepareExchange(header.goes, header.fields);
    }
    return excess;
}

void BodyEdit::carryOut() noexcept {
    if (!header_.added.empty() || !header_.gone.empty()) {
        entity_->header().carryOut(header_);
    }
    entity_->context().tree.replaceContent(*entity_, *made_);
}

void WrapEdit::prepare(Entity& entity) {
    MessageContext& context = entity.context();
    const std::string_view lineBreak = context.source.lineBreak();
    boundary_ = "=_" + newIdentifier(); // "=_" is in no encoded text
    std::string header;
    for (const std::string& field : contentFields(entity, false)) {
        header += field;
    }
    // Scanned for its header block alone.
    header.append(lineBreak);
    entity_ = &entity;
    inner_ = &context.tree.make(*scanPartAt(context, header, {}), entity.embedded());
    frame_ = &context.fragments.emplace_back(boundary_, lineBreak);
    std::vector<std::string> fields{std::string("Content-Type: multipart/mixed; boundary=\"")
                                        .append(boundary_)
                                        .append("\"")
                                        .append(lineBreak)};
    addMimeVersion(entity, fields);
    header_ = entity.header().prepareExchange(describesContent, fields);
    if (dependsOnWhatFollows(entity)) {
        note_ = context.tree.prepareNote(*inner_);
    }
}

void WrapEdit::carryOut() noexcept {
    entity_->context().tree.note(note_);
    entity_->header().carryOut(header_);
    entity_->context().tree.pushDown(*entity_, *inner_, *frame_);
}

int PartEdit::prepare(Entity& entity, std::string part, int position, Into into) {
    int error = checkEditable(entity);
    wraps_ = into == Into::Wrapped || entity.getEntityType() != kEntityMultipart;
    if (error == kErrorNone && wraps_) {
        error = checkNesting(entity);
    }
    if (error != kErrorNone) {
        return error;
    }
    MessageContext& context = entity.context();
    PartPlace place = placeOf(entity, !wraps_);
    if (wraps_) {
        wrap_.prepare(entity);
        ++place.depth;
        place.inDigest = false;
        place.boundaries.emplace_back(wrap_.boundary());
    }
    const ScannedText* text = scanPartAt(context, std::move(part), place);
    if (text == nullptr) {
        return kErrorInvalidArgument;
    }
    error = checkRoom(entity, *text);
    entity_ = &entity;
    inFront_ = position == 0;
    before_ = wraps_ ? nullptr : childBefore(entity, position);
    made_ = &context.tree.make(*text, entity.embedded());
    const Entity* above = wraps_ && !inFront_ ? &entity : before_;
    const bool swallowed = (above != nullptr && wouldSwallow(*above, place.boundaries)) ||
                           wouldSwallow(*made_, place.boundaries);
    if (error != kErrorNone || swallowed) {
        return error != kErrorNone ? error : static_cast<int>(kErrorInvalidArgument);
    }
    if (before_ != nullptr && dependsOnWhatFollows(*before_)) {
        note_ = context.tree.prepareNote(*before_);
    }
    return kErrorNone;
}

int PartEdit::prepareText(Entity& entity, TextPart part, int position, Into into) {
    int error = kErrorInvalidArgument;
    for (const bool encoded : {false, true}) {
        part.encoded = encoded;
        error = error == kErrorInvalidArgument
                    ? prepare(entity, textPart(part, entity.context().source.lineBreak()), position, into)
                    : error;
    }
    return error;
}

void PartEdit::carryOut() noexcept {
    EntityTree& tree = entity_->context().tree;
    if (wraps_) {
        wrap_.carryOut();
        before_ = inFront_ ? nullptr : entity_->lastChild();
    }
    tree.note(note_);
    tree.insertChild(*entity_, *made_, before_);
}

int placeAmongParts(const Entity& entity) {
    int place = 0;
    for (const Entity* left = entity.previousSibling(); left != nullptr; left = left->previousSibling()) {
        ++place;
    }
    return place;
}

} // namespace quzo::platform
