// Finds and loads the localised texts. All languages are read at once, so that a name from the settings only
// ever selects among what was read and never becomes part of a path.
#include "platform/config/resources.h"

#include <filesystem>
#include <mutex>
#include <system_error>

namespace quzo::platform {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDefaultLanguage = "en";
constexpr const char* kFileName = "texts.ini";

struct State {
    std::mutex mutex;
    std::string directory; // as set, or empty
    std::string locale;
    std::shared_ptr<const Resources> loaded;
};

State& state() {
    static State only;
    return only;
}

// Where the texts are when nobody says so.
std::string usualDirectory() {
    std::error_code problem;
    const fs::path program = fs::read_symlink("/proc/self/exe", problem);
    if (!problem) {
        const fs::path beside = program.parent_path().parent_path() / "share" / "quzo" / "locale";
        if (fs::is_directory(beside, problem)) {
            return beside.string();
        }
    }
    return QUZO_LOCALE_DIR;
}

} // namespace

Resources::Resources(std::string directory) : directory_(std::move(directory)) {
    std::error_code problem;
    fs::directory_iterator entry(directory_, problem);
    for (; !problem && entry != fs::directory_iterator(); entry.increment(problem)) {
        const fs::path file = entry->path() / kFileName;
        std::error_code missing;
        if (fs::exists(file, missing)) {
            loadLanguage(entry->path().filename().string(), file.string());
        }
    }
    if (problem) {
        problems_.push_back(directory_ + ": the texts cannot be read (" + problem.message() + ")");
    }
}

void Resources::loadLanguage(const std::string& language, const std::string& path) {
    IniFile file;
    Findings faults;
    if (file.load(path, faults)) {
        languages_.insert_or_assign(language, std::move(file));
        return;
    }
    for (const Finding& fault : faults) {
        problems_.push_back(describe(fault, path));
    }
}

const IniFile::Section* Resources::bundle(std::string_view id, std::string_view locale) const {
    const auto inLanguage = [&](std::string_view language) -> const IniFile::Section* {
        const auto texts = languages_.find(language);
        if (texts == languages_.end()) {
            return nullptr;
        }
        const auto section = texts->second.sections().find(id);
        return section == texts->second.sections().end() ? nullptr : &section->second.entries;
    };
    // From ja_JP.UTF-8 to ja_JP to ja.
    for (std::string_view name = locale; !name.empty();) {
        if (const IniFile::Section* section = inLanguage(name)) {
            return section;
        }
        const std::size_t cut = name.find_last_of("._-@");
        name = cut == std::string_view::npos ? std::string_view() : name.substr(0, cut);
    }
    return inLanguage(kDefaultLanguage);
}

void setResourceDirectory(std::string directory) {
    const std::lock_guard lock(state().mutex);
    state().directory = std::move(directory);
    state().loaded.reset();
}

void setResourceLocale(std::string locale) {
    const std::lock_guard lock(state().mutex);
    state().locale = std::move(locale);
}

bool loadResources() { return resources()->bundle("IDG_QUZO_UTIL", "") != nullptr; }

std::shared_ptr<const Resources> resources() {
    State& shared = state();
    const std::lock_guard lock(shared.mutex);
    if (shared.loaded == nullptr) {
        shared.loaded =
            std::make_shared<const Resources>(shared.directory.empty() ? usualDirectory() : shared.directory);
    }
    return shared.loaded;
}

std::string resourceLocale() {
    const std::lock_guard lock(state().mutex);
    return state().locale;
}

} // namespace quzo::platform
