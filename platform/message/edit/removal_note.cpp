// See removal_note.h.
#include "platform/message/edit/removal_note.h"

#include <limits>

#include "platform/base/visible_text.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/prepared_edit.h"
#include "platform/message/values/transfer_encoding.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

// Bytes of the part as somebody would save it.
std::size_t decodedSize(const Entity& entity) {
    const TransferEncoding encoding =
        transferEncodingOf(entity.header().rawValue("Content-Transfer-Encoding").value_or(""));
    const std::string_view body = entity.body();
    return encoding == TransferEncoding::None
               ? body.size()
               : decodedTransfer(body, encoding, std::numeric_limits<std::size_t>::max()).size();
}

bool isAmongAlternatives(const Entity& entity) {
    const Entity* parent = entity.parent();
    return parent == nullptr || parent->span().type != kEntityMultipart ||
           parent->header().contentType().is("multipart", "alternative");
}

} // namespace

std::string removalNoteFor(Entity& entity) {
    const std::string& wanted = entity.context().removalNote;
    std::string note;
    for (std::size_t at = 0; at < wanted.size();) {
        const std::string_view rest = std::string_view(wanted).substr(at);
        const auto takes = [&](std::string_view mark) {
            const bool there = rest.starts_with(mark);
            at += there ? mark.size() : 0;
            return there;
        };
        if (takes("%NAME%")) {
            const KvMsgFileInfo* file = entity.getFileInfo();
            const bool named = file != nullptr && file->fileName != nullptr && *file->fileName != '\0';
            note += named ? visibleText(file->fileName) : std::string("?");
        } else if (takes("%TYPE%")) {
            note += visibleText(entity.mediaType());
        } else if (takes("%SIZE%")) {
            note += std::to_string(decodedSize(entity));
        } else {
            note += wanted[at++];
        }
    }
    return note;
}

void placeRemovalNote(Entity& entity, const std::string& note) {
    if (note.empty() || isAmongAlternatives(entity)) {
        return;
    }
    PartEdit edit;
    if (edit.prepareText(*entity.parent(), {note, "utf-8"}, placeAmongParts(entity)) == kErrorNone) {
        edit.carryOut();
    }
}

} // namespace quzo::platform
