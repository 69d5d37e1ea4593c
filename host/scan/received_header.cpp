// Finding and decoding fields over the scan's offsets; no object is made for a field that nobody asks for.
#include "host/scan/received_header.h"

#include "platform/base/ascii.h"
#include "platform/message/values/readable_text.h"

namespace quzo::host {

ReceivedHeader::ReceivedHeader(std::string_view message, const platform::Limits& limits)
    : message_(message), header_(platform::scanHeader(message, 0, message.size(), limits)) {}

bool ReceivedHeader::has(std::string_view name) const {
    return platform::findField(message_, header_, name) != nullptr;
}

std::vector<std::string_view> ReceivedHeader::rawValues(std::string_view name) const {
    std::vector<std::string_view> values;
    for (const platform::FieldSpan& field : header_.fields) {
        if (platform::equalsNoCase(platform::fieldName(message_, field), name)) {
            values.push_back(message_.substr(field.valueBegin, field.end - field.valueBegin));
        }
    }
    return values;
}

std::vector<std::string> ReceivedHeader::values(std::string_view name) const {
    std::vector<std::string> values;
    for (const std::string_view raw : rawValues(name)) {
        values.push_back(platform::readableValue(raw));
    }
    return values;
}

} // namespace quzo::host
