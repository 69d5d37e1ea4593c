// The named objects that one message sees.
#pragma once

#include <map>
#include <memory>

#include "platform/store/stored_named_objects.h"
#include "quzo/core/named_obj_cache.h"

namespace quzo::platform {

// Copies an object when it is first asked for, since actions may change what they work with: changes last for
// this message and reach no other. Used by one thread.
class MessageObjects : public NamedObjMgrForScanner {
public:
    // `stored`, which may be null, outlives this.
    explicit MessageObjects(const StoredNamedObjects* stored) : stored_(stored) {}

    QuzoNamedObj* find(unsigned id) const override;

private:
    const StoredNamedObjects* stored_;
    mutable std::map<unsigned, std::unique_ptr<QuzoNamedObj>> copies_;
};

} // namespace quzo::platform
