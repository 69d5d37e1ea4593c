// Replacing the body of an entity. See tree_edits.h.
#include <algorithm>
#include <optional>
#include <string>

#include "platform/base/ascii.h"
#include "platform/base/line_breaks.h"
#include "platform/charset/charset.h"
#include "platform/message/edit/content_fields.h"
#include "platform/message/edit/edit_checks.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/prepared_edit.h"
#include "platform/message/edit/tree_edits.h"
#include "platform/message/values/parameters.h"
#include "platform/message/values/transfer_encoder.h"
#include "platform/message/values/transfer_encoding.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

// The encodings in which a body can be stored, best first.
using Names = std::vector<std::string>;

Names encodingsFor(std::string_view bytes, const ContentType& type) {
    const std::string_view plain = plainEncodingOf(bytes);
    if (type.is("multipart") || isEmbeddedMessage(type)) {
        return {std::string(plain)}; // these may not be encoded
    }
    if (plain == "7bit") {
        return {"7bit", "base64"}; // no boundary can stand in base64
    }
    return type.is("text") && isMostlyAscii(bytes) ? Names{"quoted-printable", "base64"} : Names{"base64"};
}

// The bytes in an encoding; nothing when it cannot hold them.
std::optional<std::string> encoded(std::string_view bytes, std::string_view encoding,
                                   std::string_view lineBreak) {
    const TransferEncoding known = transferEncodingOf(encoding);
    if (known != TransferEncoding::None) {
        return known == TransferEncoding::Uuencode ? std::nullopt
                                                   : std::optional(encodedTransfer(bytes, known, lineBreak));
    }
    const std::string_view least = plainEncodingOf(bytes);
    const bool fits = encoding == least || encoding == "binary" || (encoding == "8bit" && least == "7bit");
    return fits ? std::optional(std::string(bytes)) : std::nullopt;
}

// The field Content-Type, without its line break; empty when the texts cannot stand in one.
std::string typeField(const Entity& entity, const NewBody& body, std::string_view lineBreak) {
    const std::string type = body.type == nullptr ? entity.mediaType() : std::string(body.type);
    const ContentType read = readContentType(type);
    if (!read.valid() || !read.parameters.empty()) {
        return {};
    }
    const std::string charset = body.charset == nullptr ? entity.charset() : std::string(body.charset);
    constexpr std::string_view kName = "Content-Type:";
    std::string value = " " + lowered(read.type) + "/" + lowered(read.subtype);
    if (!charset.empty() && (read.is("text") || body.charset != nullptr)) {
        if (!isCharsetName(charset)) {
            return {};
        }
        value = replaceParameter(value, "charset", charset, kName.size(), lineBreak);
    }
    return std::string(kName).append(value);
}

bool describesBody(std::string_view name) {
    constexpr std::string_view kNames[] = {"Content-Type", "Content-Transfer-Encoding", "Content-MD5",
                                           "Content-Length"};
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&](std::string_view one) { return equalsNoCase(one, name); });
}

} // namespace

int replaceBody(Entity& entity, const NewBody& body) {
    const int error = checkEditable(entity);
    if (error != kErrorNone) {
        return error;
    }
    MessageContext& context = entity.context();
    const std::string_view lineBreak = context.source.lineBreak();
    const std::string typeLine = typeField(entity, body, lineBreak);
    if (typeLine.empty()) {
        return kErrorInvalidArgument;
    }
    const ContentType type = readContentType(std::string_view(typeLine).substr(typeLine.find(':') + 1));
    const std::string bytes =
        type.is("text") ? withLineBreaks(body.bytes, lineBreak) : std::string(body.bytes);
    const Names encodings =
        body.encoding == nullptr ? encodingsFor(bytes, type) : Names{lowered(body.encoding)};
    for (const std::string& encoding : encodings) {
        const std::optional<std::string> stored = encoded(bytes, encoding, lineBreak);
        if (!stored) {
            return kErrorInvalidArgument;
        }
        std::vector<std::string> fields{typeLine, "Content-Transfer-Encoding: " + encoding};
        for (std::string& field : fields) {
            field.append(lineBreak);
        }
        addMimeVersion(entity, fields);
        BodyEdit edit;
        const int fault = edit.prepare(entity, *stored, {fields, fields, [&body](std::string_view name) {
                                                             return body.anew ? describesContent(name)
                                                                              : describesBody(name);
                                                         }});
        if (fault == kErrorNone) {
            edit.carryOut();
        }
        if (fault != kErrorInvalidArgument) {
            return fault;
        }
    }
    return kErrorInvalidArgument;
}

} // namespace quzo::platform
