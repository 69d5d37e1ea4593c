// The start of GMime. It is never shut down: other users of the process may still need it.
#include "platform/message/gmime_objects.h"

#include <gmime/gmime.h>

#include <mutex>

namespace quzo::platform {

void startGMime() {
    static std::once_flag once;
    std::call_once(once, g_mime_init);
}

} // namespace quzo::platform
