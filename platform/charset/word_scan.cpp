// Reads encoded words the way mail needs it read, which is wider than the letter of RFC 2047: see
// decodeWords(). Each scan for the end of a word stops at the first '?' after its start, and no later word
// can begin before that, so the whole costs one pass.
#include "platform/charset/word_scan.h"

#include <glib.h>

#include <array>

#include "platform/base/hex.h"
#include "platform/charset/charset.h"

namespace quzo::platform {

namespace {

constexpr std::size_t kMaxLabel = kMaxCharsetName + 40; // with a language suffix

void appendQ(std::string_view text, std::string& out) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '_') {
            out += ' ';
            continue;
        }
        const int high = text[i] == '=' && i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
        if (low >= 0) {
            out += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            out += text[i];
        }
    }
}

bool isBase64(char c) { return g_ascii_isalnum(c) || c == '+' || c == '/'; }

// Completes the last group of four. A single character left over is less than a byte and goes.
void closeGroup(std::string& clean) {
    const std::size_t rest = clean.size() % 4;
    if (rest == 1) {
        clean.pop_back();
    } else if (rest != 0) {
        clean.append(4 - rest, '=');
    }
}

// GLib passes over what is not of the alphabet, but gives a group only when it is complete, and takes an
// '=' inside for a group's end; so it gets the alphabet alone, padded.
void appendB(std::string_view text, std::string& out) {
    std::string clean;
    clean.reserve(text.size() + 3);
    for (const char c : text) {
        if (isBase64(c)) {
            clean += c;
        } else if (c == '=') {
            closeGroup(clean); // words glued together carry padding in the middle
        }
    }
    closeGroup(clean);
    const std::size_t before = out.size();
    out.resize(before + clean.size() / 4 * 3 + 3);
    gint state = 0;
    guint save = 0;
    std::size_t written = 0;
    for (std::size_t i = 0; i < clean.size(); i += 4) {
        written += g_base64_decode_step(clean.data() + i, 4,
                                        reinterpret_cast<guchar*>(&out[before + written]), &state, &save);
    }
    out.resize(before + written);
}

} // namespace

bool readEncodedWord(std::string_view value, std::size_t at, EncodedWord& word) {
    if (value.substr(at, 2) != "=?") {
        return false;
    }
    const std::size_t labelBegin = at + 2;
    const std::size_t labelLength = value.substr(labelBegin, kMaxLabel + 1).find('?');
    if (labelLength == std::string_view::npos) {
        return false;
    }
    const std::string_view label = value.substr(labelBegin, labelLength);
    word.charset = label.substr(0, label.find('*'));
    const std::size_t encoding = labelBegin + labelLength + 1;
    if (!isCharsetName(word.charset) || encoding + 1 >= value.size() || value[encoding + 1] != '?') {
        return false;
    }
    word.base64 = value[encoding] == 'B' || value[encoding] == 'b';
    if (!word.base64 && value[encoding] != 'Q' && value[encoding] != 'q') {
        return false;
    }
    const std::size_t textBegin = encoding + 2;
    const std::size_t textEnd = value.find('?', textBegin);
    if (textEnd == std::string_view::npos || textEnd + 1 >= value.size() || value[textEnd + 1] != '=') {
        return false;
    }
    word.text = value.substr(textBegin, textEnd - textBegin);
    word.end = textEnd + 2;
    return true;
}

void appendWordBytes(const EncodedWord& word, std::string& out) {
    if (word.base64) {
        appendB(word.text, out);
    } else {
        appendQ(word.text, out);
    }
}

} // namespace quzo::platform
