// Settings of the postpone action, as a key/value blob.
#include "quzo/settings/ui_postpone.h"

#include "quzo/settings/blob_setting.h"

namespace quzo {
namespace {

auto binder(uiPostpone& fields) {
    return [&fields](Blob::Map& map, bool store) {
        return Blob::bindBlobField(map, "hour", fields.hour, store) &&
               Blob::bindBlobField(map, "min", fields.min, store);
    };
}

} // namespace

bool uiPostpone::construct(const char* setting, unsigned length) {
    return constructFromBlob("uiPostpone::construct", setting, length, binder(*this));
}

std::string uiPostpone::serialize() { return serializeToBlob("uiPostpone::serialize", binder(*this)); }

} // namespace quzo
