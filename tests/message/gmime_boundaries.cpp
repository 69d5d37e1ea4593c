// What the two make of boundaries and types, and where that makes the trees fall apart. See
// gmime_prediction.h.
#include <gmime/gmime.h>

#include <algorithm>
#include <optional>

#include "platform/base/ascii.h"
#include "platform/message/structure/content_type.h"
#include "platform/message/structure/structure_lines.h"
#include "quzo/core/message.h"
#include "tests/message/gmime_prediction.h"
#include "tests/message/gmime_tree.h"

namespace quzo::platform::test {

namespace {

bool isContentType(std::string_view text, const FieldSpan& field) {
    return equalsNoCase(fieldName(text, field), "content-type");
}

// What GMime reads of the Content-Type field that it goes by, the last.
struct GmimeReading {
    std::size_t fields = 0;
    bool multipart = false;
    bool message = false;
    bool readable = false;
    std::optional<std::string> boundary;
};

GmimeReading gmimeReading(std::string_view text, const HeaderSpan& header) {
    GmimeReading reading;
    for (const FieldSpan& field : header.fields) {
        if (!isContentType(text, field)) {
            continue;
        }
        std::string value(text.substr(field.valueBegin, field.end - field.valueBegin));
        std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; }); // so GMime unfolds
        const GObjectHandle<GMimeContentType> read(g_mime_content_type_parse(nullptr, value.c_str()));
        const auto is = [&](const char* type, const char* subtype) {
            return g_mime_content_type_is_type(read.get(), type, subtype) != 0;
        };
        const char* boundary = g_mime_content_type_get_parameter(read.get(), "boundary");
        reading.multipart = is("multipart", "*");
        reading.message = is("message", "rfc822") || is("message", "rfc2822") || is("message", "global") ||
                          is("message", "news");
        reading.boundary = boundary == nullptr ? std::nullopt : std::optional<std::string>(boundary);
        reading.readable = readContentType(value).valid();
        ++reading.fields;
    }
    return reading;
}

// Whether a line may be a boundary line of either of two multiparts.
bool clash(const std::string& a, std::string_view b) {
    return a == b || a == std::string(b) + "--" || a + "--" == b;
}

// An empty boundary is another than none.
bool sameBoundary(std::string_view ours, const std::optional<std::string>& gmime) {
    return gmime ? ours.data() != nullptr && ours == *gmime : ours.data() == nullptr;
}

} // namespace

std::optional<Difference> GmimePrediction::readsOtherwise(std::size_t i) const {
    const EntitySpan& span = entity(i);
    const GmimeReading gmime = gmimeReading(text_, span.header);
    const ContentType ours = governingContentType(text_, span.header);
    // What cannot be read counts as none, and in a digest that makes a message.
    const bool inDigest = span.parent != EntitySpan::kNone &&
                          governingContentType(text_, entity(span.parent).header).is("multipart", "digest");
    if (inDigest && gmime.fields > 1 && ours.valid() != gmime.readable) {
        return Difference::twoContentTypes;
    }
    std::string storage;
    std::string_view boundary = span.boundary;
    if (ours.is("multipart") && span.type != kEntityMultipart) {
        boundary = findParameter(ours.parameters, "boundary", storage);
    }
    if (ours.is("multipart") == gmime.multipart && isEmbeddedMessage(ours) == gmime.message &&
        (!gmime.multipart || sameBoundary(boundary, gmime.boundary))) {
        return std::nullopt;
    }
    return gmime.fields > 1 ? Difference::twoContentTypes : Difference::lenientBoundary;
}

// Whether the header ends, the empty line missing, at a boundary line of a multipart that it describes
// itself.
bool GmimePrediction::endsAtOwnBoundary(std::size_t i) const {
    const HeaderSpan& header = entity(i).header;
    const std::string_view line =
        text_.substr(header.end, findLineEnd(text_, header.end, text_.size()) - header.end);
    if (header.end != header.bodyBegin || !line.starts_with("--")) {
        return false;
    }
    const std::vector<std::string> own = labels(i);
    const std::string_view label = line.substr(2, line.find_last_not_of(" \t\r\n") - 1);
    return std::find(own.begin(), own.end(), label) != own.end();
}

// Every boundary that one of the two may go by in this entity, also when no part was found in it.
std::vector<std::string> GmimePrediction::labels(std::size_t i) const {
    std::vector<std::string> labels;
    if (const std::optional<std::string> boundary = gmimeReading(text_, entity(i).header).boundary) {
        labels.push_back(*boundary);
    }
    for (const FieldSpan& field : entity(i).header.fields) {
        if (isContentType(text_, field)) {
            const ContentType contentType =
                readContentType(text_.substr(field.valueBegin, field.end - field.valueBegin));
            std::string storage;
            const std::string_view boundary = findParameter(contentType.parameters, "boundary", storage);
            if (boundary.data() != nullptr) {
                labels.emplace_back(boundary);
            }
        }
    }
    for (std::string& label : labels) {
        label.resize(label.find_last_not_of(" \t\r\n") + 1);
    }
    return labels;
}

bool GmimePrediction::closesEarly(std::size_t i, const std::string& label) const {
    const EntitySpan& span = entity(i);
    const std::size_t end = span.type == kEntityMultipart ? span.firstBoundary : span.bodyEnd;
    const std::string close = "--" + label + "--";
    for (std::size_t line = span.header.bodyBegin; line < end;) {
        const std::size_t next = findLineEnd(text_, line, end);
        const std::string_view content = text_.substr(line, next - line);
        if (content.starts_with(close) &&
            content.find_first_not_of(" \t\r\n", close.size()) == std::string_view::npos) {
            return true;
        }
        line = next;
    }
    return false;
}

bool GmimePrediction::closesEarly(std::size_t i) const {
    return entity(i).type == kEntityMultipart && closesEarly(i, std::string(entity(i).boundary));
}

bool GmimePrediction::isOpenAround(std::size_t i, const std::string& label) const {
    for (std::size_t up = entity(i).parent; up != EntitySpan::kNone; up = entity(up).parent) {
        if (entity(up).boundary.data() != nullptr && clash(label, entity(up).boundary)) {
            return true;
        }
    }
    return false;
}

// Whether the body of an entity may hold a multipart with a boundary that is open around the entity.
bool GmimePrediction::namesOuterBoundary(std::size_t i) const {
    const EntitySpan& span = entity(i);
    const std::string_view body = text_.substr(span.header.bodyBegin, span.bodyEnd - span.header.bodyBegin);
    for (std::size_t up = span.parent; up != EntitySpan::kNone; up = entity(up).parent) {
        const std::string label(entity(up).boundary);
        const bool isOpen = entity(up).boundary.data() != nullptr;
        if (isOpen && (body.find("=" + label) != std::string_view::npos ||
                       body.find("\"" + label) != std::string_view::npos)) {
            return true;
        }
    }
    return false;
}

// Why only one of the two knows a boundary here, or closes it, that a multipart further out has as well, if
// so: all of that falls apart in another way then.
std::optional<Difference> GmimePrediction::hidesOuterBoundary(std::size_t i) const {
    for (const std::string& label : labels(i)) {
        if (!isOpenAround(i, label)) {
            continue;
        }
        std::optional<Difference> difference = readsOtherwise(i);
        for (std::size_t up = entity(i).parent; up != EntitySpan::kNone; up = entity(up).parent) {
            const bool clashes = entity(up).boundary.data() != nullptr && clash(label, entity(up).boundary);
            if (clashes && closesEarly(i, label)) {
                return Difference::earlyClose;
            }
            if (clashes && difference) {
                return difference;
            }
            difference = difference ? difference : readsOtherwise(up);
            if (!difference && closesEarly(up)) {
                difference = Difference::earlyClose;
            }
        }
    }
    return std::nullopt;
}

} // namespace quzo::platform::test
