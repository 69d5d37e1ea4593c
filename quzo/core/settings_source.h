// Where settings and localised texts come from. The platform implements all four.
//
// All are used only while the library is initialised, on one thread, except KvCachedResbundle, which
// actions open while they work and which any thread may use.
#pragma once

#include <memory>
#include <string>

namespace quzo {

// The installation's settings by section and key.
class GlobalSetting {
public:
    virtual ~GlobalSetting() = default;

    // Return 0 when the key exists, with its value written; otherwise non-zero, with the value
    // untouched. An integer that does not parse counts as missing. The fourth argument is always 0.
    virtual int getValue(const char* key, std::string& value, const char* section, int reserved) = 0;
    virtual int getIntValue(const char* key, int& value, const char* section, int reserved) = 0;
};

// A bundle of localised texts, opened by id and locale.
class KvResbundle {
public:
    KvResbundle();
    ~KvResbundle();
    KvResbundle(const KvResbundle&) = delete;
    KvResbundle& operator=(const KvResbundle&) = delete;

    // The installation's resource file; never null, static storage.
    static const char* GetResourceFileName();

    // Opens a bundle. A locale that the resources do not have, the empty one included, gives their
    // default language. Returns false when there is no such bundle; getString() then fails.
    bool _init(const char* fileName, const char* bundleId, const char* locale);

    // Writes the UTF-8 text of `key` and returns true; false, with `value` untouched, when there is
    // none.
    bool getString(const char* key, std::string& value);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// A bundle in the installation's language that the platform keeps loaded.
class KvCachedResbundle {
public:
    explicit KvCachedResbundle(const char* groupId);
    ~KvCachedResbundle();
    KvCachedResbundle(const KvCachedResbundle&) = delete;
    KvCachedResbundle& operator=(const KvCachedResbundle&) = delete;

    // As KvResbundle::getString.
    bool getString(const char* key, std::string& value);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// A file of sections and keys, read whole when the object is made.
class ConfigFileOnDisk {
public:
    explicit ConfigFileOnDisk(const char* path);
    ~ConfigFileOnDisk();
    ConfigFileOnDisk(const ConfigFileOnDisk&) = delete;
    ConfigFileOnDisk& operator=(const ConfigFileOnDisk&) = delete;

    // Whether the file could be read and parsed.
    bool isLoaded() const;

    // Writes the value and returns true; false, with `value` untouched, when it is missing.
    bool getparam(const char* section, const char* key, std::string& value) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quzo
