// The start of GMime. It is never shut down: other users of the process may still need it.
#include "platform/message/values/gmime_objects.h"

#include <gmime/gmime.h>

#include <mutex>

namespace quzo::platform {
namespace {

// The classes of what is made from addresses are made here too: GMime's macros look at them without a lock,
// so no thread may meet one that another is just making. They are kept for the process's life.
void start() {
    g_mime_init();
    for (const GType type :
         {INTERNET_ADDRESS_LIST_TYPE, INTERNET_ADDRESS_TYPE_MAILBOX, INTERNET_ADDRESS_TYPE_GROUP}) {
        g_type_class_ref(type);
    }
}

} // namespace

void startGMime() {
    static std::once_flag once;
    std::call_once(once, start);
}

} // namespace quzo::platform
