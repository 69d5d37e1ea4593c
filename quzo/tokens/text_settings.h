// The process-wide settings of texts, shared by the files of this room.
#pragma once

#include <locale.h>

#include <memory>
#include <string>
#include <type_traits>

namespace quzo {

struct FreeLocale {
    void operator()(locale_t locale) const noexcept { freelocale(locale); }
};
using LocaleHandle = std::unique_ptr<std::remove_pointer_t<locale_t>, FreeLocale>;

// Written by ActionUtils::init, then only read.
struct TextSettings {
    std::string defaultDstCharset = "us-ascii";
    std::string localCharset = "us-ascii";
    bool useMailCharset = false;
    bool preferUtf8ForStamps = false;
    std::string japaneseTime = "no"; // exactly "yes" switches the Japanese date on
    LocaleHandle japaneseLocale;     // for that date; null when the host does not have it
    std::string timeFormat;          // a strftime pattern
};

TextSettings& textSettings();

} // namespace quzo
