// See message_objects.h.
#include "platform/store/message_objects.h"

#include "quzo/core/guard.h"

namespace quzo::platform {

QuzoNamedObj* MessageObjects::find(unsigned id) const {
    using Result = QuzoNamedObj*;
    return guarded("Copying a named object", Result(nullptr), [&]() -> Result {
        const QuzoNamedObj* stored = stored_ == nullptr ? nullptr : stored_->find(id);
        if (stored == nullptr) {
            return nullptr;
        }
        std::unique_ptr<QuzoNamedObj>& copy = copies_[id];
        if (copy == nullptr) {
            copy = stored->clone();
        }
        return copy.get();
    });
}

} // namespace quzo::platform
