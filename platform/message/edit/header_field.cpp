// Reading and changing one header field. See header_field.h.
#include "platform/message/edit/header_field.h"

#include <algorithm>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/charset/encoded_words.h"
#include "platform/charset/value_cut.h"
#include "platform/message/edit/header_block.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/values/field_text.h"
#include "platform/message/values/parameters.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"

namespace quzo::platform {
namespace {

// The charset of a value without words; empty for ASCII.
std::string charsetOfRawValue(const std::string& bytes, const std::string& bodyCharset) {
    if (!isAscii(bytes)) {
        return charsetOfRawText(bytes, bodyCharset);
    }
    if (!hasControlsButTabs(bytes)) {
        return {};
    }
    // Old Japanese mail has its shift sequences raw.
    const bool shifts = bytes.find('\x1B') != std::string::npos && isReadable(bytes, "iso-2022-jp");
    return shifts ? "iso-2022-jp" : "utf-8";
}

// Whoever writes a value back does it in its charset. Text in iso-8859-1 and its successors is then written
// raw, where control characters may not stand and text that looks like an encoded word would become one;
// and us-ascii says nothing that would hold once other text is added.
void prepareToBeWritten(bool hasWords, DecodedValue& value) {
    if (sameCharset(value.charset.c_str(), "us-ascii")) {
        value.charset = "utf-8";
        return;
    }
    const bool wouldChange =
        hasControlsButTabs(value.bytes) || (hasWords && value.bytes.find("=?") != std::string::npos);
    std::string converted;
    if (wouldChange && startsWithNoCase(value.charset, "iso-8859-1") &&
        convert(value.bytes, value.charset.c_str(), "utf-8", Unmappable::Fail, '?', converted) ==
            kErrorNone) {
        value = {std::move(converted), "utf-8"};
    }
}

} // namespace

HeaderField::HeaderField(HeaderBlock& block, std::size_t offset, std::size_t nameLength, std::string text)
    : block_(&block), details_(std::make_unique<Details>()), span_(kAdded) {
    details_->edited = true;
    details_->offset = offset;
    details_->nameLength = static_cast<std::uint32_t>(nameLength);
    details_->text = std::move(text);
}

HeaderField::Details& HeaderField::details() const {
    if (!details_) {
        details_ = std::make_unique<Details>();
    }
    return *details_;
}

std::string_view HeaderField::received() const {
    if (added()) {
        return {};
    }
    const FieldSpan& field = block_->span().fields[span_];
    return block_->text().substr(field.begin, field.end - field.begin);
}

std::string_view HeaderField::text() const {
    return details_ && details_->edited ? std::string_view(details_->text) : received();
}

std::string_view HeaderField::name() const {
    return added() ? std::string_view(details_->text).substr(0, details_->nameLength)
                   : fieldName(block_->text(), block_->span().fields[span_]);
}

std::size_t HeaderField::valueOffset() const {
    if (added()) {
        return details_->nameLength + std::size_t{1};
    }
    const FieldSpan& field = block_->span().fields[span_];
    return field.valueBegin - field.begin;
}

std::string_view HeaderField::rawValue() const { return text().substr(valueOffset()); }

std::size_t HeaderField::offset() const {
    return added() ? details_->offset : block_->span().fields[span_].begin;
}

bool HeaderField::differs() const {
    return details_ && details_->edited && (added() || details_->text != received());
}

const char* HeaderField::getName() const {
    if (name_ == nullptr) {
        name_ = guarded("Reading a header field's name", "", [&] { return block_->context().keep(name()); });
    }
    return name_;
}

void HeaderField::decode(Details& details) const {
    Surroundings& message = block_->context().surroundings;
    const std::string_view raw = rawValue();
    const std::string body = isAscii(raw) ? std::string() : message.charsetOfBody();
    DecodedValue decoded = decodeWords(raw, body);
    // The text is handed out as a C string.
    std::replace(decoded.bytes.begin(), decoded.bytes.end(), '\0', ' ');
    details.hasWords = !decoded.charset.empty();
    const bool asItCame = !details.hasWords && message.rawValues() == RawValues::AsTheyCame;
    if (!details.hasWords) {
        decoded.charset = charsetOfRawValue(decoded.bytes, body);
    }
    if (!asItCame) {
        prepareToBeWritten(details.hasWords, decoded);
    }
    details.value = std::move(decoded.bytes);
    details.charset = std::move(decoded.charset);
    details.decoded = true;
    details.shapes = block_->context().shapes;
}

const HeaderField::Details& HeaderField::read() const {
    Details& own = details();
    // Raw 8-bit text is read with a look at the body.
    const bool mayReadOtherwise = !own.hasWords && !own.charset.empty();
    if (!own.decoded || (mayReadOtherwise && own.shapes != block_->context().shapes)) {
        decode(own);
    }
    return own;
}

const char* HeaderField::getValue(const char** charsetOut) const {
    if (charsetOut != nullptr) {
        *charsetOut = nullptr;
    }
    using Result = const char*;
    return guarded("Reading a header field", Result(nullptr), [&]() -> Result {
        const Details& own = read();
        const bool named =
            own.hasWords || block_->context().surroundings.rawValues() == RawValues::WithCharset;
        if (charsetOut != nullptr && named && !own.charset.empty()) {
            *charsetOut = own.charset.c_str();
        }
        return own.value.c_str();
    });
}

const char* HeaderField::getRawLine() const {
    using Result = const char*;
    return guarded("Reading a raw header field", Result(nullptr), [&]() -> Result {
        Details& own = details();
        if (own.rawLine.empty()) {
            own.rawLine = text();
            std::replace(own.rawLine.begin(), own.rawLine.end(), '\0', ' ');
        }
        return own.rawLine.c_str();
    });
}

// Puts a new value, which is clean, behind the name as it is spelled.
int HeaderField::replaceValue(std::string_view separator, std::string_view value) {
    const std::string_view old = text();
    const bool brings = !value.empty() && (isBlank(value[0]) || value[0] == '\r' || value[0] == '\n');
    std::string now(old.substr(0, valueOffset()));
    now.append(brings ? "" : separator).append(value);
    if (old.back() == '\n') { // else it is the last thing of an unfinished header block, and stays so
        now.append(block_->context().source.lineBreak());
    }
    Details& own = details();
    block_->noteEdit(name());
    own.text = std::move(now);
    own.edited = true;
    own.decoded = false;
    own.rawLine.clear();
    return kErrorNone;
}

int HeaderField::setValue(const char* value, const char* charset) {
    return guarded("Setting a header field", static_cast<int>(kErrorNoMemory), [&]() -> int {
        if (value == nullptr) {
            return kErrorInvalidArgument;
        }
        if (removed_ || !block_->editable()) {
            return removed_ ? kErrorNotFound : kErrorMalformedEntity;
        }
        const std::string separator(separatorOf(rawValue()));
        std::string written;
        const int error = writtenValue(value, charset, valueOffset() + separator.size(),
                                       block_->context().source.lineBreak(), written);
        return error != kErrorNone ? error : replaceValue(separator, written);
    });
}

int HeaderField::setParameter(const char* name, const char* value, int /*reserved*/) {
    return guarded("Setting a parameter", static_cast<int>(kErrorNoMemory), [&]() -> int {
        if (name == nullptr || value == nullptr) {
            return kErrorInvalidArgument;
        }
        if (removed_ || !block_->editable()) {
            return removed_ ? kErrorNotFound : kErrorMalformedEntity;
        }
        const std::string written =
            replaceParameter(rawValue(), name, value, valueOffset(), block_->context().source.lineBreak());
        return written.empty() ? kErrorInvalidArgument : replaceValue("", written);
    });
}

} // namespace quzo::platform
