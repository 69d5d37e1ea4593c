// Making and freeing the platform's objects. Prefer the handles of handles.h, which free by themselves.
#pragma once

#include <cstddef>

#include "quzo/core/message.h"

namespace quzo {

// A new message with an empty root entity and an empty envelope; null on failure.
KvMsgMailMessage* KvMsg_CreateMailMessage();

// Frees a message and all that belongs to it. Null is allowed.
void KvMsg_DeleteMailMessage(KvMsgMailMessage* msg);

// A locator over `length` bytes in memory. The numeric arguments are passed as the actions state them:
// `kind` is 1 (memory), `capacity` equals `length`, and `ownership` is 1 for a buffer of the caller's
// and 0 for a constant. The bytes are copied either way. Null on failure.
KvMsgResourceLocator* KvMsg_CreateResourceLocator(const char* data, int kind, std::size_t length,
                                                  std::size_t capacity, int ownership);
void KvMsg_DeleteResourceLocator(KvMsgResourceLocator* locator);

// Releases the view that getSessionInfo() gave. Null is allowed.
void KvMsg_DeleteSessionInfo(KvMsgMailSessionInfo* session);

// Frees a text that msgu::genRfc2047 made. Null is allowed.
void KvMsg_FreeHeaderValue(char* value);

// Non-zero: stamps are inserted as attachments from now on. Part of initialisation, not thread-safe.
void KvMsg_SetDisclaimerAttachmentAsDefault(int on);

} // namespace quzo
