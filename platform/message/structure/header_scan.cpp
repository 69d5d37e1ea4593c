// The header scan: one pass over a header block that notes where each field lies.
//
// What is a field is decided as GMime does it, so that both see the same fields: a name of anything but
// blanks, control characters and the colon, perhaps blanks, a colon; lines that begin with a blank go on
// with the line before, also when they hold nothing else.
#include <algorithm>
#include <array>

#include "platform/base/ascii.h"
#include "platform/message/structure/content_type.h"
#include "platform/message/structure/structure.h"
#include "platform/message/structure/structure_header.h"
#include "platform/message/structure/structure_lines.h"

namespace quzo::platform {

namespace {

enum class NameByte : unsigned char { inName, blank, other };

constexpr std::array<NameByte, 256> makeNameBytes() {
    std::array<NameByte, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = i < 32 || i == 127 || i == ':' ? NameByte::other : NameByte::inName;
    }
    table[' '] = NameByte::blank;
    table['\t'] = NameByte::blank;
    return table;
}

constexpr std::array<NameByte, 256> kNameBytes = makeNameBytes();

NameByte nameByte(char c) { return kNameBytes[static_cast<unsigned char>(c)]; }

// Vectors of fields grow from here, so that most blocks need one allocation.
constexpr std::size_t kUsualRootFields = 32;
constexpr std::size_t kUsualPartFields = 4;

class HeaderScanner {
public:
    HeaderScanner(std::string_view text, std::size_t end, const Limits& limits,
                  const OpenBoundaries* boundaries)
        : text_(text), end_(end), limits_(limits), boundaries_(boundaries) {}

    HeaderSpan scan(std::size_t begin, bool ofMessage);

private:
    std::size_t behindPreface(std::size_t at) const;
    std::size_t behindMboxLines(std::size_t at) const;
    std::size_t behindEmptyLines(std::size_t at) const;
    bool isBoundary(std::size_t at);
    bool isFull(std::size_t at) const;
    bool scanLine(std::size_t at);
    std::size_t readName(std::size_t at, FieldSpan& field) const;
    void finish(std::size_t headerEnd, std::size_t bodyBegin);
    void cut(std::size_t at);

    const std::string_view text_;
    const std::size_t end_;
    const Limits& limits_;
    const OpenBoundaries* boundaries_;
    HeaderSpan header_;
    OpenBoundaries ownBoundaries_;
    std::size_t ownExamined_ = 0; // fields that ownBoundaries_ knows
    std::size_t stop_ = 0;        // no line that ends behind this is read
    std::size_t lineEnd_ = 0;     // of the line that scanLine() read
    bool inField_ = false;        // the last line belongs to the last field
    bool junk_ = false;           // there was a line that is no field
};

// Mailboxes put a line "From sender date" before a message, and quote it with ">" when it is not theirs.
// "From : sender" is a field, though one of old.
std::size_t HeaderScanner::behindMboxLines(std::size_t at) const {
    for (;;) {
        const std::string_view rest = text_.substr(at, end_ - at);
        const std::size_t name = rest.starts_with('>') ? 1 : 0;
        if (!rest.substr(name).starts_with("From ")) {
            return at;
        }
        const std::size_t behindName = rest.find_first_not_of(" \t", name + std::string_view("From").size());
        if (behindName != std::string_view::npos && rest[behindName] == ':') {
            return at;
        }
        at = findLineEnd(text_, at, end_);
    }
}

// Behind the empty lines at `at` when a field follows them. Otherwise they end a header block without fields,
// and what follows is the body.
std::size_t HeaderScanner::behindEmptyLines(std::size_t at) const {
    std::size_t next = at;
    while (next < end_ && isEmptyLine(text_, next, end_)) {
        next = findLineEnd(text_, next, end_);
    }
    next = behindMboxLines(next);
    FieldSpan field;
    static_cast<void>(readName(next, field));
    return field.valueBegin != 0 ? next : at;
}

// Programs that write messages to files, and editors, put more before them: a byte order mark, empty lines.
// Mail readers pass over it, and so must whoever looks for what they show.
std::size_t HeaderScanner::behindPreface(std::size_t at) const {
    if (text_.substr(at, end_ - at).starts_with(kByteOrderMark)) {
        at += kByteOrderMark.size();
    }
    return behindEmptyLines(behindMboxLines(at));
}

// A boundary line ends the block although the empty line is missing: that of a multipart around this entity,
// or the first of the multipart that this very block describes.
bool HeaderScanner::isBoundary(std::size_t at) {
    if (text_.substr(at, 2) != "--") {
        return false;
    }
    BoundaryLine line;
    if (boundaries_ != nullptr && boundaries_->match(text_, at, end_, line)) {
        return true;
    }
    for (; ownExamined_ < header_.fields.size(); ++ownExamined_) {
        ownBoundaries_.openOfField(text_, header_.fields[ownExamined_], 0);
    }
    return ownBoundaries_.match(text_, at, end_, line) && !line.close;
}

// Reads a field name at `at`; returns where reading stopped. The field's valueBegin stays 0 when this line
// is no field.
std::size_t HeaderScanner::readName(std::size_t at, FieldSpan& field) const {
    field.begin = at;
    while (at < stop_ && nameByte(text_[at]) == NameByte::inName) {
        ++at;
    }
    field.nameEnd = at;
    while (at < stop_ && nameByte(text_[at]) == NameByte::blank) {
        ++at;
    }
    if (at < stop_ && text_[at] == ':' && field.nameEnd > field.begin) {
        field.valueBegin = ++at;
    }
    return at;
}

// Whether the line at `at` would be one field too many.
bool HeaderScanner::isFull(std::size_t at) const {
    return limits_.headerFields != 0 && header_.fields.size() >= limits_.headerFields &&
           nameByte(text_[at]) != NameByte::blank;
}

// Takes one line in. False when it reaches beyond the limit.
bool HeaderScanner::scanLine(std::size_t at) {
    const bool continued = nameByte(text_[at]) == NameByte::blank;
    FieldSpan field;
    const std::size_t readTo = continued ? at : readName(at, field);
    lineEnd_ = findLineEnd(text_, readTo, stop_);
    if (lineEnd_ == stop_ && stop_ < end_ && text_[stop_ - 1] != '\n') {
        return false;
    }
    if (continued) {
        if (inField_) {
            header_.fields.back().end = lineEnd_;
        } else {
            junk_ = true;
        }
        return true;
    }
    inField_ = field.valueBegin != 0;
    if (inField_) {
        field.end = lineEnd_;
        header_.fields.push_back(field);
    } else {
        junk_ = true;
    }
    return true;
}

void HeaderScanner::finish(std::size_t headerEnd, std::size_t bodyBegin) {
    header_.end = headerEnd;
    header_.bodyBegin = bodyBegin;
    if (header_.fields.empty() && junk_) {
        // Nothing here looks like a header block: it is all body, lest a text goes unseen.
        header_.end = header_.begin;
        header_.bodyBegin = header_.begin;
        header_.readable = false;
    }
}

// The block is longer than allowed. The field that was being read is not kept in pieces.
void HeaderScanner::cut(std::size_t at) {
    const bool insideField = inField_ && at < end_ && nameByte(text_[at]) == NameByte::blank;
    if (insideField) {
        at = header_.fields.back().begin;
        header_.fields.pop_back();
    }
    header_.end = at;
    header_.bodyBegin = at;
    header_.readable = false;
    header_.limited = true;
}

HeaderSpan HeaderScanner::scan(std::size_t begin, bool ofMessage) {
    std::size_t at = begin;
    stop_ = end_;
    if (ofMessage) {
        at = boundaries_ == nullptr ? behindPreface(begin) : behindMboxLines(begin);
    }
    header_.begin = at;
    header_.fields.reserve(boundaries_ == nullptr ? kUsualRootFields : kUsualPartFields);
    stop_ = limits_.headerBytes == 0 || limits_.headerBytes > end_ - at ? end_ : at + limits_.headerBytes;
    for (; at < end_; at = lineEnd_) {
        if (isEmptyLine(text_, at, end_)) {
            finish(at, findLineEnd(text_, at, end_));
            return std::move(header_);
        }
        if (isBoundary(at)) {
            finish(at, at);
            return std::move(header_);
        }
        if (at >= stop_ || isFull(at) || !scanLine(at)) {
            cut(at);
            return std::move(header_);
        }
    }
    finish(end_, end_);
    return std::move(header_);
}

} // namespace

HeaderSpan scanHeader(std::string_view text, std::size_t begin, std::size_t end, const Limits& limits) {
    end = std::min(end, text.size());
    begin = std::min(begin, end);
    return HeaderScanner(text, end, limits, nullptr).scan(begin, begin == 0);
}

HeaderSpan scanInnerHeader(std::string_view text, std::size_t begin, bool ofMessage, const Limits& limits,
                           const OpenBoundaries& boundaries) {
    return HeaderScanner(text, text.size(), limits, &boundaries).scan(begin, ofMessage);
}

std::string_view fieldName(std::string_view text, const FieldSpan& field) {
    return text.substr(field.begin, field.nameEnd - field.begin);
}

const FieldSpan* findField(std::string_view text, const HeaderSpan& header, std::string_view name) {
    const auto found = std::find_if(header.fields.begin(), header.fields.end(), [&](const FieldSpan& field) {
        return equalsNoCase(fieldName(text, field), name);
    });
    return found == header.fields.end() ? nullptr : &*found;
}

} // namespace quzo::platform
