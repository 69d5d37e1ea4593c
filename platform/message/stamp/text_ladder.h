// The charset in which a stamp gets into a plain text.
//
// In order: the charset that was asked for, the text's own, UTF-8, each only if it carries text and stamp
// without loss. A stamp in ASCII goes into the text as that is, whatever was asked for, since no byte of it
// has to change for that.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/stamp/part_text.h"
#include "platform/message/stamp/placement.h"

namespace quzo::platform {

// A text with a stamp: what was changed in it or, when all of it is in another charset, the whole.
struct StampedText {
    std::optional<Placement> placement; // its bytes are in the text's charset
    std::string whole{};
    std::string charset{}; // to be named in the header; empty: what stands there stays
};

class TextLadder {
public:
    // All outlive the ladder. `stamp` is UTF-8; `requested` may be null.
    TextLadder(const PartText& part, std::string_view stamp, StampPosition position, TextFormat format,
               const char* requested);

    // The next way that loses nothing; nothing when there is none left.
    std::optional<StampedText> next();

private:
    std::optional<StampedText> inOwn() const;
    std::optional<StampedText> inOther(const std::string& charset) const;
    std::optional<StampedText> converted(const std::string& from, const std::string& to) const;
    std::optional<StampedText> spliced(const std::string& charset) const;
    Placement placedIn(std::string_view text, std::string_view lineBreak) const;

    const PartText& part_;
    std::string_view stamp_;
    StampPosition position_;
    TextFormat format_;
    std::vector<std::string> charsets_; // still to be tried; empty: its own
    std::size_t tried_ = 0;
};

} // namespace quzo::platform
