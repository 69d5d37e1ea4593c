// The version functions. The numbers come from the build.
#include "quzo/core/version.h"

#define QUZO_TEXT_OF(x) #x
#define QUZO_TEXT(x) QUZO_TEXT_OF(x)

static_assert(QUZO_BUILD_NUMBER >= 0 && QUZO_BUILD_NUMBER <= 0xFFFF);
static_assert(QUZO_VERSION_MAJOR <= 0xFF && QUZO_VERSION_MINOR <= 0xFF);

const char* GetQuzoVersionStr() {
    return "quzo " QUZO_VERSION " (build " QUZO_TEXT(QUZO_BUILD_NUMBER) ", " QUZO_BUILD_DATE ")";
}

unsigned GetQuzoVersion() {
    return static_cast<unsigned>(QUZO_VERSION_MAJOR * 0x100 + QUZO_VERSION_MINOR) << 16U |
           static_cast<unsigned>(QUZO_BUILD_NUMBER);
}
