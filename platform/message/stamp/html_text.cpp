// Writing a text as HTML. See html_text.h; reading HTML as text is in html_reading.cpp.
#include "platform/message/stamp/html_text.h"

#include <algorithm>
#include <vector>

#include "platform/base/ascii.h"
#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/message/stamp/addresses_in_text.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

// A line is broken at a blank behind so many bytes, and in any case behind so many. References take up to 10
// bytes for a character, so what is written stays below 998.
constexpr std::size_t kBreakAtBlank = 400;
constexpr std::size_t kBreakAnywhere = 480;

// Text on its way into HTML.
class HtmlWriter {
public:
    void markup(std::string_view bytes) {
        out_ += bytes;
        noteBreaks(bytes);
    }

    // Behind the text of a line.
    void endLine() { markup("\n"); }

    void text(std::string_view utf8) {
        for (std::size_t at = 0; at < utf8.size();) {
            const std::size_t length = std::max<std::size_t>(utf8SequenceLength(utf8, at), 1);
            character(utf8.substr(at, length));
            at += length;
        }
    }

    void link(std::string_view target, std::string_view shown) {
        // A break inside of a tag is none of the text.
        markup("<a\nhref=\"");
        for (const char c : target) {
            const std::string_view one(&c, 1);
            out_ += escaped(one);
        }
        markup("\"\n>");
        text(shown);
        markup("</a>");
    }

    std::string take() { return std::move(out_); }

private:
    static std::string_view escaped(std::string_view character) {
        switch (character.front()) {
            case '&':
                return "&amp;";
            case '<':
                return "&lt;";
            case '>':
                return "&gt;";
            case '"':
                return "&quot;";
            case '\'':
                return "&#39;";
            default:
                return character;
        }
    }

    void character(std::string_view one) {
        const bool ascii = one.size() == 1;
        const std::size_t width = ascii ? escaped(one).size() : kReference;
        if (column_ > kBreakAtBlank && one == " ") {
            endLine();
            return;
        }
        if (column_ + width > kBreakAnywhere) {
            markup("<!--\n-->");
        }
        out_ += escaped(one);
        column_ += width;
    }

    void noteBreaks(std::string_view bytes) {
        const std::size_t lineEnd = bytes.rfind('\n');
        column_ = lineEnd == std::string_view::npos ? column_ + bytes.size() : bytes.size() - lineEnd - 1;
    }

    static constexpr std::size_t kReference = 10; // "&#1114111;"
    std::string out_;
    std::size_t column_ = 0; // bytes of the line, at the most that they can take
};

void writeLine(std::string_view line, HtmlWriter& out) {
    std::size_t done = 0;
    for (const AddressInText& found : addressesIn(line)) {
        const std::string_view shown = line.substr(found.begin, found.end - found.begin);
        out.text(line.substr(done, found.begin - done));
        out.link(std::string(found.scheme).append(shown), shown);
        done = found.end;
    }
    out.text(line.substr(done));
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        std::string_view line = text.substr(at, end - at);
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        lines.push_back(line);
        at = end + 1;
    }
    if (lines.back().empty()) {
        lines.pop_back(); // what follows the last line break is no line
    }
    return lines;
}

} // namespace

std::string htmlOfText(std::string_view text) {
    const std::vector<std::string_view> lines = linesOf(text);
    const auto isEmpty = [](std::string_view line) { return trimmed(line).empty(); };
    const auto first = std::find_if_not(lines.begin(), lines.end(), isEmpty);
    const bool paragraphs = std::any_of(first, lines.end(), isEmpty);
    HtmlWriter out;
    for (auto empty = lines.begin(); empty != first; ++empty) {
        out.markup("<br />\n"); // room above the text
    }
    bool open = false; // a paragraph
    for (auto line = first; line != lines.end(); ++line) {
        if (isEmpty(*line)) {
            out.markup(open ? "</p>\n" : "");
            open = false;
            continue;
        }
        const bool more = line + 1 != lines.end() && !isEmpty(*(line + 1));
        out.markup(paragraphs && !open ? "<p>" : "");
        open = paragraphs;
        writeLine(*line, out);
        out.markup(more ? "<br />\n" : "");
    }
    out.markup(open ? "</p>\n" : "");
    return out.take();
}

std::string withReferences(std::string_view html, const char* charset) {
    if (isAscii(html)) {
        return std::string(html);
    }
    std::string bytes;
    if (charset != nullptr && convert(html, "utf-8", charset, Unmappable::Fail, '?', bytes) == kErrorNone) {
        return std::string(html);
    }
    std::string out;
    for (std::size_t at = 0; at < html.size();) {
        const std::size_t length = std::max<std::size_t>(utf8SequenceLength(html, at), 1);
        const std::string_view one = html.substr(at, length);
        at += length;
        const bool fits =
            length == 1 || (charset != nullptr &&
                            convert(one, "utf-8", charset, Unmappable::Fail, '?', bytes) == kErrorNone);
        if (fits) {
            out += one;
        } else {
            out.append("&#").append(std::to_string(static_cast<unsigned long>(codePoint(one)))).append(";");
        }
    }
    return out;
}

} // namespace quzo::platform
