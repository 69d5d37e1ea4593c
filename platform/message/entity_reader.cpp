// Reading of entities for the programs. See mail_message.h.
#include <algorithm>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/message/edit/entity.h"
#include "platform/message/mail_message.h"
#include "platform/message/message_impl.h"
#include "platform/message/values/header_readings.h"
#include "platform/message/values/readable_text.h"
#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {
namespace {

// Every entity of this platform is of this class.
Entity& own(KvMsgEntity& entity) { return static_cast<Entity&>(entity); }

// In which charsets the entity is text, empty for one that says none. Nothing when it is no text.
std::vector<std::string> textCharsets(Entity& entity) {
    const HeaderView header = entity.header().view();
    const std::vector<ContentType> types = typeReadings(header.text, *header.span);
    std::vector<std::string> charsets;
    for (const ContentType& type : types) {
        std::string charset = type.is("text") ? Entity::charsetOf(type) : std::string();
        if (type.is("text") && std::find(charsets.begin(), charsets.end(), charset) == charsets.end()) {
            charsets.push_back(std::move(charset));
        }
    }
    const bool byDefault =
        std::none_of(types.begin(), types.end(), [](const ContentType& type) { return type.valid(); });
    if (byDefault && entity.getEntityType() == kEntityLeaf) {
        charsets.emplace_back();
    }
    return charsets;
}

// Without what is beyond `maxBytes`, and without the character that lies across.
std::string cutAt(std::string text, std::size_t maxBytes) {
    if (text.size() > maxBytes) {
        std::size_t end = maxBytes;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        text.resize(end);
    }
    return text;
}

} // namespace

std::string EntityReader::contentType(KvMsgEntity& entity) { return own(entity).mediaType(); }

std::vector<std::string> EntityReader::contentTypes(KvMsgEntity& entity) {
    const HeaderView header = own(entity).header().view();
    std::vector<std::string> names{contentType(entity)};
    for (const ContentType& type : typeReadings(header.text, *header.span)) {
        std::string name = lowered(type.type).append("/").append(lowered(type.subtype));
        if (type.valid() && std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

std::vector<std::string> EntityReader::fileNames(KvMsgEntity& entity) { return own(entity).fileNames(); }

std::string EntityReader::decodedBody(KvMsgEntity& entity, std::size_t maxBytes) {
    if (entity.getEntityType() != kEntityLeaf) {
        return std::string(own(entity).body().substr(0, maxBytes)); // its parts lie in it as they stand
    }
    const std::optional<std::string_view> encoding =
        own(entity).header().rawValue("Content-Transfer-Encoding");
    return decodedTransfer(own(entity).body(), transferEncodingOf(encoding.value_or("")), maxBytes);
}

std::vector<std::string> EntityReader::texts(KvMsgEntity& entity, std::size_t maxBytes) {
    const std::vector<std::string> charsets = textCharsets(own(entity));
    std::vector<std::string> texts;
    if (charsets.empty()) {
        return texts;
    }
    const HeaderView header = own(entity).header().view();
    for (const TransferEncoding encoding : encodingReadings(header.text, *header.span)) {
        const std::string body = decodedTransfer(own(entity).body(), encoding, maxBytes);
        for (const std::string& charset : charsets) {
            std::string text = cutAt(readableText(body, charset), maxBytes);
            if (std::find(texts.begin(), texts.end(), text) == texts.end()) {
                texts.push_back(std::move(text));
            }
        }
    }
    return texts;
}

EmbeddedFormats EntityReader::embeddedFormats(KvMsgEntity& entity) {
    EmbeddedFormats found;
    if (entity.getEntityType() != kEntityLeaf) {
        return found;
    }
    for (const std::string& type : contentTypes(entity)) {
        found |= embeddedFormatsOfType(type);
    }
    for (const std::string& name : fileNames(entity)) {
        found |= embeddedFormatsOfName(name);
    }
    const HeaderView header = own(entity).header().view();
    const std::string_view body = own(entity).body();
    for (const TransferEncoding encoding : encodingReadings(header.text, *header.span)) {
        if (encoding == TransferEncoding::None) {
            found |= embeddedFormatsOfBody(body);
            continue;
        }
        if (encoding == TransferEncoding::Uuencode) {
            found.set(static_cast<std::size_t>(EmbeddedFormat::Uuencode));
        }
        found |= embeddedFormatsOfBody(decodedTransfer(body, encoding, body.size()));
    }
    return found;
}

bool EntityReader::embedded(KvMsgEntity& entity) { return own(entity).embedded(); }

std::size_t EntityReader::bodySize(KvMsgEntity& entity) { return own(entity).body().size(); }

} // namespace quzo::platform
