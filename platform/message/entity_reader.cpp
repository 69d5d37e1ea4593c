// Reading of entities for the programs. See mail_message.h.
#include <algorithm>

#include "platform/message/entity.h"
#include "platform/message/file_names.h"
#include "platform/message/mail_message.h"
#include "platform/message/message_impl.h"
#include "platform/message/readable_text.h"
#include "platform/message/transfer_encoding.h"

namespace quzo::platform {
namespace {

// Every entity of this platform is of this class.
Entity& own(KvMsgEntity& entity) { return static_cast<Entity&>(entity); }

} // namespace

std::string EntityReader::contentType(KvMsgEntity& entity) { return own(entity).mediaType(); }

std::vector<std::string> EntityReader::fileNames(KvMsgEntity& entity) {
    return fileNamesOf(own(entity).header());
}

std::string EntityReader::decodedBody(KvMsgEntity& entity, std::size_t maxBytes) {
    if (entity.getEntityType() != kEntityLeaf) {
        return std::string(own(entity).body().substr(0, maxBytes)); // its parts lie in it as they stand
    }
    const std::optional<std::string_view> encoding =
        own(entity).header().rawValue("Content-Transfer-Encoding");
    return decodedTransfer(own(entity).body(), encoding.value_or(""), maxBytes);
}

std::string EntityReader::decodedText(KvMsgEntity& entity, std::size_t maxBytes) {
    std::string text = readableText(decodedBody(entity, maxBytes), own(entity).charset());
    if (text.size() > maxBytes) {
        std::size_t end = maxBytes;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        text.resize(end);
    }
    return text;
}

bool EntityReader::embedded(KvMsgEntity& entity) { return own(entity).embedded(); }

std::size_t EntityReader::bodySize(KvMsgEntity& entity) { return own(entity).body().size(); }

} // namespace quzo::platform
