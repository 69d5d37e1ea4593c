// Files of sections and keys outside quzo.ini, such as scanner.info.
#include <vector>

#include "platform/config/ini_file.h"
#include "quzo/core/guard.h"
#include "quzo/core/settings_source.h"

namespace quzo {

struct ConfigFileOnDisk::Impl {
    platform::IniFile file;
};

ConfigFileOnDisk::ConfigFileOnDisk(const char* path) {
    guarded("ConfigFileOnDisk", false, [&] {
        auto impl = std::make_unique<Impl>();
        platform::Findings problems;
        if (path != nullptr && impl->file.load(path, problems)) {
            impl_ = std::move(impl);
        }
        return impl_ != nullptr;
    });
}

ConfigFileOnDisk::~ConfigFileOnDisk() = default;

bool ConfigFileOnDisk::isLoaded() const { return impl_ != nullptr; }

bool ConfigFileOnDisk::getparam(const char* section, const char* key, std::string& value) const {
    return guarded("ConfigFileOnDisk::getparam", false, [&] {
        if (impl_ == nullptr || section == nullptr || key == nullptr) {
            return false;
        }
        const platform::IniFile::Entry* entry = impl_->file.find(section, key);
        if (entry == nullptr) {
            return false;
        }
        value = entry->value;
        return true;
    });
}

} // namespace quzo
