// The localised texts of the installation: one directory a language, `texts.ini` in it, a section a bundle.
//
// They are looked for in the directory that was set, else beside the program in ../share/quzo/locale, else
// where the build was told that they would be installed. Loaded once, at the first use or by loadResources().
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/config/ini_file.h"

namespace quzo::platform {

// The bundle of the names of actions.
constexpr const char* kActionNameBundle = "IDG_ACTION_NAMES";

// The bundle of the texts that stand where an attachment was removed. %RULE% and %VIRUS% in them are the
// reason, %NAME%, %TYPE% and %SIZE% the part (MailMessage::setRemovalNote()).
constexpr const char* kRemovalBundle = "IDG_REMOVAL_NOTE";

// The bundle of the mails that sum up notifications which were held back. %COUNT% in its texts is how many,
// %RULE% and %ID% name the rule, %FROM% and %TO% the time.
constexpr const char* kNoticeBundle = "IDG_NOTICE_SUMMARY";

// Texts of every language in one directory. Immutable once loaded; any thread may use it.
class Resources {
public:
    // Reads every language below `directory`. Files that cannot be read leave their language out and are
    // named in problems().
    explicit Resources(std::string directory);

    const std::string& directory() const { return directory_; }
    const std::vector<std::string>& problems() const { return problems_; }

    // The texts of a bundle, or null. The language is that of `locale` ("ja", "ja_JP.UTF-8"); English when
    // the resources do not have it.
    const IniFile::Section* bundle(std::string_view id, std::string_view locale) const;

private:
    void loadLanguage(const std::string& language, const std::string& path);

    std::string directory_;
    std::map<std::string, IniFile, std::less<>> languages_;
    std::vector<std::string> problems_;
};

// These two are part of start-up, before other threads use any text. The second sets the language of the
// cached bundles and of the names of actions.
void setResourceDirectory(std::string directory);
void setResourceLocale(std::string locale);

// Loads the resources now; false when there are none. Otherwise they are loaded at their first use.
bool loadResources();

// The loaded resources, never null, and the installation's language.
std::shared_ptr<const Resources> resources();
std::string resourceLocale();

} // namespace quzo::platform
