// Start-up of the text settings, and the accessors through which actions learn them.
//
// Every setting has a built-in value; a missing key is never an error but is said at level 2, because an
// installation that writes its mail in us-ascii by accident is hard to explain later.
#include "quzo/tokens/action_utils.h"

#include "quzo/core/guard.h"
#include "quzo/tokens/text_settings.h"

namespace quzo {
namespace {

constexpr char kModule[] = "MessageModule";
constexpr char kGeneral[] = "general";
constexpr char kNotification[] = "General-Notification";

void read_destination_charset(GlobalSetting& settings, std::string& charset) {
    charset = "us-ascii";
    if (settings.getValue("PreferredCharset", charset, kNotification, 0) != 0) {
        ActionUtils::L2(
            "Assume 'us-ascii' for default destination (preferred) charset. The value is missing in "
            "global setting, section: %s, value: %s",
            kNotification, "PreferredCharset");
        return;
    }
    ActionUtils::L2("Default destination (preferred) charset is %s.", charset.c_str());
}

void read_local_charset(GlobalSetting& settings, std::string& charset) {
    charset = "us-ascii";
    if (settings.getValue("DefaultSourceCharset", charset, kModule, 0) != 0) {
        ActionUtils::L2(
            "Assume 'us-ascii' for default source charset. The value is missing in global setting, "
            "section: %s, value: %s",
            kModule, "DefaultSourceCharset");
        return;
    }
    ActionUtils::L2("Default source charset is %s.", charset.c_str());
}

void read_mail_charset_flag(GlobalSetting& settings, bool& flag) {
    static constexpr char kKey[] = "UseMailCharsetAsDestinationCharset";
    int value = 0;
    flag = false;
    if (settings.getIntValue(kKey, value, kModule, 0) != 0) {
        ActionUtils::L2(
            "Use mail charset is off. The value is missing in global setting, section: %s, value: %s",
            kModule, kKey);
        return;
    }
    flag = value != 0;
    if (flag) {
        ActionUtils::L2(
            "Use mail charset is on. Mail modifications will attempt to use its charset before "
            "default destination charset.");
    }
}

void read_utf8_stamp_flag(GlobalSetting& settings, bool& flag) {
    static constexpr char kKey[] = "UseUTF8AsPreferCharsetForStamp";
    int value = 0;
    flag = false;
    if (settings.getIntValue(kKey, value, kModule, 0) != 0) {
        ActionUtils::L2(
            "Use UseUTF8AsPreferCharsetForStamp is off. The value is missing in global setting, "
            "section: %s, value: %s",
            kModule, kKey);
        return;
    }
    flag = value != 0;
    if (flag) {
        ActionUtils::L2("Use UseUTF8AsPreferCharsetForStamp is on.");
    }
}

// The locale decides two things: whether dates may be Japanese, and the language of the time format.
void read_time_settings(GlobalSetting& settings, TextSettings& texts) {
    std::string locale;
    settings.getValue("locale", locale, kGeneral, 0);
    const bool japanese = locale == "ja";
    texts.japaneseTime = "no";
    if (japanese) {
        settings.getValue("useQUZOLocaleForNotificationTime", texts.japaneseTime, kGeneral, 0);
    }
    texts.japaneseLocale.reset(texts.japaneseTime == "yes" ? newlocale(LC_TIME_MASK, "ja_JP.eucJP", nullptr)
                                                           : nullptr);
    KvResbundle bundle;
    bundle._init(KvResbundle::GetResourceFileName(), "IDG_QUZO_UTIL", locale.c_str());
    std::string format;
    if (bundle.getString("AU_NOTIFY_TIMEFORMAT", format) && !format.empty()) {
        texts.timeFormat = format;
        return;
    }
    ActionUtils::L2("ActionUtils: retrieve string from resource file failed");
    texts.timeFormat = japanese ? "%Y/%m/%d %T" : "%m/%d/%Y %r";
}

} // namespace

TextSettings& textSettings() {
    static TextSettings settings;
    return settings;
}

bool ActionUtils::init(GlobalSetting& settings, LogMsg& log) {
    setLogger(&log);
    return guarded("ActionUtils::init", true, [&] {
        TextSettings& texts = textSettings();
        read_destination_charset(settings, texts.defaultDstCharset);
        read_local_charset(settings, texts.localCharset);
        read_mail_charset_flag(settings, texts.useMailCharset);
        read_utf8_stamp_flag(settings, texts.preferUtf8ForStamps);
        read_time_settings(settings, texts);
        return true;
    });
}

const char* ActionUtils::getDefaultDstCharset() { return textSettings().defaultDstCharset.c_str(); }

const char* ActionUtils::getLocalCharset() { return textSettings().localCharset.c_str(); }

bool ActionUtils::getUseMailCharsetFlag() { return textSettings().useMailCharset; }

bool ActionUtils::getUseUTF8AsPreferForStampActionFlag() { return textSettings().preferUtf8ForStamps; }

} // namespace quzo
