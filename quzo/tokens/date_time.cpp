// The token %DATE&TIME%: the current local time as notifications show it.
//
// The Japanese form is the locale's own "%c" text. The process's locale is never touched for it: switching it
// would race with every other thread, so a locale object is kept from start-up on. Where the host does not
// have the Japanese locale, the text is formed in the locale in force.
#include <ctime>

#include "quzo/core/error_text.h"
#include "quzo/core/msgu.h"
#include "quzo/tokens/action_utils.h"
#include "quzo/tokens/text_settings.h"
#include "quzo/tokens/token_fill.h"

namespace quzo {
namespace {

constexpr std::size_t kBufferSize = 256;

// Empty when the text does not fit.
std::string formatted(const char* pattern, const std::tm& time, locale_t locale) {
    char text[kBufferSize] = {};
    const std::size_t length = locale != nullptr ? strftime_l(text, sizeof text, pattern, &time, locale)
                                                 : std::strftime(text, sizeof text, pattern, &time);
    return {text, length};
}

bool japanese_date(const std::tm& time, std::string& value) {
    const std::string text = formatted("%c", time, textSettings().japaneseLocale.get());
    std::string converted;
    int error = 0;
    if (!msgu::conv(text.c_str(), "euc-jp", "utf-8", converted, error, true)) {
        ActionUtils::L1(
            "Cannot convert Japanese DATE string from EUC-JP to UTF8, error %u ('%s') with string: %.32s.",
            static_cast<unsigned>(error), KVMSGERR::I2A(error), text.c_str());
        return false;
    }
    value = converted;
    return true;
}

} // namespace

bool fnDateTime(TokenMap<ScanToken>& /*tokens*/, const KvMsgMailMessage& /*msg*/, std::string& value) {
    value.clear();
    const std::time_t now = std::time(nullptr);
    std::tm time = {};
    if (now == static_cast<std::time_t>(-1) || localtime_r(&now, &time) == nullptr) {
        return false;
    }
    const TextSettings& settings = textSettings();
    if (settings.japaneseTime == "yes" && japanese_date(time, value)) {
        return true;
    }
    value = formatted(settings.timeFormat.c_str(), time, nullptr);
    if (value.empty()) {
        value = formatted("%m/%d/%Y %r", time, nullptr);
    }
    return true;
}

} // namespace quzo
