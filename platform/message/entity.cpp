// Entities: the library's operations on a header block, and the place in the tree. See entity.h.
#include "platform/message/entity.h"

#include <algorithm>

#include "platform/base/ascii.h"
#include "platform/charset/charset.h"
#include "platform/message/message_impl.h"
#include "platform/message/values/file_names.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"

namespace quzo::platform {

Entity::Entity(MessageImpl& message, std::uint32_t index)
    : message_(&message), index_(index), header_(message.context(), index) {}

void Entity::place(Entity* parent, Entity* next, Entity* nextSibling) {
    parent_ = parent;
    next_ = next;
    nextSibling_ = nextSibling;
    embedded_ = parent != nullptr && (parent->embedded_ || parent->getEntityType() == kEntityMessage ||
                                      parent->getEntityType() == kEntityOtherMessage);
}

int Entity::getEntityType() const {
    return guarded("Reading an entity's type", static_cast<int>(kEntityLeaf), [this]() -> int {
        if (index_ == 0 && message_->plainlyLeaf()) {
            return kEntityLeaf;
        }
        return message_->context().source.structure().entities[index_].type;
    });
}

KvMsgEntity* Entity::getNext() {
    using Result = KvMsgEntity*;
    return guarded("Walking the entities", Result(nullptr), [this]() -> Result {
        if (index_ == 0) {
            if (message_->plainlyLeaf()) {
                return nullptr;
            }
            message_->tree();
        }
        return next_;
    });
}

KvMsgEntity* Entity::getNextSibling() { return nextSibling_; }

int Entity::hasError() const {
    return guarded("Checking an entity", static_cast<int>(kErrorMalformedEntity), [this]() -> int {
        const int ofMessage = message_->error();
        if (ofMessage != kErrorNone) {
            return ofMessage;
        }
        return header_.editable() ? kErrorNone : kErrorMalformedEntity;
    });
}

// Bodies are not replaced yet: the caller is told so and keeps its locator.
int Entity::setContent(KvMsgResourceLocator* /*content*/, const char* /*contentType*/,
                       const char* /*charset*/, const char* /*transferEncoding*/) {
    return kErrorNotSupported;
}

int Entity::insertChildEntity(KvMsgEntity* /*child*/, int /*position*/) { return kErrorNotSupported; }

int Entity::insertMessage(KvMsgAttachHandle /*message*/, int /*position*/) { return kErrorNotSupported; }

const KvMsgFileInfo* Entity::getFileInfo() {
    using Result = const KvMsgFileInfo*;
    return guarded("Reading a file name", Result(nullptr), [this]() -> Result {
        const unsigned edits = message_->context().edits;
        if (!fileInfo_ || fileInfo_->edits != edits) {
            auto info = std::make_unique<FileInfo>();
            info->edits = edits;
            std::vector<std::string> names = fileNames();
            if (!names.empty()) {
                info->name = std::move(names.front());
                info->shown.fileName = info->name.c_str();
            }
            fileInfo_ = std::move(info);
        }
        return fileInfo_->shown.fileName == nullptr ? nullptr : &fileInfo_->shown;
    });
}

int Entity::getHeaderFieldCount() const {
    return guarded("Counting header fields", 0, [this] { return static_cast<int>(header_.count()); });
}

KvMsgHeaderField* Entity::getHeaderField(int index, bool forRead) {
    using Result = KvMsgHeaderField*;
    return guarded("Looking up a header field", Result(nullptr), [&]() -> Result {
        const bool allowed = index >= 0 && (forRead || hasError() == kErrorNone);
        return allowed ? header_.at(static_cast<std::size_t>(index)) : nullptr;
    });
}

KvMsgHeaderField* Entity::getHeaderFieldByName(const char* name, bool forRead) {
    using Result = KvMsgHeaderField*;
    return guarded("Looking up a header field", Result(nullptr), [&]() -> Result {
        const bool allowed = name != nullptr && (forRead || hasError() == kErrorNone);
        return allowed ? header_.find(name) : nullptr;
    });
}

KvMsgHeaderField* Entity::addHeaderField(int position, const char* name, const char* value,
                                         const char* charset) {
    using Result = KvMsgHeaderField*;
    return guarded("Adding a header field", Result(nullptr), [&]() -> Result {
        if (name == nullptr || value == nullptr || position < -1 || hasError() != kErrorNone) {
            return nullptr;
        }
        const std::size_t at = position < 0 ? header_.count() : static_cast<std::size_t>(position);
        int error = kErrorNone;
        return header_.add(at, name, value, charset, error);
    });
}

int Entity::removeHeaderField(int index) {
    return guarded("Removing a header field", static_cast<int>(kErrorNoMemory), [&]() -> int {
        if (hasError() != kErrorNone) {
            return kErrorMalformedEntity;
        }
        return index < 0 ? kErrorNotFound : header_.removeAt(static_cast<std::size_t>(index));
    });
}

int Entity::removeHeader(const char* name) {
    return guarded("Removing header fields", static_cast<int>(kErrorNoMemory), [&]() -> int {
        if (name == nullptr) {
            return kErrorInvalidArgument;
        }
        if (hasError() != kErrorNone) {
            return kErrorMalformedEntity;
        }
        header_.removeAll(name, nullptr);
        return kErrorNone;
    });
}

std::string_view Entity::body() const {
    const ScannedText& source = message_->context().source;
    if (index_ == 0 && message_->plainlyLeaf()) {
        return source.text().substr(std::min(source.header(0).bodyBegin, source.text().size()));
    }
    const EntitySpan& span = source.structure().entities[index_];
    const std::size_t begin = std::min(span.header.bodyBegin, span.bodyEnd);
    return source.text().substr(begin, span.bodyEnd - begin);
}

std::string Entity::mediaType() const {
    const ContentType type = header_.contentType();
    if (type.valid()) {
        return lowered(type.type) + '/' + lowered(type.subtype);
    }
    return index_ != 0 && getEntityType() == kEntityMessage ? "message/rfc822" : "text/plain";
}

std::vector<std::string> Entity::fileNames() const {
    return fileNamesOf(header_.rawValues("Content-Disposition"), header_.rawValues("Content-Type"));
}

std::string Entity::charset() const { return charsetOf(header_.contentType()); }

std::string Entity::charsetOf(const ContentType& contentType) {
    std::string storage;
    const std::string_view found = trimmed(findParameter(contentType.parameters, "charset", storage));
    return isCharsetName(found) ? std::string(found) : std::string();
}

bool Entity::markedAttachment() const {
    const std::optional<std::string_view> value = header_.rawValue("Content-Disposition");
    return value && startsWithNoCase(trimmed(*value), "attachment");
}

} // namespace quzo::platform
