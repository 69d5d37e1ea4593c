// Entities: the library's operations on a header block, and the place in the tree. See entity.h.
#include "platform/message/edit/entity.h"

#include <algorithm>

#include "platform/base/ascii.h"
#include "platform/charset/charset.h"
#include "platform/message/edit/message_context.h"
#include "platform/message/edit/message_writer.h"
#include "platform/message/values/file_names.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"

namespace quzo::platform {

Entity::Entity(MessageContext& context, const ScannedText& text, std::uint32_t index)
    : context_(&context), header_(context, *this, text, index), content_{&text, index}, slot_(index) {}

Entity* Entity::nextSibling() const {
    Entity* next = nextSibling_;
    while (next != nullptr && next->removed_) {
        next = next->nextSibling_; // both were removed, this one first
    }
    return next;
}

bool Entity::removed() const {
    // Senders nest deeply, so what is found is kept for the next question: that something is gone for good,
    // that it is there until the tree is edited again.
    const unsigned now = context_->shapes;
    const Entity* up = this;
    while (up != nullptr && !up->removed_ && !up->gone_ && up->thereAt_ != now) {
        up = up->parent_;
    }
    const bool gone = up != nullptr && (up->removed_ || up->gone_);
    for (const Entity* at = this; at != up; at = at->parent_) {
        at->gone_ = gone;
        at->thereAt_ = now;
    }
    return gone;
}

bool Entity::untouched() const {
    return !header_.edited() && !contentEdited_ && !editedBelow_ && header_.source() == content_;
}

void Entity::noteEdit() {
    ++context_->edits;
    for (Entity* up = parent_; up != nullptr && !up->editedBelow_; up = up->parent_) {
        up->editedBelow_ = true;
    }
}

void Entity::noteHeaderEdit(std::string_view name) {
    if (startsWithNoCase(name, "Content-")) {
        ++context_->shapes;
        const bool saysType =
            equalsNoCase(name, "Content-Type") || equalsNoCase(name, "Content-Transfer-Encoding");
        if (saysType) {
            context_->tree.noteTypeEdit(*this);
        }
    }
    noteEdit();
}

int Entity::getEntityType() const {
    return guarded("Reading an entity's type", static_cast<int>(kEntityLeaf), [this]() -> int {
        EntityTree& tree = context_->tree;
        if (this == &tree.root() && tree.plainlyLeaf()) {
            return kEntityLeaf;
        }
        tree.grow();
        return span().type;
    });
}

KvMsgEntity* Entity::getNext() {
    using Result = KvMsgEntity*;
    return guarded("Walking the entities", Result(nullptr), [this]() -> Result {
        EntityTree& tree = context_->tree;
        if (this == &tree.root() && tree.plainlyLeaf()) {
            return nullptr;
        }
        tree.grow();
        return EntityTree::next(*this);
    });
}

KvMsgEntity* Entity::getNextSibling() {
    using Result = KvMsgEntity*;
    return guarded("Walking the entities", Result(nullptr), [this]() -> Result {
        context_->tree.grow();
        return nextSibling();
    });
}

int Entity::hasError() const {
    return guarded("Checking an entity", static_cast<int>(kErrorMalformedEntity), [this]() -> int {
        const int ofMessage = context_->source.error();
        if (ofMessage != kErrorNone) {
            return ofMessage;
        }
        return header_.editable() ? kErrorNone : kErrorMalformedEntity;
    });
}

// Whether the entity is a container, or a part that makes up a signature or an encryption: what bears a name
// there is no file that somebody attached, and taking it away would take the text with it.
bool Entity::isOfProtection() {
    if (getEntityType() == kEntityMultipart) {
        return true;
    }
    const ContentType type = header_.contentType();
    if (type.is("application", "pkcs7-mime") || type.is("application", "x-pkcs7-mime")) {
        return true;
    }
    if (parent_ == nullptr || parent_->span().type != kEntityMultipart) {
        return false;
    }
    const ContentType around = parent_->header_.contentType();
    return around.is("multipart", "encrypted") ||
           (around.is("multipart", "signed") && parent_->firstChild() != this);
}

const KvMsgFileInfo* Entity::getFileInfo() {
    using Result = const KvMsgFileInfo*;
    return guarded("Reading a file name", Result(nullptr), [this]() -> Result {
        if (!fileInfo_ || fileInfo_->version != header_.version() || fileInfo_->shapes != context_->shapes) {
            auto info = std::make_unique<FileInfo>();
            info->version = header_.version();
            info->shapes = context_->shapes;
            std::vector<std::string> names = isOfProtection() ? std::vector<std::string>() : fileNames();
            if (names.empty() && markedAttachment() && !isOfProtection()) {
                names.emplace_back(); // senders forget the name, and readers offer it as a file all the same
            }
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
    EntityTree& tree = context_->tree;
    if (this == &tree.root() && tree.plainlyLeaf()) {
        const std::string_view text = context_->source.text();
        return text.substr(std::min(context_->source.header(0).bodyBegin, text.size()));
    }
    tree.grow();
    if (editedBelow_ || (contentEdited_ && firstSlot_ != nullptr)) {
        if (!written_ || written_->edits != context_->edits) {
            auto written = std::make_unique<Written>();
            written->bytes = writtenContent(*this);
            written->edits = context_->edits;
            written_ = std::move(written);
        }
        return written_->bytes;
    }
    const std::size_t begin = std::min(span().header.bodyBegin, span().bodyEnd);
    return content_.text->text().substr(begin, span().bodyEnd - begin);
}

std::string Entity::mediaType() const {
    const ContentType type = header_.contentType();
    if (type.valid()) {
        return lowered(type.type) + '/' + lowered(type.subtype);
    }
    return parent_ != nullptr && getEntityType() == kEntityMessage ? "message/rfc822" : "text/plain";
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
