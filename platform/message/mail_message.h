// A message of the stand-alone platform, for the programs: parsing, writing, and what the library's
// interface does not show.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/edit/raw_values.h"
#include "platform/message/structure/limit_reached.h"
#include "platform/message/structure/limits.h"
#include "platform/message/values/embedded_files.h"
#include "quzo/core/message.h"

namespace quzo::platform {

// One message over one buffer. Scanned lazily: the root's header block first, the tree when somebody
// asks for more. Used by one thread at a time.
class MailMessage : public KvMsgMailMessage {
public:
    // Takes the bytes over. Never null; a message that cannot be read has a root that hasError(). Throws
    // nothing but std::bad_alloc.
    static std::unique_ptr<MailMessage> parse(std::string bytes, const Limits& limits,
                                              RawValues rawValues = RawValues::WithCharset);

    virtual ~MailMessage() = default;

    // The bytes as received, whatever edits were made.
    virtual std::string_view original() const = 0;

    // Whether write() gives other bytes than original(). An edit that was taken back is none.
    virtual bool changed() const = 0;

    // Writes the message as it now stands, in pieces, in order; in one piece when nothing was edited. A
    // false from the sink stops it and is the result. `size()` is the number of bytes that write() would
    // give. What the sink throws goes through.
    using Sink = std::function<bool(std::string_view piece)>;
    virtual bool write(const Sink& sink) const = 0;
    virtual std::size_t size() const = 0;

    // Zero, or the KvMsgError for which the message cannot be handled at all (larger than a limit). Its
    // root then has an error and nothing below it.
    virtual int error() const = 0;

    // Whether a limit cut the scan somewhere, so that entities may be missing. Scans the whole message.
    virtual bool limited() const = 0;

    // Why it has an error() or its root has, or is limited(), as far as it has been scanned.
    virtual LimitReached limitReached() const = 0;

    // The host gives these; getIdentifier() makes an identifier of its own when none was set.
    virtual void setIdentifier(std::string identifier) = 0;
    virtual void setMailId(std::string mailId) = 0;

    // Whether insertStamp() leaves a text alone that shows the stamp already, quoted or not. No, at first.
    virtual void setStampOnce(bool once) = 0;

    // What removeEntityAndDummyParent() leaves in the place of a part that it removes: a text, UTF-8, in
    // which %NAME%, %TYPE% and %SIZE% (bytes, decoded) stand for the part's own. Nothing, as at first, where
    // it is empty; nor among alternatives, where it would be shown instead of the message.
    virtual void setRemovalNote(std::string note) = 0;

    // The envelope: bare addresses. The null sender is a sender of no length.
    virtual bool hasSender() const = 0;
    virtual const std::string& sender() const = 0;
    virtual const std::vector<std::string>& recipients() const = 0;

    // Replaces sender and recipients; addresses as KvMsgMailSessionInfo takes them. Returns 0, or an error
    // number when one of them could not stand in an SMTP command, and then nothing has changed.
    virtual int setEnvelope(std::string_view sender, const std::vector<std::string>& recipients) = 0;
};

// Reading of one entity beyond the library's interface. The entity must be one of a MailMessage. These throw
// nothing but std::bad_alloc.
class EntityReader {
public:
    // "type/subtype" in lower case without parameters. Without a usable Content-Type the default of the
    // place: "text/plain", in a digest "message/rfc822". Of several Content-Type fields the one that decides
    // about the structure.
    static std::string contentType(KvMsgEntity& entity);

    // The same of every reading of contradicting Content-Type fields: contentType() first, then those of the
    // first and the last field where they are others.
    static std::vector<std::string> contentTypes(KvMsgEntity& entity);

    // Every name that the entity bears (filename and name parameters of Content-Disposition and
    // Content-Type, all forms of RFC 2231), decoded to valid UTF-8, without duplicates and empty names.
    // getFileInfo() gives the first, for entities that carry a file.
    static std::vector<std::string> fileNames(KvMsgEntity& entity);

    // The body with its transfer encoding undone, at most `maxBytes` of it. An unknown encoding leaves it as
    // it stands. Of several encodings the first field's.
    static std::string decodedBody(KvMsgEntity& entity, std::size_t maxBytes);

    // The same of a text part, in valid UTF-8: what cannot be read becomes U+FFFD, and so does NUL. 8-bit
    // text without a charset is read as UTF-8 when it is that, else as windows-1252. One text, or several
    // different ones when fields contradict each other about the encoding or the charset; none when the
    // entity is no text by any of its Content-Type fields. Each has at most `maxBytes`.
    static std::vector<std::string> texts(KvMsgEntity& entity, std::size_t maxBytes);

    // The formats in which files lie inside of the entity's body (of a leaf; none in others).
    static EmbeddedFormats embeddedFormats(KvMsgEntity& entity);

    // Whether the entity belongs to the message itself, or to one embedded in it.
    static bool embedded(KvMsgEntity& entity);

    // Bytes of the body as it stands, still encoded.
    static std::size_t bodySize(KvMsgEntity& entity);
};

} // namespace quzo::platform
