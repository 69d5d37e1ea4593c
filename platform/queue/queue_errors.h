// Errors of the system as the platform's.
#pragma once

namespace quzo::platform {

// The KvMsgError for an errno value; 0 for 0.
int platformError(int errnoValue);

// The same, after a level-1 line "Queue NAME: WHAT ID: reason". Texts are not null.
int reportError(const char* queue, const char* what, const char* id, int errnoValue);

} // namespace quzo::platform
