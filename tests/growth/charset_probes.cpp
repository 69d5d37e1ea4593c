// Conversion, and encoded words both ways.
#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "tests/growth/probe.h"

namespace quzo::test {
namespace {

using namespace platform;

// Text with a pair of units at every possible place of a chunk.
std::string mixedText(std::size_t count, bool astral) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += i % 7 == 0 ? "ab" : astral && i % 3 == 0 ? "😀" : "日本";
    }
    return text;
}

} // namespace

std::vector<Probe> charsetProbes() {
    std::vector<Probe> probes;
    for (const char* charset : {"utf-16be", "gb18030", "utf-7", "shift_jis", "iso-2022-jp"}) {
        const bool astral = std::string(charset) != "shift_jis" && std::string(charset) != "iso-2022-jp";
        probes.push_back({std::string("conversion, ") + charset, 10000,
                          [astral](std::size_t count) { return mixedText(count, astral); },
                          [charset](const std::string& text) {
                              std::string there;
                              std::string back;
                              std::string cut;
                              return convert(text, "utf-8", charset, Unmappable::Fail, '?', there) == 0 &&
                                     convert(there, charset, "utf-8", Unmappable::Fail, '?', back) == 0 &&
                                     convert(text, "utf-8", charset, Unmappable::Fail, '?', cut,
                                             there.size() - 5) == 0 &&
                                     back == text;
                          }});
    }
    for (const char* piece : {"=?", "=?utf-8?q?", "=?a?b?c ", "=?utf-8?q?x?= ", "=?x-u?q?x?= =?utf-8?q?y?= ",
                              "=?utf-8?q?x?= =?koi8-r?q?y?= ", " "}) {
        probes.push_back(
            {std::string("reading words of ") + piece, 4000,
             [piece](std::size_t count) { return repeated(piece, count); },
             [](const std::string& value) { return decodeWords(value).bytes.size() <= value.size() * 3; }});
    }
    probes.push_back({"reading one long word", 100000,
                      [](std::size_t count) { return "=?utf-8?b?" + std::string(count, 'Y'); },
                      [](const std::string& value) { return !decodeWords(value).bytes.empty(); }});
    for (const char* charset : {"utf-8", "gb18030", "utf-7"}) {
        probes.push_back({std::string("writing words, ") + charset, 1000,
                          [charset](std::size_t count) {
                              std::string value;
                              convert(repeated("日本 é  x", count), "utf-8", charset, Unmappable::Fail, '?',
                                      value);
                              return value;
                          },
                          [charset](const std::string& value) {
                              std::string written;
                              return encodeWords(value, charset, 9, "\r\n", written) == 0;
                          }});
    }
    return probes;
}

} // namespace quzo::test
