// Contradicting fields. See header_readings.h.
#include "platform/message/values/header_readings.h"
#include "platform/base/ascii.h"

#include <algorithm>

namespace quzo::platform {
namespace {

bool same(const ContentType& a, const ContentType& b) {
    return a.is(b.type, b.subtype) && a.parameters == b.parameters;
}

void addOnce(std::vector<ContentType>& types, const ContentType& type) {
    if (!type.type.empty() &&
        std::none_of(types.begin(), types.end(), [&](const ContentType& one) { return same(one, type); })) {
        types.push_back(type);
    }
}

} // namespace

std::vector<ContentType> typeReadings(std::string_view text, const HeaderSpan& header) {
    std::vector<ContentType> all = allContentTypes(text, header);
    std::erase_if(all, [](const ContentType& type) { return !type.valid(); });
    std::vector<ContentType> types;
    addOnce(types, governingContentType(text, header));
    if (!all.empty()) {
        addOnce(types, all.front());
        addOnce(types, all.back());
    }
    return types;
}

std::vector<TransferEncoding> encodingReadings(std::string_view text, const HeaderSpan& header) {
    std::vector<TransferEncoding> encodings;
    for (const FieldSpan& field : header.fields) {
        if (!equalsNoCase(fieldName(text, field), "content-transfer-encoding")) {
            continue;
        }
        const TransferEncoding encoding =
            transferEncodingOf(text.substr(field.valueBegin, field.end - field.valueBegin));
        if (std::find(encodings.begin(), encodings.end(), encoding) == encodings.end()) {
            encodings.push_back(encoding);
        }
    }
    if (encodings.empty()) {
        encodings.push_back(TransferEncoding::None);
    }
    return encodings;
}

} // namespace quzo::platform
