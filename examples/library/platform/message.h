// The message of this platform: a header block of fields and the text behind it, all US-ASCII.
//
// It is as small as a model can be that the library works on: one entity, no structure below it, no envelope.
// What it cannot do, it refuses with an error number, which is always allowed; what it says, is true. Bytes
// of fields that nobody changed are written as they came.
//
// Ownership: the message owns its entity and fields. Fields that were removed stay until the message goes,
// since an action may still hold one.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "quzo/core/message.h"

namespace example {

// Whether all bytes are US-ASCII without NUL.
bool isAscii(std::string_view text);

// The value as it may stand in one line: no line break or NUL of it makes another header line.
std::string oneLine(std::string_view value);

class Field final : public quzo::KvMsgHeaderField {
public:
    // `raw` is the whole field with its folds and its line break.
    explicit Field(std::string raw);

    const char* getName() const override { return name_.c_str(); }
    const char* getValue(const char** charsetOut) const override;
    int setValue(const char* value, const char* charset) override;
    int setParameter(const char* name, const char* value, int reserved) override;
    const char* getRawLine() const override { return raw_.c_str(); }

    bool is(std::string_view name) const; // without regard to case

private:
    std::string raw_;
    std::string name_;
    std::string value_;
};

class Entity final : public quzo::KvMsgEntity {
public:
    explicit Entity(std::string_view bytes);

    int getEntityType() const override { return quzo::kEntityLeaf; }
    quzo::KvMsgEntity* getNext() override { return nullptr; }
    quzo::KvMsgEntity* getNextSibling() override { return nullptr; }
    int hasError() const override { return readable_ ? 0 : 1; }
    const quzo::KvMsgFileInfo* getFileInfo() override { return nullptr; }
    int getHeaderFieldCount() const override { return static_cast<int>(fields_.size()); }
    quzo::KvMsgHeaderField* getHeaderField(int index, bool forRead) override;
    quzo::KvMsgHeaderField* getHeaderFieldByName(const char* name, bool forRead) override;
    quzo::KvMsgHeaderField* addHeaderField(int position, const char* name, const char* value,
                                           const char* charset) override;
    int removeHeaderField(int index) override;
    int removeHeader(const char* name) override;

    // Not done here; the locator stays the caller's, as with every failure.
    int setContent(quzo::KvMsgResourceLocator* content, const char* contentType, const char* charset,
                   const char* transferEncoding) override;
    int insertChildEntity(quzo::KvMsgEntity* child, int position) override;
    int insertMessage(quzo::KvMsgAttachHandle message, int position) override;

    // The value of the first field of that name; null when there is none.
    const char* valueOf(std::string_view name) const;

    std::string header() const; // as it now stands, without the empty line
    const std::string& rest() const { return rest_; }

private:
    Field* find(std::string_view name) const;

    std::vector<std::unique_ptr<Field>> fields_;
    std::vector<std::unique_ptr<Field>> removed_;
    std::string rest_; // the empty line and the body
    bool readable_ = true;
};

class Message final : public quzo::KvMsgMailMessage {
public:
    explicit Message(std::string_view bytes) : root_(bytes) {}

    quzo::KvMsgEntity* getRootEntity() override { return &root_; }
    int insertStamp(int position, quzo::KvMsgResourceLocator* stamp, int kind, const char* srcCharset,
                    const char* dstCharset) override;
    bool isSigned() const override { return isOfType({"multipart/signed", "application/pkcs7-mime"}); }
    bool isEncrypted() const override { return isOfType({"multipart/encrypted", "application/pkcs7-mime"}); }
    const char* getIdentifier() const override { return "1A"; } // of the only message of this program
    quzo::KvMsgMailSessionInfo* getSessionInfo() override { return nullptr; } // no envelope
    quzo::KvMsgAttachHandle getAttachHandle() const override { return {this}; }

    const Entity& root() const { return root_; }

private:
    // By the beginning of its Content-Type, the subtype with "x-" before it as well.
    bool isOfType(std::initializer_list<std::string_view> types) const;

    Entity root_;
};

} // namespace example
