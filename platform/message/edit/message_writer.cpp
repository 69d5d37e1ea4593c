// The walk over what was edited. See message_writer.h.
//
// An entity without edits is one range of its text. In one with edits the header block comes as splices, and
// a content with children as the text between its slots, child for child. Entities nest as deeply as a sender
// likes, so the walk keeps a stack of its own and never recurses.
//
// A multipart keeps its delimiter lines. With a child that was removed the line in front of it goes too; in
// front of an inserted one a line is written; and one that never was closed is closed when its last child is
// another.
#include "platform/message/edit/message_writer.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "platform/message/edit/joined_pieces.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/slot_frame.h"
#include "platform/message/values/header_room.h"

namespace quzo::platform {
namespace {

class Walk {
public:
    Walk(const MessageContext& context, const PieceSink& sink)
        : context_(context), lineBreak_(context.source.lineBreak()), out_(sink) {}

    bool message() {
        const Entity& root = context_.tree.root();
        if (root.untouched()) {
            out_.range(context_.source, 0, context_.source.text().size());
        } else {
            header(root, 0);
            content(root);
        }
        return end();
    }

    bool entity(const Entity& entity) {
        enter(entity);
        return end();
    }

    bool onlyContent(const Entity& entity) {
        content(entity);
        return end();
    }

    // How much of that was the line break in front of the boundary line that follows, which is the empty line
    // of the content's last leaf, but no part of the content.
    std::size_t behindContent(const Entity& entity) const {
        return out_.endsInEdit() ? 0 : entity.span().end - entity.span().bodyEnd;
    }

private:
    bool end() {
        while (!frames_.empty() && out_.ok()) {
            step();
        }
        out_.flush();
        return out_.ok();
    }

    void enter(const Entity& entity) {
        const EntitySpan& span = entity.span();
        if (entity.untouched()) {
            if (!frames_.empty()) {
                frames_.back().childBegin = out_.count() + (span.header.bodyBegin - span.header.begin);
            }
            out_.range(*entity.content().text, span.header.begin, span.end);
            return;
        }
        header(entity, entity.header().span().begin);
        content(entity);
    }

    static bool isEmpty(const Entity& entity) {
        return entity.firstSlot() == nullptr && entity.span().header.bodyBegin >= entity.span().end;
    }

    // The header block and the empty line behind it. A text from `from` on stands in front.
    void header(const Entity& entity, std::size_t from) {
        const HeaderBlock& block = entity.header();
        const HeaderSpan& span = block.span();
        const ScannedText& text = *block.source().text;
        if (!block.edited()) {
            out_.range(text, from, span.end);
        } else {
            block.splices().write(text.text(), from, span.end, [&](std::string_view piece) {
                pieceOf(text, piece);
                return out_.ok();
            });
            out_.noteEdit();
        }
        if (span.end < span.bodyBegin) {
            out_.range(text, span.end, span.bodyBegin);
        }
        if (span.bodyBegin == span.end && entity.contentEdited() && !isEmpty(entity)) {
            out_.bytes(out_.atLineStart() ? std::string_view() : lineBreak_);
            out_.bytes(lineBreak_);
        }
    }

    // A piece that may be a range of the text, so that it is joined with its neighbours.
    void pieceOf(const ScannedText& text, std::string_view piece) {
        const std::string_view all = text.text();
        const std::less_equal<const char*> notAfter;
        const bool inside = notAfter(all.data(), piece.data()) &&
                            notAfter(piece.data() + piece.size(), all.data() + all.size());
        if (inside) {
            const auto begin = static_cast<std::size_t>(piece.data() - all.data());
            out_.range(text, begin, begin + piece.size());
        } else {
            out_.bytes(piece);
        }
    }

    void content(const Entity& entity) {
        if (&entity == &context_.tree.root() && !entity.contentEdited() && !entity.editedBelow()) {
            // The tree of a message need not be known to write its body.
            const ScannedText& text = context_.source;
            out_.range(text, text.header(0).bodyBegin, text.text().size());
            return;
        }
        if (!frames_.empty()) {
            frames_.back().childBegin = out_.count();
        }
        const EntitySpan& span = entity.span();
        const std::size_t begin = std::min(span.header.bodyBegin, span.end);
        const bool asItIs = !entity.contentEdited() && !entity.editedBelow();
        if (asItIs || entity.firstSlot() == nullptr) {
            out_.range(*entity.content().text, begin, span.end);
            if (entity.contentEdited() && !touchesLine(entity.content())) {
                out_.noteEdit();
            }
            return;
        }
        frames_.push_back({&entity, entity.firstSlot(), begin});
    }

    // Writes the content's text up to `to`.
    void copy(SlotFrame& frame, std::size_t to) {
        if (frame.at < to) {
            separate(frame);
            out_.range(*frame.entity->content().text, frame.at, to);
            frame.at = to;
        }
    }

    // Whether what the last child ends with was not scanned with a boundary line right behind it.
    bool endIsNew(const SlotFrame& frame) const {
        return frame.childIsOther || (frame.childEdited && out_.endsInEdit());
    }

    // A child that was empty can touch the delimiter line behind it; what it holds now must not.
    void separate(SlotFrame& frame) {
        if (frame.touchesNext() && endIsNew(frame) &&
            (out_.count() > frame.childBegin || !out_.atLineStart())) {
            out_.endLine(lineBreak_);
        }
        frame.forgetChild();
    }

    void step() {
        SlotFrame& frame = frames_.back();
        if (frame.behindInserted) {
            if (endIsNew(frame)) {
                out_.endLine(lineBreak_);
            }
            frame.behindInserted = false;
            frame.lineReady = true;
            frame.forgetChild();
        }
        const Entity* slot = frame.slot;
        if (slot == nullptr) {
            finish(frame);
            leave();
            return;
        }
        frame.slot = slot->nextSlot();
        if (slot->slot() == Entity::kInserted) {
            if (!slot->removedItself()) {
                insert(frame, *slot);
            }
        } else if (slot->removedItself()) {
            leaveOut(frame, *slot);
        } else {
            copy(frame, frame.spanOf(*slot).header.begin);
            frame.stepOver(*slot);
            enter(*slot); // may move the frames
        }
    }

    // Leaves the innermost content. When that ended with the line break behind it, so does what it lies in.
    void leave() {
        const bool withBreak = frames_.back().at > frames_.back().entity->span().end;
        frames_.pop_back();
        if (withBreak && !frames_.empty()) {
            frames_.back().childIsOther = false;
            if (!frames_.back().behindInserted) {
                frames_.back().skipBreak();
            }
        }
    }

    // Leaves a slot and the delimiter line in front of it out.
    void leaveOut(SlotFrame& frame, const Entity& slot) {
        copy(frame, frame.lineInFront(slot));
        separate(frame);
        frame.lineReady = true;
        const std::size_t next = frame.nextLine();
        frame.mustClose = next == std::string_view::npos;
        frame.at = std::max(frame.at, frame.mustClose ? frame.spanOf(slot).end : next);
    }

    void insert(SlotFrame& frame, const Entity& entity) {
        const std::size_t line = frame.nextLine();
        frame.mustClose = line == std::string_view::npos;
        if (!frame.mustClose) {
            copy(frame, line);
            separate(frame);
        } else {
            endLine(frame);
        }
        delimiter(frame, "");
        out_.bytes(lineBreak_);
        frame.behindInserted = true;
        frame.childEdited = !entity.untouched();
        frame.childIsOther = !touchesLine(entity.content());
        enter(entity); // may move the frames
    }

    void endLine(SlotFrame& frame) {
        if (!frame.lineReady) {
            out_.endLine(lineBreak_);
        }
        frame.lineReady = true;
        frame.forgetChild();
    }

    void delimiter(const SlotFrame& frame, std::string_view close) {
        out_.bytes("--");
        out_.bytes(frame.entity->span().boundary);
        out_.bytes(close);
    }

    void finish(SlotFrame& frame) {
        const std::size_t end = frame.entity->span().end;
        if (frame.mustClose) {
            endLine(frame);
            delimiter(frame, "--");
            // The last line of a text, or one that a line touched.
            if (frame.at >= end ? end == frame.text().size() : frame.touchesNext()) {
                out_.bytes(lineBreak_);
            }
        }
        if (frame.at >= end && frame.childIsOther) {
            out_.noteEdit(); // it ends with what the child ends with
        }
        copy(frame, end);
    }

    const MessageContext& context_;
    const std::string_view lineBreak_;
    JoinedPieces out_;
    std::vector<SlotFrame> frames_;
};

std::string collected(const std::function<void(const PieceSink&)>& write, std::string out = {}) {
    write([&out](std::string_view piece) {
        out += piece;
        return true;
    });
    return out;
}

} // namespace

bool writeMessage(const MessageContext& context, const PieceSink& sink) {
    return Walk(context, sink).message();
}

std::string writtenEntity(const Entity& entity, std::string front) {
    const EntitySpan& span = entity.span();
    front.reserve(front.size() + span.end - std::min(span.end, span.header.begin) + kHeaderRoom);
    return collected([&](const PieceSink& sink) { Walk(entity.context(), sink).entity(entity); },
                     std::move(front));
}

std::string writtenContent(const Entity& entity, std::string front) {
    const EntitySpan& span = entity.span();
    front.reserve(front.size() + span.end - std::min(span.end, span.header.bodyBegin) + kHeaderRoom);
    const std::size_t least = front.size();
    std::size_t behind = 0;
    std::string out = collected(
        [&](const PieceSink& sink) {
            Walk walk(entity.context(), sink);
            walk.onlyContent(entity);
            behind = walk.behindContent(entity);
        },
        std::move(front));
    out.resize(std::max(least, out.size() - std::min(out.size(), behind)));
    return out;
}

std::string writtenHeader(const HeaderBlock& header) {
    const HeaderSpan& span = header.span();
    return collected(
        [&](const PieceSink& sink) { header.splices().write(header.text(), span.begin, span.end, sink); });
}

} // namespace quzo::platform
