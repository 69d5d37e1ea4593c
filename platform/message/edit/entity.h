// One MIME entity of a message, as it now stands.
//
// An entity is a header block and a content. Both lie in texts that have been scanned: the message as
// received, or a fragment that an edit brought in; an entity whose body was replaced has its header in one
// text and its content in another. A content is the bytes of a leaf, or has children; those that were scanned
// with it have a slot in it, inserted ones stand between the slots.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/edit/header_block.h"
#include "quzo/core/message.h"

namespace quzo::platform {

struct MessageContext;

// Where the body of an entity lies.
struct Content {
    const ScannedText* text = nullptr;
    std::uint32_t index = 0; // the entity of that text whose body it is

    bool operator==(const Content&) const = default;
};

// Belongs to its message and lives as long as it, also when it was removed from it. The root exists without
// the tree being known; asking it for what lies below makes the tree.
class Entity final : public KvMsgEntity {
public:
    static constexpr std::uint32_t kInserted = EntitySpan::kNone;

    // The entity `index` of a scanned text. It has no place in the tree yet.
    Entity(MessageContext& context, const ScannedText& text, std::uint32_t index);
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

    MessageContext& context() const { return *context_; }
    HeaderBlock& header() const { return header_; }

    // The body as it stands, still encoded. The view holds until the next edit.
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
    // Those that have not been removed; null when there is none.
    Entity* firstChild() const { return firstChild_; }
    Entity* lastChild() const { return lastChild_; }
    Entity* previousSibling() const { return previousSibling_; }
    Entity* nextSibling() const; // of a removed one, the one that followed it
    // Whether it, or what it lies in, was removed.
    bool removed() const;
    // Whether it belongs to a message embedded in this one.
    bool embedded() const { return embedded_; }

    // What lies in the content's text: type, boundaries, offsets.
    const EntitySpan& span() const { return content_.text->structure().entities[content_.index]; }
    const Content& content() const { return content_; }
    // For those who walk a content from slot to slot: removed children are still there.
    Entity* firstSlot() const { return firstSlot_; }
    Entity* nextSlot() const { return nextSlot_; }
    std::uint32_t slot() const { return slot_; }
    bool removedItself() const { return removed_; }
    // Whether other bytes stand where its body was, or another set of children.
    bool contentEdited() const { return contentEdited_; }
    // Whether something below it differs from what was scanned.
    bool editedBelow() const { return editedBelow_; }
    // Whether all of it is one range of one text.
    bool untouched() const;

    // By the header block: a field of that name is about to change.
    void noteHeaderEdit(std::string_view name);

private:
    friend class EntityTree;

    void noteEdit();
    bool isOfProtection();

    struct FileInfo {
        unsigned version = 0; // of the header block, when it was read
        unsigned shapes = 0;  // of the message
        std::string name;
        KvMsgFileInfo shown;
    };
    struct Written {
        unsigned edits = 0; // of the message, when it was written
        std::string bytes;
    };

    MessageContext* context_;
    mutable HeaderBlock header_;
    Content content_;
    Entity* parent_ = nullptr;
    Entity* firstChild_ = nullptr;
    Entity* lastChild_ = nullptr;
    Entity* previousSibling_ = nullptr;
    Entity* nextSibling_ = nullptr;
    Entity* firstSlot_ = nullptr;
    Entity* nextSlot_ = nullptr;
    std::uint32_t slot_; // in its parent's content: the entity there that it was scanned as, or kInserted
    bool removed_ = false;
    mutable bool gone_ = false; // found to lie in a removed one
    mutable unsigned thereAt_ =
        std::numeric_limits<unsigned>::max(); // shapes when it was last found in the tree
    bool embedded_ = false;
    bool contentEdited_ = false;
    bool editedBelow_ = false;
    std::unique_ptr<FileInfo> fileInfo_;
    mutable std::unique_ptr<Written> written_; // the body of a container with edits
};

} // namespace quzo::platform
