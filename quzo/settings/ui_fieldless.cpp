// The one text that an action without settings writes.
#include "quzo/settings/ui_fieldless.h"

#include "quzo/core/guard.h"

namespace quzo {

std::string uiIBEEncrypt::serialize() {
    static constexpr char kNote[] = "encryption-has-no-setup";
    static_assert(sizeof kNote - 1 == 23);
    return guarded("uiIBEEncrypt::serialize", std::string(), [] { return std::string(kNote); });
}

} // namespace quzo
