// Settings of the re-address and blind-copy actions, as a key/value blob.
#include "quzo/settings/ui_readdress.h"

#include "quzo/settings/blob_setting.h"

namespace quzo {
namespace {

auto binder(uiReaddress& fields) {
    return [&fields](Blob::Map& map, bool store) {
        return Blob::bindBlobField(map, "rcpt", fields.rcpt, store);
    };
}

} // namespace

bool uiReaddress::construct(const char* setting, unsigned length) {
    return constructFromBlob("uiReaddress::construct", setting, length, binder(*this));
}

std::string uiReaddress::serialize() { return serializeToBlob("uiReaddress::serialize", binder(*this)); }

const char* uiReaddress::getRcpt() { return rcpt.c_str(); }

void uiReaddress::setRcpt(const char* recipients) {
    guarded("uiReaddress::setRcpt", false, [&] {
        rcpt = recipients;
        return true;
    });
}

} // namespace quzo
