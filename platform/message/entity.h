// One MIME entity of a message.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/message/edit/header_block.h"
#include "quzo/core/message.h"

namespace quzo::platform {

class MessageImpl;

// Belongs to its message and lives as long as it. The root exists without the tree being known; asking
// it for what lies below makes the tree.
class Entity final : public KvMsgEntity {
public:
    Entity(MessageImpl& message, std::uint32_t index);
    ~Entity() = default;
    Entity(const Entity&) = delete;
    Entity& operator=(const Entity&) = delete;

    int getEntityType() const override;
    KvMsgEntity* getNext() override;
    KvMsgEntity* getNextSibling() override;

    // The root is judged by its own header block (and the message's size) alone: a limit that cuts the tree
    // somewhere below must not keep a message from being tagged. Embedded messages and parts that were cut
    // by a limit have an error.
    int hasError() const override;

    int setContent(KvMsgResourceLocator* content, const char* contentType, const char* charset,
                   const char* transferEncoding) override;
    const KvMsgFileInfo* getFileInfo() override;
    int getHeaderFieldCount() const override;
    KvMsgHeaderField* getHeaderField(int index, bool forRead) override;
    KvMsgHeaderField* getHeaderFieldByName(const char* name, bool forRead) override;
    KvMsgHeaderField* addHeaderField(int position, const char* name, const char* value,
                                     const char* charset) override;
    int removeHeaderField(int index) override;
    int removeHeader(const char* name) override;
    int insertChildEntity(KvMsgEntity* child, int position) override;
    int insertMessage(KvMsgAttachHandle message, int position) override;

    MessageImpl& message() const { return *message_; }
    std::uint32_t index() const { return index_; }
    HeaderBlock& header() const { return header_; }

    // The body as it stands, still encoded.
    std::string_view body() const;

    // "type/subtype" in lower case; the default of the place (text/plain, in a digest message/rfc822) when
    // no Content-Type says anything.
    std::string mediaType() const;
    // Every name that the header block gives the entity, see fileNamesOf().
    std::vector<std::string> fileNames() const;
    // The charset parameter of the Content-Type; empty when there is none that could be a charset's name.
    std::string charset() const;
    // The same of any Content-Type.
    static std::string charsetOf(const ContentType& contentType);
    // Whether Content-Disposition says that it is an attachment.
    bool markedAttachment() const;

    // Null for the root, and null for all while the tree is not known.
    Entity* parent() const { return parent_; }
    // Whether it belongs to a message embedded in this one.
    bool embedded() const { return embedded_; }
    // By the tree, once, before anybody sees the entity.
    void place(Entity* parent, Entity* next, Entity* nextSibling);

private:
    MessageImpl* message_;
    std::uint32_t index_; // in the structure of the received text
    mutable HeaderBlock header_;
    Entity* parent_ = nullptr;
    Entity* next_ = nullptr;
    Entity* nextSibling_ = nullptr;
    bool embedded_ = false;
    struct FileInfo {
        unsigned edits = 0; // of the message, when it was read
        std::string name;
        KvMsgFileInfo shown;
    };
    std::unique_ptr<FileInfo> fileInfo_;
};

} // namespace quzo::platform
