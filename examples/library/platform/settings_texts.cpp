// quzo/core/settings_source.h, rdbms.h and the store of named objects: this platform has no localised texts,
// no files of settings and no store, and says so. The library then works with its built-in texts and writes a
// line about it.
//
// Each class has an Impl, which is the platform's; the library only makes and frees it.
#include "quzo/core/error_text.h"
#include "quzo/core/rdbms.h"
#include "quzo/core/settings_source.h"
#include "quzo/settings/named_obj.h"

namespace quzo {

struct KvResbundle::Impl {};
KvResbundle::KvResbundle() = default;
KvResbundle::~KvResbundle() = default;
const char* KvResbundle::GetResourceFileName() { return ""; }
bool KvResbundle::_init(const char*, const char*, const char*) { return false; }
bool KvResbundle::getString(const char*, std::string&) { return false; }

struct KvCachedResbundle::Impl {};
KvCachedResbundle::KvCachedResbundle(const char*) {}
KvCachedResbundle::~KvCachedResbundle() = default;
bool KvCachedResbundle::getString(const char*, std::string&) { return false; }

struct ConfigFileOnDisk::Impl {};
ConfigFileOnDisk::ConfigFileOnDisk(const char*) {}
ConfigFileOnDisk::~ConfigFileOnDisk() = default;
bool ConfigFileOnDisk::isLoaded() const { return false; }
bool ConfigFileOnDisk::getparam(const char*, const char*, std::string&) const { return false; }

struct RdbmsInterface::Impl {};
RdbmsInterface::RdbmsInterface() : impl_(std::make_unique<Impl>()) {}
RdbmsInterface::~RdbmsInterface() = default;

bool QuzoNamedObj::getIds(RdbmsInterface&, unsigned, NaObjType, std::vector<SummaryNamedObject>& rows) {
    rows.clear();
    return false;
}
bool QuzoNamedObj::add(RdbmsInterface&, unsigned, const char*, const char*, NaObjType, unsigned&) {
    return false;
}
bool QuzoNamedObj::modify(RdbmsInterface&, unsigned, unsigned, const char*, const char*, NaObjType) {
    return false;
}
bool QuzoNamedObj::getContentBlob(RdbmsInterface&, unsigned, std::string&, std::string&) { return false; }
unsigned QuzoNamedObj::remove(RdbmsInterface&, unsigned, unsigned) { return kErrorNotSupported; }

} // namespace quzo
