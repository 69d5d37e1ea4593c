// The pieces of a message on their way to a sink.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/message/edit/message_writer.h"
#include "platform/message/structure/scanned_text.h"

namespace quzo::platform {

// Joins neighbouring ranges of one text, and knows what was written last.
class JoinedPieces {
public:
    explicit JoinedPieces(const PieceSink& sink) : sink_(sink) {}

    // Whether what was written last is where an edit put it, and not where it was scanned.
    bool endsInEdit() const { return endsInEdit_; }
    void noteEdit() { endsInEdit_ = true; }

    // False once the sink has stopped it; nothing more is given to it then.
    bool ok() const { return ok_; }
    std::size_t count() const { return count_; }
    bool atLineStart() const { return count_ == 0 || last_ == '\n'; }

    void range(const ScannedText& text, std::size_t begin, std::size_t end) {
        if (begin >= end) {
            return;
        }
        if (text_ == &text && end_ == begin) {
            end_ = end;
        } else {
            flush();
            text_ = &text;
            begin_ = begin;
            end_ = end;
        }
        note(end - begin, text.text()[end - 1]);
        endsInEdit_ = false;
    }

    void bytes(std::string_view piece) {
        if (!piece.empty()) {
            flush();
            ok_ = ok_ && sink_(piece);
            note(piece.size(), piece.back());
            endsInEdit_ = true;
        }
    }

    // Ends the line. A CR that stands last stays one: LF behind it would make both a line break.
    void endLine(std::string_view lineBreak) { bytes(last_ == '\r' ? std::string_view("\r\n") : lineBreak); }

    void flush() {
        if (text_ != nullptr && ok_) {
            ok_ = sink_(text_->text().substr(begin_, end_ - begin_));
        }
        text_ = nullptr;
    }

private:
    void note(std::size_t size, char last) {
        count_ += size;
        last_ = last;
    }

    const PieceSink& sink_;
    const ScannedText* text_ = nullptr; // of the range that waits for its neighbour
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t count_ = 0;
    char last_ = '\0';
    bool endsInEdit_ = false;
    bool ok_ = true;
};

} // namespace quzo::platform
