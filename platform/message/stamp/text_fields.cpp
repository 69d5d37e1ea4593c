// See text_fields.h.
#include "platform/message/stamp/text_fields.h"

#include <algorithm>

#include "platform/base/ascii.h"
#include "platform/message/edit/edit_checks.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/values/parameters.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kType = "Content-Type:";

// The field that counts, with its parameters as they stand, but for the charset.
std::string typeField(const Entity& part, const std::string& charset) {
    const ContentType type = part.header().contentType();
    std::string value(" text/plain");
    if (type.valid()) {
        // What stands between the type and its first parameter is left out: a parameter that lacks its
        // semicolon would make the whole value unreadable to some.
        const std::size_t first = std::min(type.parameters.find(';'), type.parameters.size());
        value = std::string(" ").append(type.type).append("/").append(type.subtype);
        value.append(trimmed(type.parameters.substr(first)));
    }
    if (!charset.empty()) {
        value = replaceParameter(value, "charset", charset, kType.size(), part.context().source.lineBreak());
    }
    return std::string(kType).append(value).append(part.context().source.lineBreak());
}

} // namespace

TextFields::TextFields(const Entity& part, const std::string& charset, const std::string& encoding)
    : typeChanges_(!charset.empty()), encodingChanges_(!encoding.empty()) {
    described_.push_back(typeField(part, charset));
    if (typeChanges_) {
        written_.push_back(described_.back());
    }
    if (encodingChanges_) {
        written_.push_back(std::string("Content-Transfer-Encoding: ")
                               .append(encoding)
                               .append(part.context().source.lineBreak()));
        described_.push_back(written_.back());
    }
    if (typeChanges_ || encodingChanges_) {
        addMimeVersion(part, written_);
    }
}

// A field goes that is written anew, or that tells of the former bytes.
bool TextFields::replaces(std::string_view name) const {
    return (typeChanges_ && equalsNoCase(name, "Content-Type")) ||
           (encodingChanges_ && equalsNoCase(name, "Content-Transfer-Encoding")) ||
           equalsNoCase(name, "Content-MD5") || equalsNoCase(name, "Content-Length");
}

TextFormat formatOf(const Entity& part) {
    std::string storage;
    const std::string_view format = findParameter(part.header().contentType().parameters, "format", storage);
    return {equalsNoCase(trimmed(format), "flowed")};
}

} // namespace quzo::platform
