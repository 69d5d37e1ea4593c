// Messages by chance, the same in every run: whatever a sender may write, well-formed or not.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace quzo::platform::test {

using Random = std::mt19937;

template <typename T, std::size_t N>
const T& anyOf(const T (&items)[N], Random& random) {
    return items[random() % N];
}

// What need not be mail at all.
inline std::string randomPieces(Random& random) {
    static const std::vector<std::string> kPieces[] = {
        {"A: 1", "B:", "Subject: x", "C : 2", "A: 2\r\n", "From me\n", "=?utf-8?Q?=C3=BC?="},
        {"\r\n", "\n", "\r", "\r\n\r\n", " ", "\t"},
        {"junk", ":", " cont", std::string(1, '\0'), "\x80"},
        {"--b", "--b--", "\r\n--b\r\n", "Content-Type: multipart/mixed; boundary=b\r\n",
         "Content-Type: message/rfc822\n"}};
    std::string bytes;
    for (std::size_t left = random() % 16; left > 0; --left) {
        const auto& pieces = anyOf(kPieces, random);
        bytes += pieces[random() % pieces.size()];
    }
    return bytes;
}

// A part with everything in it that makes parts hard: boundaries that contain each other or are alike,
// multiparts that are not closed, no empty line, messages in messages.
inline std::string randomPart(Random& random, std::size_t depth, const char* lineBreak) {
    static const char* const kLabels[] = {"b", "c", "b--", "bb", "d"};
    static const char* const kKinds[] = {"mixed", "alternative", "digest", "signed", "encrypted"};
    const std::size_t kind = random() % (depth > 3 ? 4 : 8);
    const std::string end = lineBreak;
    if (kind < 3) {
        static const char* const kHeads[] = {
            "Content-Type: text/plain", "Content-Type: text/html; charset=iso-8859-1", "X-Only: this",
            "Content-Disposition: attachment; filename=a.exe", "Content-Type: application/pdf; name=b.pdf"};
        static const char* const kTexts[] = {"text", "two\nlines\n", "", "-- \nfooter", "\n", "caf\xE9"};
        std::string part = anyOf(kHeads, random) + end;
        part += random() % 8 == 0 ? "" : end + anyOf(kTexts, random);
        return random() % 9 == 0 ? end + anyOf(kTexts, random) : part;
    }
    if (kind == 3 || kind == 4) {
        return "Content-Type: message/rfc822" + end + end + "Subject: inner" + end +
               randomPart(random, depth + 1, lineBreak);
    }
    const std::string label = anyOf(kLabels, random);
    std::string part = std::string("Content-Type: multipart/") + anyOf(kKinds, random) + "; boundary=\"" +
                       label + "\"" + end + end;
    part += random() % 3 == 0 ? "preamble" + end : "";
    for (std::size_t children = 1 + random() % 3; children > 0; --children) {
        const std::string child = randomPart(random, depth + 1, lineBreak);
        part.append("--").append(label).append(end).append(child).append(random() % 12 == 0 ? "" : end);
    }
    if (random() % 4 != 0) {
        part += "--" + label + "--" + end;
        part += random() % 4 == 0 ? "epilogue" + end : "";
    }
    return part;
}

} // namespace quzo::platform::test
