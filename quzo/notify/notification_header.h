// Header fields that composing works on as objects.
#pragma once

#include <string>

#include "quzo/core/message.h"

namespace quzo {

// The first field of that name. Without one, an empty one is added at the end and `created` set; it comes in
// false. Null when that fails, said at level 2. `forRead` is false when the field is to be changed.
KvMsgHeaderField* getOrCreateHeader(KvMsgEntity* entity, const char* name, bool forRead, bool& created);

// The same for who changes the field.
KvMsgHeaderField* _get_header(KvMsgEntity* entity, const char* name);

// Writes "From" as `"NAME" <ADDRESS>`, from the envelope's sender: NAME is the display name, as encoded words
// of `charset` where it needs them, or the address. Writes an empty field when `senderIsEmpty`. False when
// there is no sender or the field could not be set.
bool _add_sender_into_header(KvMsgEntity* root, const KvMsgMailSessionInfo& session,
                             const std::string& charset, bool senderIsEmpty);

// Takes the first "Content-Transfer-Encoding" away from an entity whose first Content-Type field that begins
// with "multipart" says that it has become one. A null entity has none.
void _remove_content_transfer_encoding_for_multipart_email(KvMsgEntity* entity);

} // namespace quzo
