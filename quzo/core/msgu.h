// Helpers on messages that the platform provides, beside the operations of the objects themselves.
//
// Text results are replaced, not appended to. On false they may hold anything. A null message or
// entity gives false (or null). Nothing throws. Charset names are compared without regard to case; a
// null or empty one means "none known".
#pragma once

#include <list>
#include <string>

#include "quzo/core/message.h"

namespace quzo::msgu {

// The message's header block as it now stands, with its line breaks, without the empty line.
void getHeaders(const KvMsgMailMessage* msg, std::string& out);

// The first Subject, decoded and converted to `localCharset`. `mailCharset`, which may be null or
// empty, is the charset in which raw 8-bit text is read. False when there is no Subject or it cannot
// be converted.
bool getSubject(const KvMsgMailMessage* msg, const char* localCharset, const char* mailCharset,
                std::string& out);

// The message's mail id, which the scanner gave it; null when it has none. Holds as long as msg.
const char* getXMailId(const KvMsgMailMessage* msg);

// The charset of the first text part of the body, or of the first encoded word in the Subject; null
// when neither says more than us-ascii. Holds until the message changes.
const char* getCharset(const KvMsgMailMessage* msg);

// The envelope recipients: as one text joined by ';', and one for each list element. True also when
// there are none.
bool getRcpt(const KvMsgMailMessage* msg, std::string& out, std::list<std::string>& rcpts);

// Sets the envelope recipients from a text of addresses separated by ';' (outside quotes); empty
// entries are dropped and the empty text is allowed. `append` true adds them, false replaces the
// list. On false the recipients are as they were.
bool setRcpt(KvMsgMailMessage* msg, const char* rcpts, bool append);

KvMsgEntity* getRootEntity(KvMsgMailMessage* msg);

// The value of the entity's first field of that name, as KvMsgHeaderField::getValue gives it. False
// when there is none.
bool getHeader(KvMsgEntity* entity, const char* name, std::string& value);

// Sets a header field: replaces the first of the name where it stands and removes further ones, or
// adds one at the end. To, Cc and Bcc with a charset take a list separated by ';' and write it as an
// address list; without one the value goes as it is, as that of every other field. `charset` as in
// KvMsgHeaderField::setValue. False for a name that is none (anything but the characters 33 to 126
// without the colon), and when the entity hasError().
bool setHeader(KvMsgEntity* entity, const char* name, const char* value, const char* charset);

// Converts a text between charsets. `strict` true: a character that the target charset lacks is an
// error; false: it becomes '?'. Bytes that are no text of `fromCharset` are always an error. False
// sets `error`.
bool conv(const char* text, const char* fromCharset, const char* toCharset, std::string& out, int& error,
          bool strict);

// The same into a buffer of `length` bytes, which then receives the number of bytes written without
// the NUL. A buffer that is too small cuts the text between two characters; that is no error.
bool conv(const char* text, const char* fromCharset, const char* toCharset, char* out, unsigned long& length,
          int& error, bool strict);

// A UTF-8 text for a place that takes no escapes, such as a display name between quotation marks. Printable
// ASCII without '"' and '\' comes back as it is, if it does not look like an encoded word; everything else as
// encoded words with one blank between them. Their charset is `charset`, or utf-8 when that lacks a character
// of the text or cannot be used in words (utf-16, for example). Released by the caller with
// KvMsg_FreeHeaderValue; null on failure, with `error` set: a charset that is not known, a null text, one
// that is not UTF-8 or has more than 4 MiB.
char* genRfc2047(const char* text, const char* charset, int& error);

// The entities whose content type is `type`: "type/subtype", or a subtype alone, which matches with
// the prefixes "x-" and "vnd." too. `deep` true looks into embedded messages as well. True when the
// search could be made, also when it found nothing.
bool findContentType(KvMsgMailMessage* msg, const char* type, std::list<KvMsgEntity*>& found, bool deep);

// Whether the entity is (an alternative of) the message's body.
bool isBody(KvMsgMailMessage* msg, KvMsgEntity* entity);

// Whether the entity still belongs to the message. `entity` is only compared, never followed: it may
// be removed, of another message, or no entity at all.
bool existEntity(KvMsgMailMessage* msg, KvMsgEntity* entity);

// Removes an entity, and each multipart above it that is left empty. The second argument is always
// the empty text.
bool removeEntityAndDummyParent(KvMsgEntity* entity, const char* reserved);

} // namespace quzo::msgu
