// A piece grows unit by unit, and is measured with all its shift sequences and the line break. Measuring it
// for each unit would take a time that grows with the square of the line; but as long as the bytes that are
// left have room for some units at the most that each can take, none of these can be one too many, and the
// piece grows by all of them at once. See stamp_line_limit.h.
#include "quzo/actions/stamp_line_limit.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "quzo/actions/line_codec.h"
#include "quzo/core/log.h"

namespace quzo {
namespace {

using Unmappable = LineCodec::Unmappable;

constexpr int kDefaultLimit = 990;
constexpr std::int64_t kMaxCapacity = 0x7FFFFFFF;

class LineDivision {
public:
    LineDivision(LineCodec& codec, std::int64_t limit) : codec_(codec), limit_(limit) {}

    // False on failure. Whether something was divided is in changed().
    bool run(const icu::UnicodeString& text, const icu::UnicodeString& lineBreak) {
        lineBreak_ = lineBreak;
        const std::optional<std::string_view> encodedBreak =
            codec_.encode(lineBreak, codec_.maxBytes() * lineBreak.length(), Unmappable::Fail);
        if (!encodedBreak || encodedBreak->empty()) {
            return false;
        }
        const std::string breakBytes(*encodedBreak);
        breakLength_ = static_cast<std::int64_t>(breakBytes.size());
        const std::int64_t most = text.length() * codec_.maxBytes();
        capacity_ = most / limit_ * breakLength_ + most;
        if (capacity_ > kMaxCapacity) {
            return false;
        }
        bool whole = false;
        const std::optional<std::string_view> encoded =
            codec_.encode(text, capacity_, Unmappable::Fail, &whole);
        if (!encoded || encoded->empty()) {
            return false;
        }
        skips_ = whole;
        const std::string bytes(*encoded);
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t found = bytes.find(breakBytes, at);
            const std::size_t end = found == std::string::npos ? bytes.size() : found + breakBytes.size();
            if (!line(std::string_view(bytes).substr(at, end - at))) {
                return false;
            }
            at = end;
        }
        return true;
    }

    bool changed() const { return changed_; }
    std::int64_t capacity() const { return capacity_; }
    const std::string& result() const { return result_; }

private:
    bool line(std::string_view bytes) {
        if (static_cast<std::int64_t>(bytes.size()) <= limit_ + breakLength_) {
            result_ += bytes;
            return true;
        }
        ActionLog::L1("Long line detected '%d'", static_cast<int>(bytes.size()));
        const std::optional<icu::UnicodeString> units = codec_.decode(bytes, Unmappable::Substitute);
        return units && divide(*units);
    }

    bool divide(const icu::UnicodeString& units) {
        std::int32_t begin = 0; // of the piece
        for (std::int32_t at = 0; at < units.length();) {
            const std::optional<std::int64_t> length = measured(units, begin, at + 1);
            if (!length) {
                return false;
            }
            if (*length > limit_ + breakLength_) {
                if (!cut(units, begin, at)) {
                    return false;
                }
                begin = at;
                ++at; // a piece of one unit is never cut before it
                continue;
            }
            at += 1 + (skips_ ? roomFor(limit_ + breakLength_ - *length) : 0);
            at = std::min(at, units.length());
        }
        if (begin < units.length()) {
            const std::optional<std::string_view> last =
                codec_.encode(units.tempSubStringBetween(begin), capacity_, Unmappable::Substitute);
            if (!last) {
                return false;
            }
            result_ += *last;
        }
        return true;
    }

    // Units that fit into so many bytes, whatever they are: each with a shift sequence of its own.
    std::int32_t roomFor(std::int64_t bytes) const {
        constexpr std::int64_t kShift = 8;
        return static_cast<std::int32_t>(bytes / (codec_.maxBytes() + kShift));
    }

    std::optional<std::int64_t> measured(const icu::UnicodeString& units, std::int32_t begin,
                                         std::int32_t end) {
        const std::optional<std::string_view> bytes = pieceWithBreak(units, begin, end);
        return bytes ? std::optional(static_cast<std::int64_t>(bytes->size())) : std::nullopt;
    }

    std::optional<std::string_view> pieceWithBreak(const icu::UnicodeString& units, std::int32_t begin,
                                                   std::int32_t end) {
        icu::UnicodeString piece(units, begin, end - begin);
        piece += lineBreak_;
        return codec_.encode(piece, capacity_, Unmappable::Substitute);
    }

    bool cut(const icu::UnicodeString& units, std::int32_t begin, std::int32_t end) {
        const std::optional<std::string_view> bytes = pieceWithBreak(units, begin, end);
        if (!bytes) {
            return false;
        }
        result_ += *bytes;
        ActionLog::L1("Long line divided '%d'", static_cast<int>(bytes->size()));
        changed_ = true;
        return true;
    }

    LineCodec& codec_;
    const std::int64_t limit_;
    icu::UnicodeString lineBreak_;
    std::int64_t breakLength_ = 0;
    std::int64_t capacity_ = 0;
    bool skips_ = false; // no NUL hides bytes of a piece
    bool changed_ = false;
    std::string result_;
};

} // namespace

bool divideLongLines(std::string& text, const char* charset, int limit) {
    if (text.empty() || charset == nullptr) {
        return false;
    }
    LineCodec utf8("utf-8");
    LineCodec codec(charset);
    if (!utf8 || !codec) {
        return false;
    }
    const std::optional<icu::UnicodeString> lineBreak = utf8.decode("\r\n", Unmappable::Fail);
    const std::optional<icu::UnicodeString> units = utf8.decode(text, Unmappable::Fail);
    LineDivision division(codec, limit > 0 ? limit : kDefaultLimit);
    if (!lineBreak || !units || !division.run(*units, *lineBreak) || !division.changed()) {
        return false;
    }
    const std::optional<icu::UnicodeString> divided = codec.decode(division.result(), Unmappable::Substitute);
    const std::optional<std::string_view> bytes =
        divided ? utf8.encode(*divided, division.capacity(), Unmappable::Substitute) : std::nullopt;
    if (!bytes) {
        return false;
    }
    text = *bytes;
    return true;
}

} // namespace quzo
