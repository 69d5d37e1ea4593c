// What the edits of a header block are in the text that is written. See header_block.h.
#include "platform/message/edit/header_block.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/structure/structure_lines.h"

namespace quzo::platform {

// A field at the end of a block whose last line is unfinished needs that line finished. In front of an empty
// block that is the line that a mailbox put there.
void HeaderBlock::collectTail(SpliceList& splices) const {
    const HeaderSpan& header = span();
    const bool grows = !order_.empty() && order_.back()->added() && order_.back()->offset() == header.end;
    if (!grows || header.end == 0 || text()[header.end - 1] == '\n') {
        return;
    }
    const bool lineIsField = !received_.empty() && header.fields.back().end == header.end;
    if (!lineIsField || !received_.back().removed()) {
        splices.add(header.end, 0, context_->source.lineBreak());
    }
}

// Whether the block, as it is written, begins with a field.
bool HeaderBlock::beginsWithField() const {
    const HeaderSpan& header = span();
    std::size_t at = header.begin;
    for (const HeaderField& field : received_) {
        const FieldSpan& place = header.fields[field.span()];
        if (place.begin != at) {
            break;
        }
        if (!field.removed()) {
            return true;
        }
        at = place.end;
    }
    return !order_.empty() && order_.front()->added() && order_.front()->offset() <= at;
}

// Empty lines in front of the message's header are read over because a field follows them. When none does any
// more, they would be the end of the header, and so they go with it.
void HeaderBlock::collectPreface(SpliceList& splices) const {
    const HeaderSpan& header = span();
    if (!isOfMessage() || header.begin == 0 || beginsWithField()) {
        return;
    }
    std::size_t line = text().starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    while (line < header.begin) {
        const std::size_t end = findLineEnd(text(), line, header.begin);
        if (isEmptyLine(text(), line, header.begin)) {
            splices.add(line, end - line, {});
        }
        line = end;
    }
}

SpliceList HeaderBlock::splices() const {
    SpliceList splices;
    collectPreface(splices);
    const HeaderSpan& header = span();
    for (const HeaderField& field : received_) {
        if (field.removed() || field.differs()) {
            const FieldSpan& place = header.fields[field.span()];
            splices.add(place.begin, place.end - place.begin,
                        field.removed() ? std::string_view() : field.text());
        }
    }
    collectTail(splices);
    for (const HeaderField* field : order_) {
        if (field->added()) {
            splices.add(field->offset(), 0, field->text());
        }
    }
    splices.sort();
    return splices;
}

} // namespace quzo::platform
