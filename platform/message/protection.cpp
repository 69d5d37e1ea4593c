// Signed and encrypted messages. See protection.h for what counts.
#include "platform/message/protection.h"
#include "platform/base/ascii.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/message/structure/content_type.h"
#include "platform/message/structure/pgp_marks.h"
#include "platform/message/structure/structure_lines.h"
#include "quzo/core/message.h"

namespace quzo::platform {

namespace {

// Encoded text bodies are searched up to this size; the text of no sensible mail is longer.
constexpr std::size_t kMaxEncodedText = 16U << 20U;
constexpr std::size_t kPiece = 64U << 10U; // bytes decoded at a time

void merge(Protection& into, const Protection& found) {
    into.isSigned = into.isSigned || found.isSigned;
    into.isEncrypted = into.isEncrypted || found.isEncrypted;
}

void mergeMarks(Protection& into, const PgpMarks& found) { merge(into, {found.isSigned, found.isEncrypted}); }

// Undoes a transfer encoding piece by piece.
class BodyDecoder {
public:
    BodyDecoder(std::string_view body, GMimeContentEncoding encoding) : body_(body) {
        g_mime_encoding_init_decode(&state_, encoding);
    }

    // Appends the next piece, made of at most `maxBytes` encoded bytes. False at the end.
    bool read(std::string& out, std::size_t maxBytes) {
        if (body_.empty()) {
            return false;
        }
        const std::string_view piece = body_.substr(0, maxBytes);
        body_.remove_prefix(piece.size());
        const std::size_t before = out.size();
        out.resize(before + g_mime_encoding_outlen(&state_, piece.size()));
        out.resize(before + g_mime_encoding_step(&state_, piece.data(), piece.size(), out.data() + before));
        return true;
    }

private:
    std::string_view body_;
    GMimeEncoding state_{};
};

// Marks in a body that is stored in `encoding`. Pieces are searched up to their last line break, the rest
// goes before the next piece, shortened where a line is longer than any mark.
Protection findEncodedMarks(std::string_view body, GMimeContentEncoding encoding) {
    Protection found;
    BodyDecoder decoder(body.substr(0, kMaxEncodedText), encoding);
    std::string text;
    bool more = true;
    while (more && !(found.isSigned && found.isEncrypted)) {
        more = decoder.read(text, kPiece);
        const std::size_t lastBreak = text.rfind('\n');
        const std::size_t line = lastBreak == std::string::npos ? 0 : lastBreak + 1;
        mergeMarks(found, findPgpMarks(text, 0, more ? line : text.size()));
        text.erase(0, line);
        if (text.size() > kLongestPgpMark) {
            mergeMarks(found, findPgpMarks(text, 0, text.size()));
            text.assign(1, ' '); // the middle of a line
        }
    }
    return found;
}

std::vector<GMimeContentEncoding> encodingsOf(std::string_view text, const HeaderSpan& header) {
    std::vector<GMimeContentEncoding> encodings;
    for (const FieldSpan& field : header.fields) {
        if (!equalsNoCase(fieldName(text, field), "content-transfer-encoding")) {
            continue;
        }
        const std::string value(text.substr(field.valueBegin, field.end - field.valueBegin));
        const GMimeContentEncoding encoding = g_mime_content_encoding_from_string(value.c_str());
        const bool plain = encoding != GMIME_CONTENT_ENCODING_BASE64 &&
                           encoding != GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE &&
                           encoding != GMIME_CONTENT_ENCODING_UUENCODE;
        if (!plain && std::find(encodings.begin(), encodings.end(), encoding) == encodings.end()) {
            encodings.push_back(encoding);
        }
    }
    return encodings;
}

Protection findInline(std::string_view text, const HeaderSpan& header, std::size_t bodyEnd) {
    Protection found;
    mergeMarks(found, findPgpMarks(text, header.bodyBegin, bodyEnd));
    const std::string_view body = text.substr(header.bodyBegin, bodyEnd - header.bodyBegin);
    for (const GMimeContentEncoding encoding : encodingsOf(text, header)) {
        merge(found, findEncodedMarks(body, encoding));
    }
    return found;
}

// ---- S/MIME

// The kind of CMS data by the object identifier at its start; data that cannot be read counts as encrypted.
Protection readCmsKind(std::string_view data) {
    using namespace std::string_view_literals;
    constexpr std::string_view kPkcs7 = "\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07"sv; // and one byte more
    constexpr std::string_view kContentTypes =
        "\x06\x0b\x2a\x86\x48\x86\xf7\x0d\x01\x09\x10\x01"sv; // the same
    constexpr std::size_t kHead = 40;                         // it follows the outermost length
    constexpr char kSigned = 2;
    constexpr char kSignedAndEnveloped = 4;
    constexpr char kCompressed = 9;
    data = data.substr(0, kHead);
    std::size_t at = data.find(kPkcs7);
    if (at != std::string_view::npos && at + kPkcs7.size() < data.size()) {
        const char kind = data[at + kPkcs7.size()];
        return {kind == kSigned || kind == kSignedAndEnveloped, kind != kSigned};
    }
    at = data.find(kContentTypes);
    const bool compressed = at != std::string_view::npos && at + kContentTypes.size() < data.size() &&
                            data[at + kContentTypes.size()] == kCompressed;
    return {false, !compressed};
}

Protection readCms(std::string_view text, const HeaderSpan& header, std::size_t bodyEnd) {
    constexpr std::size_t kEncodedHead = 512; // enough for the head of the data in any encoding
    const std::string_view body =
        text.substr(header.bodyBegin, std::min(bodyEnd - header.bodyBegin, kEncodedHead));
    const std::vector<GMimeContentEncoding> encodings = encodingsOf(text, header);
    if (encodings.empty()) {
        return readCmsKind(body);
    }
    Protection found;
    for (const GMimeContentEncoding encoding : encodings) {
        std::string data;
        BodyDecoder(body, encoding).read(data, body.size());
        merge(found, readCmsKind(data));
    }
    return found;
}

bool isCms(const ContentType& contentType) {
    return contentType.is("application", "pkcs7-mime") || contentType.is("application", "x-pkcs7-mime");
}

// What the smime-type of such a Content-Type says; nothing when it is none that is known.
std::optional<Protection> readSmimeType(const ContentType& contentType) {
    std::string storage;
    const std::string_view kind = findParameter(contentType.parameters, "smime-type", storage);
    const auto isOneOf = [&](std::string_view a, std::string_view b) {
        return equalsNoCase(kind, a) || equalsNoCase(kind, b);
    };
    if (isOneOf("signed-data", "signed-receipt")) {
        return Protection{true, false};
    }
    if (isOneOf("enveloped-data", "authenveloped-data")) {
        return Protection{false, true};
    }
    if (isOneOf("certs-only", "compressed-data")) {
        return Protection{};
    }
    return std::nullopt;
}

// All that the types of an entity say about it.
Protection readTypes(const std::vector<ContentType>& types, std::string_view text, const HeaderSpan& header,
                     std::size_t bodyEnd) {
    Protection found;
    bool dataDecides = false;
    for (const ContentType& contentType : types) {
        if (contentType.is("multipart")) {
            merge(found, {equalsNoCase(contentType.subtype, "signed"),
                          equalsNoCase(contentType.subtype, "encrypted")});
        } else if (isCms(contentType)) {
            const std::optional<Protection> kind = readSmimeType(contentType);
            dataDecides = dataDecides || !kind;
            merge(found, kind.value_or(Protection{}));
        }
    }
    if (dataDecides) {
        merge(found, readCms(text, header, bodyEnd));
    }
    return found;
}

// ---- the body

bool isText(const std::vector<ContentType>& types) {
    const auto mayBeText = [](const ContentType& read) { return !read.valid() || read.is("text"); };
    return types.empty() || std::any_of(types.begin(), types.end(), mayBeText);
}

bool isMarkedAttachment(std::string_view text, const HeaderSpan& header) {
    const FieldSpan* field = findField(text, header, "content-disposition");
    if (field == nullptr) {
        return false;
    }
    // The kind of disposition is written as a type without subtype is.
    return readContentType(text.substr(field->valueBegin, field->end - field->valueBegin)).is("attachment");
}

// The entity behind a subtree.
std::size_t behind(const Structure& structure, std::size_t entity) {
    for (std::uint32_t up = static_cast<std::uint32_t>(entity); up != EntitySpan::kNone;
         up = structure.entities[up].parent) {
        if (structure.entities[up].nextSibling != EntitySpan::kNone) {
            return structure.entities[up].nextSibling;
        }
    }
    return structure.entities.size();
}

} // namespace

Protection findProtection(std::string_view text, const Structure& structure) {
    Protection found;
    std::size_t i = 0;
    while (i < structure.entities.size()) {
        const EntitySpan& entity = structure.entities[i];
        const std::vector<ContentType> types = allContentTypes(text, entity.header);
        merge(found, readTypes(types, text, entity.header, entity.bodyEnd));
        const bool leaf = entity.type == kEntityLeaf;
        if (leaf && (i == 0 || (isText(types) && !isMarkedAttachment(text, entity.header)))) {
            merge(found, findInline(text, entity.header, entity.bodyEnd));
            break;
        }
        // What lies in an attached message is not this message's body.
        i = leaf || entity.type == kEntityMultipart ? i + 1 : behind(structure, i);
    }
    return found;
}

RootProtection findRootProtection(std::string_view text, const HeaderSpan& rootHeader) {
    const std::vector<ContentType> types = allContentTypes(text, rootHeader);
    Protection found = readTypes(types, text, rootHeader, text.size());
    const auto isMultipart = [](const ContentType& read) { return read.is("multipart"); };
    const bool mayHaveParts = !rootHeader.limited && std::any_of(types.begin(), types.end(), isMultipart);
    const bool mayBeMessage = std::any_of(types.begin(), types.end(), isEmbeddedMessage);
    RootProtection result;
    if (mayHaveParts || mayBeMessage) {
        // The tree can add to this, but not take away.
        if (found.isSigned) {
            result.isSigned = true;
        }
        if (found.isEncrypted) {
            result.isEncrypted = true;
        }
        return result;
    }
    merge(found, findInline(text, rootHeader, text.size()));
    result.isSigned = found.isSigned;
    result.isEncrypted = found.isEncrypted;
    return result;
}

} // namespace quzo::platform
