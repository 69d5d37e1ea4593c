// The message model: a parsed message, its entities, their header fields and the envelope.
//
// The platform implements these interfaces; the library only calls them. Names follow RFC 5322 and
// RFC 2045: a message is a tree of entities, an entity is a header block and a body.
//
// Ownership: entities, header fields and addresses belong to their message and live as long as it
// does, also when they have been removed from its tree. Nobody deletes an object through a pointer
// from here; messages and locators are freed by the functions of factories.h (see handles.h).
//
// Errors: a false bool, a null pointer or a non-zero error number (text by KVMSGERR::I2A). Nothing
// throws. Text arguments must not be null unless the operation says so.
//
// Threads: one message and all that hangs on it is used by one thread at a time.
#pragma once

#include <cstddef>

namespace quzo {

class KvMsgEntity;
class KvMsgMailMessage;

// One mailbox of the envelope. Both texts are never null; they hold until the envelope changes.
class KvMsgAddress {
public:
    // The address alone, without angle brackets; empty for the null sender.
    virtual const char* getAddress() const = 0;
    // The display name, decoded to UTF-8; empty when there is none.
    virtual const char* getDisplayName() const = 0;

protected:
    ~KvMsgAddress() = default;
};

// The envelope: a live view of the message's sender and recipients. Changes through it change the
// message. Released with KvMsg_DeleteSessionInfo; it must not be used after its message is gone.
class KvMsgMailSessionInfo {
public:
    // The sender, or null when none has been set. The null sender "<>" is an address of no length.
    virtual const KvMsgAddress* getSender() const = 0;

    // Sets the sender: a bare address, or a mailbox with display name and angle brackets. Returns
    // 0, or an error number for a text that could not stand in an SMTP command.
    virtual int setSender(const char* address) = 0;

    virtual unsigned getRecipientCount() const = 0;

    // The recipient at `index`, counted from 0; null when there is none.
    virtual const KvMsgAddress* getRecipient(unsigned index) const = 0;

    // Inserts a recipient before `position`; a position at or beyond the count appends. A text of several,
    // with ';' between them, inserts each in its order. Returns 0 or an error number, and then nothing has
    // changed.
    virtual int insertRecipient(unsigned position, const char* address) = 0;

protected:
    ~KvMsgMailSessionInfo() = default;
};

// One header field. A field is read with its entity's getHeaderField(..., true) and changed with
// getHeaderField(..., false).
class KvMsgHeaderField {
public:
    // The field name as it is spelled in the message, without the colon; never null.
    virtual const char* getName() const = 0;

    // The field's value, unfolded, with encoded words decoded. `charsetOut`, which may be null,
    // receives the charset of the returned bytes: that of the encoded words when all words (and the
    // plain text between them) share one, "utf-8" when they do not. A value without encoded words is
    // returned as its raw bytes, with "utf-8" when it is 8-bit text in UTF-8 and null otherwise. Null
    // on failure. Both pointers hold until the field changes.
    virtual const char* getValue(const char** charsetOut) const = 0;

    // Replaces the value. With a charset, `value` is in that charset and is written as encoded words
    // where it is not plain ASCII; with a null charset it is written as it stands. A value never
    // makes a new header line: stray CR, LF and NUL become blanks. Returns 0 or an error number
    // (unknown charset, bytes that are none of it), and then nothing has changed.
    virtual int setValue(const char* value, const char* charset) = 0;

    // Sets one parameter (such as "charset") of a structured field; the third argument is always 0.
    // Returns 0 or an error number.
    virtual int setParameter(const char* name, const char* value, int reserved) = 0;

    // The field as it stands in the message: name, colon, value with its folds, line break. Null on
    // failure. Holds until the field changes. A NUL inside the field cannot be seen through it.
    virtual const char* getRawLine() const = 0;

protected:
    ~KvMsgHeaderField() = default;
};

// What is known of the file that an entity carries.
struct KvMsgFileInfo {
    const char* fileName = nullptr; // decoded to UTF-8
};

// Bytes in memory that are handed to a message: a stamp, a body. Made and freed by factories.h.
class KvMsgResourceLocator {
protected:
    ~KvMsgResourceLocator() = default;
};

// Refers to a whole message, for KvMsgEntity::insertMessage. Valid as long as that message.
struct KvMsgAttachHandle {
    const KvMsgMailMessage* message = nullptr;
};

// Kinds of entity, as getEntityType answers them.
enum KvMsgEntityType : int {
    kEntityLeaf = 1,         // a body without structure of its own
    kEntityMultipart = 2,    // its children follow
    kEntityMessage = 3,      // message/rfc822: the embedded message's root follows
    kEntityOtherMessage = 4, // another embedded message (message/global, message/news, ...)
};

// One MIME entity: a header block and a body or children.
class KvMsgEntity {
public:
    virtual int getEntityType() const = 0;

    // The next entity in depth-first document order, embedded messages included; null at the end.
    virtual KvMsgEntity* getNext() = 0;

    // The next entity below the same parent; null at the end and for the root.
    virtual KvMsgEntity* getNextSibling() = 0;

    // Non-zero when the entity has no readable header block or a limit of the scan cut it. A body
    // that does not decode is no error here.
    virtual int hasError() const = 0;

    // Replaces the body: content type, charset and transfer encoding go into the header. A null
    // charset keeps the charset parameter that stands; a null encoding lets the platform choose.
    // Returns 0 and takes the locator over, or an error number and leaves it to the caller.
    virtual int setContent(KvMsgResourceLocator* content, const char* contentType, const char* charset,
                           const char* transferEncoding) = 0;

    // Null when the entity carries no file. A multipart does not, whatever name it bears, nor does what
    // makes up a signature or an encryption. The name is empty when the sender gave none.
    virtual const KvMsgFileInfo* getFileInfo() = 0;

    virtual int getHeaderFieldCount() const = 0;

    // The field at `index`, counted from 0 in document order; null when there is none. `forRead`
    // is false when the field is to be changed.
    virtual KvMsgHeaderField* getHeaderField(int index, bool forRead) = 0;

    // The first field of that name, compared without regard to case; null when there is none.
    virtual KvMsgHeaderField* getHeaderFieldByName(const char* name, bool forRead) = 0;

    // Inserts a field before the one at `position`; -1 appends. `value` and `charset` as in
    // KvMsgHeaderField::setValue. Null on failure: a bad name or value, an entity that hasError().
    virtual KvMsgHeaderField* addHeaderField(int position, const char* name, const char* value,
                                             const char* charset) = 0;

    // Remove the field at `index`, or every field of the name. Return 0 or an error number; a name
    // that is not there is no error.
    virtual int removeHeaderField(int index) = 0;
    virtual int removeHeader(const char* name) = 0;

    // Adds a copy of an entity, also one of another message, as a child before `position`; -1
    // appends. An entity that is no multipart becomes one first, with its former body as the first
    // child. Returns 0 or an error number.
    virtual int insertChildEntity(KvMsgEntity* child, int position) = 0;

    // The same with a whole message, which becomes a message/rfc822 part.
    virtual int insertMessage(KvMsgAttachHandle message, int position) = 0;

protected:
    ~KvMsgEntity() = default;
};

// One parsed message with its envelope.
class KvMsgMailMessage {
public:
    // The top-level entity; null for a message without any.
    virtual KvMsgEntity* getRootEntity() = 0;

    // Places a stamp text: `position` 1 is before the body text, 2 after it. `kind` is always 20.
    // The locator stays the caller's. `srcCharset` is the text's charset; a null `dstCharset` lets
    // the platform choose. Returns 0 or an error number, and then nothing has changed.
    virtual int insertStamp(int position, KvMsgResourceLocator* stamp, int kind, const char* srcCharset,
                            const char* dstCharset) = 0;

    // Whether the message is protected by a signature or by encryption of the message format
    // (S/MIME, PGP). Transport signatures such as DKIM do not count.
    virtual bool isSigned() const = 0;
    virtual bool isEncrypted() const = 0;

    // The queue identifier: 2 to 36 characters of [0-9A-Z]. Never null, never taken from the
    // message's text.
    virtual const char* getIdentifier() const = 0;

    // A view of the envelope, released by the caller with KvMsg_DeleteSessionInfo; null when the
    // message has none.
    virtual KvMsgMailSessionInfo* getSessionInfo() = 0;

    virtual KvMsgAttachHandle getAttachHandle() const = 0;

protected:
    ~KvMsgMailMessage() = default;
};

} // namespace quzo
