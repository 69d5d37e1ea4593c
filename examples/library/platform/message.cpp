// Reading a header block into fields, and changing them. Nothing here throws but for want of memory, and then
// the operations that the library calls give an error.
#include "message.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "quzo/core/error_text.h"
#include "quzo/core/text.h"

namespace example {
namespace {

bool sameText(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           quzo::platform_icasencmp(a.data(), b.data(), static_cast<unsigned>(a.size())) == 0;
}

bool validName(std::string_view name) {
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F && c != ':'; });
}

} // namespace

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c != '\0' && (c & '\x80') == 0; });
}

std::string oneLine(std::string_view value) {
    std::string line(value);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; }, ' ');
    return line;
}

Field::Field(std::string raw) : raw_(std::move(raw)) {
    const std::size_t colon = raw_.find(':');
    name_ = raw_.substr(0, colon);
    value_ = raw_.substr(colon + 1);
    // A fold is a line break before a blank; without the breaks the value is one line.
    std::erase_if(value_, [](char c) { return c == '\r' || c == '\n'; });
    value_.erase(0, value_.find_first_not_of(" \t"));
}

// Encoded words are not decoded here: a value is returned as its raw bytes.
const char* Field::getValue(const char** charsetOut) const {
    if (charsetOut != nullptr) {
        *charsetOut = nullptr;
    }
    return value_.c_str();
}

int Field::setValue(const char* value, const char* /*charset*/) {
    // Other characters take encoded words, and what stands behind a NUL has not been seen by who replaces the
    // value.
    if (!isAscii(value) || raw_.find('\0') != std::string::npos) {
        return quzo::kErrorNotSupported;
    }
    try {
        const std::string_view lineBreak = raw_.ends_with("\r\n") ? "\r\n" : "\n";
        std::string line = name_ + ": " + oneLine(value);
        line += lineBreak;
        *this = Field(std::move(line));
        return quzo::kErrorNone;
    } catch (const std::bad_alloc&) {
        return quzo::kErrorNoMemory;
    }
}

int Field::setParameter(const char* /*name*/, const char* /*value*/, int /*reserved*/) {
    return quzo::kErrorNotSupported;
}

bool Field::is(std::string_view name) const { return sameText(name, name_); }

Entity::Entity(std::string_view bytes) {
    while (readable_ && !bytes.empty() && !bytes.starts_with("\n") && !bytes.starts_with("\r\n")) {
        std::size_t end = bytes.find('\n');
        while (end < bytes.size() && end + 1 < bytes.size() &&
               (bytes[end + 1] == ' ' || bytes[end + 1] == '\t')) {
            end = bytes.find('\n', end + 1);
        }
        const std::string_view field = bytes.substr(0, end == std::string_view::npos ? end : end + 1);
        // A field that is cut has no line break, and another one behind it would become part of it.
        const std::size_t colon = field.find(':');
        readable_ = field.ends_with('\n') && colon < field.size() && validName(field.substr(0, colon));
        if (readable_) {
            fields_.push_back(std::make_unique<Field>(std::string(field)));
            bytes.remove_prefix(field.size());
        }
    }
    rest_ = bytes;
}

quzo::KvMsgHeaderField* Entity::getHeaderField(int index, bool /*forRead*/) {
    return index >= 0 && index < getHeaderFieldCount() ? fields_[static_cast<std::size_t>(index)].get()
                                                       : nullptr;
}

Field* Entity::find(std::string_view name) const {
    const auto found =
        std::find_if(fields_.begin(), fields_.end(), [name](const auto& field) { return field->is(name); });
    return found != fields_.end() ? found->get() : nullptr;
}

quzo::KvMsgHeaderField* Entity::getHeaderFieldByName(const char* name, bool /*forRead*/) {
    return find(name);
}

const char* Entity::valueOf(std::string_view name) const {
    const Field* field = find(name);
    return field != nullptr ? field->getValue(nullptr) : nullptr;
}

quzo::KvMsgHeaderField* Entity::addHeaderField(int position, const char* name, const char* value,
                                               const char* /*charset*/) {
    if (hasError() != 0 || !validName(name) || !isAscii(value)) {
        return nullptr;
    }
    try {
        const bool crlf = !fields_.empty() && std::string_view(fields_[0]->getRawLine()).ends_with("\r\n");
        auto added =
            std::make_unique<Field>(std::string(name) + ": " + oneLine(value) + (crlf ? "\r\n" : "\n"));
        const bool append = position < 0 || position > getHeaderFieldCount();
        return fields_.insert(append ? fields_.end() : fields_.begin() + position, std::move(added))->get();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int Entity::removeHeaderField(int index) {
    if (getHeaderField(index, false) == nullptr) {
        return quzo::kErrorNotFound;
    }
    try {
        removed_.emplace_back();
    } catch (const std::bad_alloc&) {
        return quzo::kErrorNoMemory;
    }
    removed_.back().swap(fields_[static_cast<std::size_t>(index)]);
    fields_.erase(fields_.begin() + index);
    return quzo::kErrorNone;
}

int Entity::removeHeader(const char* name) {
    for (int index = getHeaderFieldCount() - 1; index >= 0; --index) {
        if (fields_[static_cast<std::size_t>(index)]->is(name)) {
            if (const int error = removeHeaderField(index); error != 0) {
                return error;
            }
        }
    }
    return quzo::kErrorNone;
}

int Entity::setContent(quzo::KvMsgResourceLocator*, const char*, const char*, const char*) {
    return quzo::kErrorNotSupported;
}
int Entity::insertChildEntity(quzo::KvMsgEntity*, int) { return quzo::kErrorNotSupported; }
int Entity::insertMessage(quzo::KvMsgAttachHandle, int) { return quzo::kErrorNotSupported; }

std::string Entity::header() const {
    std::string text;
    for (const auto& field : fields_) {
        text += field->getRawLine();
    }
    return text;
}

int Message::insertStamp(int, quzo::KvMsgResourceLocator*, int, const char*, const char*) {
    return quzo::kErrorNotSupported;
}

bool Message::isOfType(std::initializer_list<std::string_view> types) const {
    const char* field = root_.valueOf("Content-Type");
    std::string_view value = field != nullptr ? field : "";
    return std::any_of(types.begin(), types.end(), [&](std::string_view type) {
        const std::size_t slash = type.find('/') + 1;
        std::size_t at = slash;
        if (!sameText(value.substr(0, slash), type.substr(0, slash))) {
            return false;
        }
        at += sameText(value.substr(at, 2), "x-") ? 2 : 0;
        return sameText(value.substr(at, type.size() - slash), type.substr(slash));
    });
}

} // namespace example
