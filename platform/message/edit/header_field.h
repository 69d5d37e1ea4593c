// One header field: where it stands in the received bytes, or the text that stands in its place.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "quzo/core/message.h"

namespace quzo::platform {

class HeaderBlock;

// Small until somebody reads a value or edits: header blocks are walked field by field for every message.
// Belongs to its block, also after it was removed from it; reads still answer then, edits fail.
class HeaderField final : public KvMsgHeaderField {
public:
    static constexpr std::uint32_t kAdded = UINT32_MAX;

    // The field at `span` of the block's received header.
    HeaderField(HeaderBlock& block, std::uint32_t span) : block_(&block), span_(span) {}
    // A new field that is to stand at `offset` of the text. `text` is the whole field, line break included.
    HeaderField(HeaderBlock& block, std::size_t offset, std::size_t nameLength, std::string text);
    ~HeaderField() = default;
    HeaderField(HeaderField&&) = default;
    HeaderField& operator=(HeaderField&&) = delete;
    HeaderField(const HeaderField&) = delete;
    HeaderField& operator=(const HeaderField&) = delete;

    const char* getName() const override;
    const char* getValue(const char** charsetOut) const override;
    int setValue(const char* value, const char* charset) override;
    int setParameter(const char* name, const char* value, int reserved) override;
    const char* getRawLine() const override;

    // Whether the value has encoded words that can be read, and the charset in which getValue()'s text is to
    // be read whatever the message's RawValues: empty for ASCII that no word says anything about.
    bool hasWords() const { return read().hasWords; }
    const std::string& charsetOfText() const { return read().charset; }

    // Views that hold until the field changes.
    std::string_view name() const;
    std::string_view rawValue() const; // behind the colon, line break included
    std::string_view text() const;     // the whole field as it now stands

    bool added() const { return span_ == kAdded; }
    bool removed() const { return removed_; }
    // Whether text() differs from the received bytes. Always true for an added field.
    bool differs() const;
    std::uint32_t span() const { return span_; }
    // Where it stands in the received bytes, or, an added one, before which of them.
    std::size_t offset() const;
    void markRemoved() { removed_ = true; }

private:
    // What exists only once a value was asked for or an edit was made.
    struct Details {
        bool edited = false;
        bool decoded = false;
        std::size_t offset = 0; // of an added field
        std::uint32_t nameLength = 0;
        std::string text; // when edited: the whole field
        std::string value;
        std::string charset; // see charsetOfText()
        bool hasWords = false;
        unsigned shapes = 0; // of the message, when it was decoded
        std::string rawLine;
    };

    Details& details() const;
    std::string_view received() const;
    std::size_t valueOffset() const; // within text()
    const Details& read() const;
    void decode(Details& details) const;
    int replaceValue(std::string_view separator, std::string_view value);

    HeaderBlock* block_;
    mutable const char* name_ = nullptr; // NUL-terminated, in the message's arena
    mutable std::unique_ptr<Details> details_;
    std::uint32_t span_;
    bool removed_ = false;
};

} // namespace quzo::platform
