// A content with children while it is written: how far, and what is known of the line break behind the last
// child.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

// Whether a content, where it was scanned, had the boundary line right behind it.
inline bool touchesLine(const Content& content) {
    const std::string_view text = content.text->text();
    const std::size_t end = content.text->structure().entities[content.index].end;
    return end < text.size() && text[end] != '\r' && text[end] != '\n';
}

struct SlotFrame {
    const Entity* entity;
    const Entity* slot;          // that comes next
    std::size_t at;              // up to where the content's text has been written
    std::size_t childBegin = 0;  // where the body of the last child began, in bytes written
    bool childEdited = false;    // the last child stands in a slot and has edits
    bool childIsOther = false;   // its content was scanned elsewhere, with a line break behind it
    bool behindInserted = false; // the last child was inserted
    bool lineReady = false;      // a delimiter line can be written here
    bool mustClose = false;      // it has no close delimiter, and its last child is another now

    std::string_view text() const { return entity->content().text->text(); }

    const EntitySpan& spanOf(const Entity& child) const {
        return entity->content().text->structure().entities[child.slot()];
    }

    // Whether what comes next in the text is no line break.
    bool touchesNext() const { return at < text().size() && text()[at] != '\r' && text()[at] != '\n'; }

    // The line break behind the last child has been seen to.
    void forgetChild() {
        childEdited = false;
        childIsOther = false;
    }

    // Where the delimiter line of a slot begins: it is the line in front of the part.
    std::size_t lineInFront(const Entity& child) const {
        const std::size_t lineEnd = spanOf(child).header.begin - 1;
        const std::size_t before = lineEnd == 0 ? std::string_view::npos : text().rfind('\n', lineEnd - 1);
        return before == std::string_view::npos ? 0 : before + 1;
    }

    // Where the delimiter line begins in front of the next slot that is not an inserted one, or the close
    // delimiter; npos in a multipart that was not closed.
    std::size_t nextLine() const {
        const Entity* next = slot;
        while (next != nullptr && next->slot() == Entity::kInserted) {
            next = next->nextSlot();
        }
        if (next != nullptr) {
            return lineInFront(*next);
        }
        const EntitySpan& span = entity->span();
        return span.closed ? span.closeDelimiter : std::string_view::npos;
    }

    // Passes what was scanned in a slot. A content from elsewhere may end with the line break that is in
    // front of the delimiter line here.
    void stepOver(const Entity& child) {
        const bool other = child.content() != Content{entity->content().text, child.slot()};
        const bool withBreak = other && touchesLine(child.content());
        at = spanOf(child).end;
        childEdited = !child.untouched();
        childIsOther = other && !withBreak;
        lineReady = false;
        if (withBreak) {
            skipBreak();
        }
    }

    void skipBreak() {
        at += text().substr(at).starts_with('\r') ? 1 : 0;
        at += text().substr(at).starts_with('\n') ? 1 : 0;
    }
};

} // namespace quzo::platform
