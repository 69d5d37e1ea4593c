// See wire_message.h.
#include "platform/mta/smtp/wire_message.h"

#include <algorithm>

namespace quzo::platform {
namespace {

// Where the next line ends, or the text.
std::size_t lineEnd(std::string_view text, std::size_t from) {
    while (from < text.size() && text[from] != '\r' && text[from] != '\n') {
        ++from;
    }
    return from;
}

} // namespace

void WireEncoder::add(std::string_view piece, std::string& out) {
    while (!piece.empty()) {
        if (carriageReturn_ && piece.front() == '\n') {
            piece.remove_prefix(1); // the second half of a line end that is written
            carriageReturn_ = false;
            continue;
        }
        carriageReturn_ = false;
        if (lineStart_ && piece.front() == '.') {
            out.push_back('.');
        }
        const std::size_t end = lineEnd(piece, 0);
        out.append(piece.substr(0, end));
        lineStart_ = end != piece.size();
        if (!lineStart_) {
            return;
        }
        out.append("\r\n");
        carriageReturn_ = piece[end] == '\r';
        piece.remove_prefix(end + 1);
    }
}

void WireEncoder::finish(std::string& out) { out.append(lineStart_ ? ".\r\n" : "\r\n.\r\n"); }

bool measureMessage(const MessageWriter& message, WireFacts& out) {
    out = {};
    char last = '\n';
    const bool read = message([&](std::string_view piece) {
        out.eightBit =
            out.eightBit || std::any_of(piece.begin(), piece.end(), [](char c) { return (c & 0x80) != 0; });
        for (std::size_t at = 0; (at = lineEnd(piece, at)) < piece.size(); ++at) {
            const bool secondHalf = piece[at] == '\n' && (at == 0 ? last : piece[at - 1]) == '\r';
            out.size = secondHalf ? out.size - 1 : out.size + 1; // each line end is two bytes in all
        }
        out.size += piece.size();
        last = piece.empty() ? last : piece.back();
        return true;
    });
    out.size += last == '\n' || last == '\r' ? 0 : 2;
    return read;
}

} // namespace quzo::platform
