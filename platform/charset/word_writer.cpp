// Writes runs of plain and encoded words into lines of 76 characters, each encoded word as long as its line
// allows. A word takes whole characters only, so every word can be read by itself.
#include "platform/charset/word_writer.h"

#include <glib.h>

#include <algorithm>
#include <array>

#include "platform/charset/iso2022jp.h"

namespace quzo::platform {

namespace {

constexpr std::size_t kWorthStarting = 20; // less text than this is not begun at the end of a line

// What stands for itself in Q text also inside a phrase (RFC 2047, section 5).
bool isQSafe(unsigned char byte) {
    constexpr std::string_view punctuation = "!*+-/";
    return g_ascii_isalnum(byte) || punctuation.find(static_cast<char>(byte)) != std::string_view::npos;
}

std::size_t qLength(std::string_view bytes) {
    std::size_t length = 0;
    for (const char c : bytes) {
        length += c == ' ' || isQSafe(static_cast<unsigned char>(c)) ? 1 : 3;
    }
    return length;
}

constexpr std::size_t bLength(std::size_t bytes) { return (bytes + 2) / 3 * 4; }

void appendQ(std::string_view bytes, std::string& out) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte == ' ') {
            out += '_';
        } else if (isQSafe(byte)) {
            out += c;
        } else {
            out += '=';
            out += digits[byte >> 4U];
            out += digits[byte & 0xFU];
        }
    }
}

void appendB(std::string_view bytes, std::string& out) {
    // At most the bytes of one word; GLib wants room for a group more.
    std::array<gchar, WordWriter::kMaxWord * 2> text{};
    gint state = 0;
    gint save = 0;
    std::size_t length = g_base64_encode_step(reinterpret_cast<const guchar*>(bytes.data()), bytes.size(),
                                              FALSE, text.data(), &state, &save);
    length += g_base64_encode_close(FALSE, text.data() + length, &state, &save);
    out.append(text.data(), length);
}

} // namespace

WordWriter::WordWriter(const CharText& text, const Charset& charset, std::string_view label,
                       const LineLayout& layout, std::string& out)
    : text_(text),
      charset_(charset),
      label_(label),
      lineBreak_(layout.lineBreak),
      out_(out),
      column_(layout.firstColumn) {}

bool WordWriter::write(const WordRun& run) {
    if (run.encode) {
        return writeEncoded(run);
    }
    writePlain(run);
    return true;
}

void WordWriter::append(std::string_view piece) {
    out_ += piece;
    column_ += piece.size();
}

void WordWriter::appendPlain(std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) {
        out_ += text_.plain(i);
    }
    column_ += end - begin;
}

void WordWriter::fold() {
    out_ += lineBreak_;
    column_ = 0;
}

void WordWriter::writePlain(const WordRun& run) {
    const std::size_t length = run.end - run.blanks;
    if (folds() && run.begin != run.blanks && column_ > 0 && column_ + length > kMaxLine) {
        fold();
    }
    appendPlain(run.blanks, run.end);
}

// How much text a word on the current line can hold, behind that many blanks.
std::size_t WordWriter::textRoom(std::size_t blanks) const {
    const std::size_t used = folds() ? column_ + blanks : 0;
    const std::size_t room = std::min(kMaxWord, kMaxLine - std::min(kMaxLine, used));
    const std::size_t frame = kFrame + label_.size();
    return room - std::min(room, frame);
}

bool WordWriter::writeEncoded(const WordRun& run) {
    const bool base64 = usesBase64(run);
    for (std::size_t at = run.begin; at < run.end;) {
        const bool first = at == run.begin;
        // The blanks before the first word are text, the one before each other word separates.
        const std::size_t blanks = first ? run.begin - run.blanks : 1;
        std::size_t room = textRoom(blanks);
        if (folds() && column_ > 0 && !isWorthStarting(run, at, room, base64)) {
            fold();
            if (blanks == 0) {
                append(" ");
            }
            room = textRoom(blanks);
        }
        if (first) {
            appendPlain(run.blanks, run.begin);
        } else {
            append(" ");
        }
        const std::size_t next = writeWord(run, at, room, base64);
        if (next == at) {
            return false;
        }
        at = next;
    }
    return true;
}

// Multibyte text has hardly a byte that Q leaves as it is, and some readers cannot join its words in Q.
bool WordWriter::usesBase64(const WordRun& run) const {
    const std::string_view bytes = text_.bytes(run.begin, run.end);
    const bool multibyte =
        charset_.stateful || (charset_.maxCharBytes > 1 && charset_.kind != Charset::Kind::Utf8);
    return multibyte || bLength(bytes.size()) < qLength(bytes);
}

bool WordWriter::isWorthStarting(const WordRun& run, std::size_t at, std::size_t room, bool base64) const {
    if (room >= kWorthStarting) {
        return true;
    }
    if (room < kLeastText || run.end - at > room) {
        return false;
    }
    if (charset_.kind == Charset::Kind::Iso2022Jp) {
        std::string bytes;
        return takeIso2022(run, at, room, bytes) == run.end;
    }
    return takeBytes(run, at, room, base64) == run.end;
}

// The character behind those whose bytes, encoded, fit into the room.
std::size_t WordWriter::takeBytes(const WordRun& run, std::size_t at, std::size_t room, bool base64) const {
    std::size_t bytes = 0;
    std::size_t length = 0;
    for (std::size_t next = at; next < run.end; ++next) {
        const std::string_view character = text_.bytes(next, next + 1);
        bytes += character.size();
        length += base64 ? 0 : qLength(character);
        if ((base64 ? bLength(bytes) : length) > room) {
            return next;
        }
    }
    return run.end;
}

std::size_t WordWriter::takeIso2022(const WordRun& run, std::size_t at, std::size_t room,
                                    std::string& bytes) const {
    const std::size_t taken = writeIso2022Jp(text_.units(at, run.end), room / 4 * 3, bytes);
    std::size_t next = at;
    while (next < run.end && text_.units(at, next + 1).size() <= taken) {
        ++next;
    }
    return next;
}

std::size_t WordWriter::writeWord(const WordRun& run, std::size_t at, std::size_t room, bool base64) {
    std::string bytes;
    std::size_t next = at;
    if (charset_.kind == Charset::Kind::Iso2022Jp) {
        next = takeIso2022(run, at, room, bytes);
    } else {
        next = takeBytes(run, at, room, base64);
        bytes = text_.bytes(at, next);
    }
    std::string word = "=?";
    word += label_;
    word += base64 ? "?B?" : "?Q?";
    if (base64) {
        appendB(bytes, word);
    } else {
        appendQ(bytes, word);
    }
    word += "?=";
    append(word);
    return next;
}

} // namespace quzo::platform
