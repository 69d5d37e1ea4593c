// Settings of the hand-off action, as a key/value blob.
#include "quzo/settings/ui_handoff.h"

#include "quzo/settings/blob_setting.h"

namespace quzo {
namespace {

auto binder(uiHandoff& fields) {
    return [&fields](Blob::Map& map, bool store) {
        return Blob::bindBlobField(map, "ip", fields.ip, store) &&
               Blob::bindBlobField(map, "port", fields.port, store);
    };
}

} // namespace

bool uiHandoff::construct(const char* setting, unsigned length) {
    return constructFromBlob("uiHandoff::construct", setting, length, binder(*this));
}

std::string uiHandoff::serialize() { return serializeToBlob("uiHandoff::serialize", binder(*this)); }

} // namespace quzo
