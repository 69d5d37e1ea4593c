// HTML cut into its tags and what lies between them, as browsers and mail clients cut it.
//
// Works on the bytes of a text whose markup is ASCII. Linear in the text, keeps nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quzo::platform {

struct HtmlToken {
    enum class Kind : std::uint8_t {
        Text,
        StartTag,    // of an element like script or style: with all up to its end tag
        EndTag,      //
        Comment,     //
        Declaration, // "<!DOCTYPE ...>", "<?xml ...>" and what else is read as a comment
    };
    Kind kind = Kind::Text;
    std::size_t begin = 0;
    std::size_t end = 0;     // behind it
    std::string_view name{}; // of a tag, as it is spelled
    bool open = false;       // it never ends: the text does
};

class HtmlScan {
public:
    // `html` must outlive the scan.
    explicit HtmlScan(std::string_view html) : html_(html) {}

    // The next token; false at the end.
    bool next(HtmlToken& token);

private:
    void readMarkup(HtmlToken& token) const;
    void readComment(HtmlToken& token) const;
    void readTag(HtmlToken& token) const;
    std::size_t behindTag(std::size_t at, bool& selfClosing) const;
    std::size_t behindAttributeValue(std::size_t at) const;
    std::size_t behindRawText(std::size_t at, std::string_view name) const;

    std::string_view html_;
    std::size_t at_ = 0;
};

} // namespace quzo::platform
