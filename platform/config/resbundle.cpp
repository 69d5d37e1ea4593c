// The library's view of the localised texts: bundles are sections of the loaded resources.
#include <exception>

#include "platform/config/resources.h"
#include "quzo/core/guard.h"
#include "quzo/core/settings_source.h"

namespace quzo {

namespace {

// A bundle, and the resources that hold it.
struct Bundle {
    std::shared_ptr<const platform::Resources> owner;
    const platform::IniFile::Section* texts = nullptr;

    bool find(const char* key, std::string& value) const {
        if (texts == nullptr || key == nullptr) {
            return false;
        }
        const auto entry = texts->find(key);
        if (entry == texts->end()) {
            return false;
        }
        value = entry->second.value;
        return true;
    }
};

} // namespace

struct KvResbundle::Impl : Bundle {};
struct KvCachedResbundle::Impl : Bundle {};

KvResbundle::KvResbundle() = default;
KvResbundle::~KvResbundle() = default;

const char* KvResbundle::GetResourceFileName() {
    // Kept for ever: a pointer that was given out holds.
    static const std::string name = guarded("KvResbundle::GetResourceFileName", std::string(),
                                            [] { return platform::resources()->directory(); });
    return name.c_str();
}

bool KvResbundle::_init(const char* fileName, const char* bundleId, const char* locale) {
    return guarded("KvResbundle::_init", false, [&] {
        impl_.reset();
        if (bundleId == nullptr) {
            return false;
        }
        auto bundle = std::make_unique<Impl>();
        bundle->owner = platform::resources();
        if (fileName != nullptr && *fileName != '\0' && bundle->owner->directory() != fileName) {
            bundle->owner = std::make_shared<const platform::Resources>(fileName);
        }
        bundle->texts = bundle->owner->bundle(bundleId, locale != nullptr ? locale : "");
        if (bundle->texts == nullptr) {
            return false;
        }
        impl_ = std::move(bundle);
        return true;
    });
}

bool KvResbundle::getString(const char* key, std::string& value) {
    return guarded("KvResbundle::getString", false,
                   [&] { return impl_ != nullptr && impl_->find(key, value); });
}

KvCachedResbundle::KvCachedResbundle(const char* groupId) {
    guarded("KvCachedResbundle", false, [&] {
        if (groupId != nullptr) {
            impl_ = std::make_unique<Impl>();
            impl_->owner = platform::resources();
            impl_->texts = impl_->owner->bundle(groupId, platform::resourceLocale());
        }
        return true;
    });
}

KvCachedResbundle::~KvCachedResbundle() = default;

bool KvCachedResbundle::getString(const char* key, std::string& value) {
    return guarded("KvCachedResbundle::getString", false,
                   [&] { return impl_ != nullptr && impl_->find(key, value); });
}

} // namespace quzo
