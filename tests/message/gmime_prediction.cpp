// The expectations of GMime. See gmime_prediction.h.
#include "tests/message/gmime_prediction.h"
#include "platform/base/ascii.h"

#include <algorithm>

#include "platform/message/structure/content_type.h"
#include "platform/message/structure/structure_lines.h"
#include "quzo/core/message.h"

namespace quzo::platform::test {

namespace {

// GMime reads blocks of this size. A field name must fit into what remains of one.
constexpr std::size_t kGmimeBlock = 4096;
constexpr std::size_t kGmimeName = 3800;
constexpr std::string_view kBlanks = " \t";

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

} // namespace

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

// Whether GMime has to fill its buffer inside a block with junk in it, not being the root's. It needs the
// whole line behind the block in its buffer, which may be the boundary line that ends it.
bool GmimePrediction::fillsBufferInJunk(std::size_t i) const {
    const std::size_t begin = blockBegin(i);
    const std::size_t end = headerStop(i);
    const std::size_t needed = findLineEnd(text_, end, text_.size());
    std::size_t known = 0;
    for (const FieldSpan& field : entity(i).header.fields) {
        known += field.end - field.begin;
    }
    return i != 0 && known != end - begin && begin / kGmimeBlock != needed / kGmimeBlock;
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
        const bool counts = equalsNoCase(fieldName(text_, field), "content-type");
        for (std::size_t i = field.valueBegin; counts && i < field.end; ++i) {
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
    if (text_.starts_with("\xEF\xBB\xBF") || hasEmptyLine(0, entity(0).header.begin)) {
        return Difference::preface;
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
