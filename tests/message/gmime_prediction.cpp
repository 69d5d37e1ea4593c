// The expectations of GMime. See gmime_prediction.h.
#include "tests/message/gmime_prediction.h"

#include <gmime/gmime.h>

#include <algorithm>

#include "platform/message/content_type.h"
#include "platform/message/structure_lines.h"
#include "quzo/core/message.h"
#include "tests/message/gmime_tree.h"

namespace quzo::platform::test {

namespace {

// GMime reads blocks of this size. A field name must fit into what remains of one.
constexpr std::size_t kGmimeBlock = 4096;
constexpr std::size_t kGmimeName = 3800;
constexpr std::string_view kBlanks = " \t";

bool isContentType(std::string_view text, const FieldSpan& field) {
    return equalsNoCase(fieldName(text, field), "content-type");
}

// How far `line` may be a field name to GMime.
std::size_t nameLength(std::string_view line) {
    std::size_t n = 0;
    while (n < line.size() && static_cast<unsigned char>(line[n]) > 32 && line[n] != 127 && line[n] != ':') {
        ++n;
    }
    return n;
}

bool hasColonBehind(std::string_view line, std::size_t name) {
    const std::size_t colon = line.find_first_not_of(kBlanks, name);
    return colon != std::string_view::npos && line[colon] == ':';
}

bool isFieldLine(std::string_view line) {
    const std::size_t name = nameLength(line);
    return name > 0 && hasColonBehind(line, name);
}

// What GMime reads of the Content-Type field that it goes by, the last.
struct GmimeReading {
    std::size_t fields = 0;
    bool multipart = false;
    bool message = false;
    std::string boundary;
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
        reading.boundary = boundary == nullptr ? "" : boundary;
        ++reading.fields;
    }
    return reading;
}

} // namespace

std::optional<Difference> GmimePrediction::readsOtherwise(std::size_t i) const {
    const EntitySpan& span = entity(i);
    const GmimeReading gmime = gmimeReading(text_, span.header);
    const ContentType ours = governingContentType(text_, span.header);
    std::string storage;
    std::string_view boundary = span.boundary;
    if (ours.is("multipart") && span.type != kEntityMultipart) {
        boundary = findParameter(ours.parameters, "boundary", storage);
        if (boundary.data() != nullptr && boundary.empty()) {
            return Difference::emptyBoundary;
        }
    }
    if (ours.is("multipart") == gmime.multipart && isEmbeddedMessage(ours) == gmime.message &&
        (!gmime.multipart || boundary == gmime.boundary)) {
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
    std::vector<std::string> labels{gmimeReading(text_, entity(i).header).boundary};
    for (const FieldSpan& field : entity(i).header.fields) {
        if (isContentType(text_, field)) {
            const ContentType contentType =
                readContentType(text_.substr(field.valueBegin, field.end - field.valueBegin));
            std::string storage;
            labels.emplace_back(findParameter(contentType.parameters, "boundary", storage));
        }
    }
    for (std::string& label : labels) {
        label.resize(label.find_last_not_of(" \t\r\n") + 1);
    }
    std::erase(labels, "");
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

namespace {

// Whether a line may be a boundary line of either of two multiparts.
bool clash(const std::string& a, std::string_view b) {
    return a == b || a == std::string(b) + "--" || a + "--" == b;
}

} // namespace

bool GmimePrediction::isOpenAround(std::size_t i, const std::string& label) const {
    for (std::size_t up = entity(i).parent; up != EntitySpan::kNone; up = entity(up).parent) {
        if (clash(label, entity(up).boundary)) {
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
        if (!label.empty() && (body.find("=" + label) != std::string_view::npos ||
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
            if (clash(label, entity(up).boundary) && closesEarly(i, label)) {
                return Difference::earlyClose;
            }
            if (clash(label, entity(up).boundary) && difference) {
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

bool GmimePrediction::hasEmptyLine(std::size_t begin, std::size_t end) const {
    for (std::size_t line = begin; line < end; line = findLineEnd(text_, line, end)) {
        if (isEmptyLine(text_, line, text_.size())) {
            return true;
        }
    }
    return false;
}

// Where GMime stops to look for fields.
std::size_t GmimePrediction::headerStop(std::size_t i) const {
    return entity(i).header.readable ? entity(i).header.end : entity(i).bodyEnd;
}

// Where the scan's header block ends, fields or not.
std::size_t GmimePrediction::scanStop(std::size_t i) const {
    std::size_t at = entity(i).header.end;
    const std::size_t end = headerStop(i);
    while (at < end && !isEmptyLine(text_, at, text_.size())) {
        at = findLineEnd(text_, at, end);
    }
    return at;
}

// Whether GMime, still looking for the first field of a part, takes the boundary line behind it for junk.
bool GmimePrediction::swallowsBoundary(std::size_t i) const {
    const HeaderSpan& header = entity(i).header;
    return header.fields.empty() && header.bodyBegin == header.end && entity(i).bodyEnd != text_.size() &&
           !hasEmptyLine(header.begin, boundaryBehind(entity(i).bodyEnd));
}

// Whether GMime has to fill its buffer inside a block with junk in it, not being the root's.
bool GmimePrediction::fillsBufferInJunk(std::size_t i) const {
    const std::size_t begin = blockBegin(i);
    const std::size_t end = headerStop(i);
    std::size_t known = 0;
    for (const FieldSpan& field : entity(i).header.fields) {
        known += field.end - field.begin;
    }
    return i != 0 && known != end - begin && begin / kGmimeBlock != end / kGmimeBlock;
}

bool GmimePrediction::hasLongName(std::size_t i) const {
    const std::size_t end = headerStop(i);
    for (std::size_t line = entity(i).header.begin; line < end; line = findLineEnd(text_, line, end)) {
        if (nameLength(text_.substr(line, end - line)) > kGmimeName) {
            return true;
        }
    }
    return false;
}

bool GmimePrediction::hasLoneReturn(const HeaderSpan& header) const {
    for (const FieldSpan& field : header.fields) {
        for (std::size_t i = field.valueBegin; isContentType(text_, field) && i < field.end; ++i) {
            if (text_[i] == '\r' && text_.substr(i, 2) != "\r\n") {
                return true;
            }
        }
    }
    return false;
}

std::optional<Difference> GmimePrediction::leavesScanAt(std::size_t i) const {
    const EntitySpan& span = entity(i);
    const std::string_view behind = text_.substr(scanStop(i));
    if (hasLongName(i)) {
        return Difference::longJunk;
    }
    if (swallowsBoundary(i)) {
        return Difference::boundaryFirst;
    }
    if (fillsBufferInJunk(i)) {
        return Difference::bufferEdge;
    }
    if (endsAtOwnBoundary(i)) {
        return Difference::ownBoundary;
    }
    if (i != 0 && span.header.readable && span.header.end == span.header.bodyBegin && isFieldLine(behind)) {
        return Difference::boundaryIsField;
    }
    const bool endsInReturn = text_.ends_with('\r') && span.header.end == span.header.bodyBegin;
    if (behind.starts_with("\r\r") || endsInReturn || hasLoneReturn(span.header)) {
        return Difference::carriageReturn;
    }
    const auto difference = span.header.readable ? readsOtherwise(i) : std::optional(Difference::junkHeader);
    if (difference && namesOuterBoundary(i)) {
        return difference;
    }
    return hidesOuterBoundary(i);
}

// Starts of a message of which GMime may or may not make something.
std::optional<Difference> GmimePrediction::startsOddly() const {
    const std::string_view start = text_.substr(entity(0).header.begin);
    if (start == "\r") {
        return Difference::carriageReturn;
    }
    if (start.empty() && !text_.empty() && text_.back() != '\n') {
        return Difference::endsInName; // of an mbox line
    }
    if (hasColonBehind(start, 0) && start.find_first_of(kBlanks) == 0) {
        return Difference::namelessField;
    }
    return std::nullopt;
}

std::optional<Difference> GmimePrediction::partsWays() const {
    std::optional<Difference> found = startsOddly();
    for (std::size_t i = 0; !found && i < structure_.entities.size(); ++i) {
        found = leavesScanAt(i);
    }
    return found;
}

std::optional<Difference> GmimePrediction::seesNothing() const {
    const std::size_t begin = entity(0).header.begin;
    if (text_.empty()) {
        return Difference::noData;
    }
    if (begin < text_.size() && !isEmptyLine(text_, begin, text_.size()) &&
        !isFieldLine(text_.substr(begin))) {
        return Difference::junkFirst;
    }
    return endsInName(0) ? std::optional(Difference::endsInName) : std::nullopt;
}

bool GmimePrediction::endsInName(std::size_t i) const {
    const HeaderSpan& header = entity(i).header;
    const std::size_t lastLine = text_.rfind('\n') + 1;
    const std::string_view line = text_.substr(lastLine);
    const bool continued = line.find_first_of(kBlanks) == 0;
    if (line.empty() || lastLine < blockBegin(i) || (continued && !header.fields.empty()) ||
        line.find_first_not_of(kBlanks, nameLength(line)) != std::string_view::npos) {
        return false;
    }
    if (header.readable) {
        return header.end == header.bodyBegin && (header.end == text_.size() || header.end == lastLine);
    }
    const std::size_t stop = boundaryBehind(entity(i).bodyEnd);
    return !hasEmptyLine(header.begin, stop) && (stop == text_.size() || stop == lastLine);
}

std::size_t GmimePrediction::blockBegin(std::size_t i) const {
    if (i == 0) {
        return 0;
    }
    const EntitySpan& parent = entity(entity(i).parent);
    return parent.type == kEntityMultipart ? entity(i).header.begin : parent.header.bodyBegin;
}

// The boundary line behind a body.
std::size_t GmimePrediction::boundaryBehind(std::size_t bodyEnd) const {
    const std::string_view rest = text_.substr(bodyEnd);
    const bool behindBreak = rest.starts_with("\r\n") || rest.starts_with('\n');
    return behindBreak ? findLineEnd(text_, bodyEnd, text_.size()) : bodyEnd;
}

// What GMime takes off in front of a boundary line: as much as its own line break has.
std::size_t GmimePrediction::taken(std::size_t boundary) const {
    const std::size_t lf = std::min(text_.find('\n', boundary), text_.size());
    return text_[lf - 1] == '\r' ? 2 : 1;
}

std::size_t GmimePrediction::bodyEnd(std::size_t begin, std::size_t bodyEnd) const {
    if (bodyEnd == text_.size()) {
        return bodyEnd;
    }
    const std::size_t boundary = boundaryBehind(bodyEnd);
    return boundary - std::min(boundary - begin, taken(boundary));
}

std::string GmimePrediction::face(std::size_t begin, std::size_t bodyEnd) const {
    std::size_t end = this->bodyEnd(begin, bodyEnd);
    const std::size_t boundary = boundaryBehind(bodyEnd);
    if (bodyEnd != text_.size() && boundary - begin < taken(boundary)) {
        end = boundary; // shorter than what would be taken off: kept whole
    }
    std::string result;
    for (std::size_t i = begin; i < end && text_[i] != '\0'; ++i) {
        if (text_[i] != '\r' || i + 1 == end || text_[i + 1] != '\n') {
            result += text_[i];
        }
    }
    return result;
}

} // namespace quzo::platform::test
