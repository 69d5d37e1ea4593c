// See object_session.h.
#include "host/cli/object/object_session.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"
#include "host/policy/nearest.h"
#include "platform/config/resources.h"
#include "platform/log/file_log.h"
#include "platform/store/stored_named_objects.h"
#include "quzo/core/init_action_lib.h"

namespace quzo::host {
namespace {

using platform::StoreRemedy;
using platform::StoreTrouble;

constexpr std::string_view kKindNames[] = {"notify", "stamp", "quarantine", "archive"};

} // namespace

MaybeFault readKind(const std::string& name, platform::ObjectKind& kind) {
    if (const auto found = platform::objectKindNamed(name)) {
        kind = *found;
        return std::nullopt;
    }
    return Fault{kExitUsage, name, "there is no such kind of object", suggestion(name, kKindNames)};
}

int exitCodeOf(const platform::StoreFault& fault) {
    if (fault.trouble == StoreTrouble::NotFound) {
        return kExitNoInput;
    }
    switch (fault.remedy()) {
        case StoreRemedy::ChangeRequest:
            return kExitData;
        case StoreRemedy::TryAgain:
            return kExitTryAgain;
        case StoreRemedy::Configure:
            break;
    }
    return kExitConfiguration;
}

MaybeFault readWhole(const std::string& path, std::size_t maxBytes, std::string& bytes) {
    FileDescriptor file;
    if (path != "-") {
        file = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
        if (!file) {
            return systemFault(kExitNoInput, path, "cannot be opened", errno);
        }
    }
    const int descriptor = path == "-" ? STDIN_FILENO : file.get();
    constexpr std::size_t kPiece = std::size_t{64} << 10U;
    bytes.clear();
    for (ssize_t got = 1; got > 0 && bytes.size() <= maxBytes;) {
        const std::size_t size = bytes.size();
        bytes.resize(size + kPiece);
        got = readSome(descriptor, bytes.data() + size, kPiece);
        if (got < 0) {
            return systemFault(errno == EISDIR ? kExitNoInput : kExitInputOutput, path, "cannot be read",
                               errno);
        }
        bytes.resize(size + static_cast<std::size_t>(got));
    }
    if (bytes.size() > maxBytes) {
        return Fault{kExitData, path, "it has more than " + std::to_string(maxBytes) + " bytes",
                     "give a shorter one"};
    }
    return std::nullopt;
}

int ObjectSession::say(const Fault& fault) { return exitCode_ = console_.err.say(fault); }

int ObjectSession::say(const platform::StoreFault& fault) {
    const bool request = fault.remedy() == StoreRemedy::ChangeRequest;
    const bool missing = fault.trouble == StoreTrouble::NotFound;
    return say(Fault{exitCodeOf(fault), request ? "" : options_.iniFile + ": store", fault.text,
                     missing ? "see quzo object list" : ""});
}

bool ObjectSession::readSettings() {
    if (options_.iniFile.empty()) {
        say(Fault{kExitUsage, "object", "there are no settings", "name them with -c FILE"});
        return false;
    }
    settings_.load(options_.iniFile);
    for (const platform::Finding& finding : settings_.check()) {
        const bool isError = finding.severity == platform::Finding::Severity::Error;
        std::string where = options_.iniFile + (finding.line != 0 ? ":" + std::to_string(finding.line) : "");
        const Fault fault{kExitConfiguration, std::move(where),
                          (isError ? "" : "warning: ") + finding.message, finding.advice};
        isError ? say(fault) : console_.err.say(fault);
    }
    tenant_ = options_.tenant.value_or(settings_.platform().tenant);
    if (exitCode_ == kExitOk && settings_.platform().store.empty()) {
        say(Fault{kExitConfiguration, options_.iniFile, "there is no store",
                  "set store in [platform], such as sqlite3:///var/lib/quzo/store.db"});
    }
    return exitCode_ == kExitOk;
}

bool ObjectSession::open() {
    if (!options_.kind.empty()) {
        platform::ObjectKind kind{};
        if (const MaybeFault fault = readKind(options_.kind, kind)) {
            say(*fault);
            return false;
        }
        kind_ = kind;
    }
    if (!readSettings()) {
        return false;
    }
    auto opened = platform::ObjectStore::open({settings_.platform().store, {}});
    if (!opened) {
        say(opened.fault());
        return false;
    }
    store_.emplace(std::move(*opened));
    return true;
}

std::optional<platform::StoredObject> ObjectSession::find() {
    auto object = store_->find(tenant_, *kind_, options_.name);
    if (!object) {
        say(object.fault());
        return std::nullopt;
    }
    return std::move(*object);
}

bool ObjectSession::startLibrary() {
    const platform::PlatformSettings platform = settings_.platform();
    std::string problem;
    log_ = platform::FileLog::open(platform.log, platform.logLevel, problem);
    if (log_ == nullptr) {
        say(Fault{kExitConfiguration, options_.iniFile,
                  "the log " + platform.log + " cannot be opened (" + problem + ")",
                  "see to log in [platform]"});
        return false;
    }
    std::string locale;
    settings_.getValue("locale", locale, "general", 0);
    platform::setResourceLocale(locale);
    platform::loadResources();
    InitActionLib(settings_, *log_);
    return true;
}

std::unique_ptr<platform::StoredNamedObjects> ObjectSession::loadObjects() {
    auto objects = platform::StoredNamedObjects::load(*store_, tenant_);
    if (!objects) {
        say(objects.fault());
        return nullptr;
    }
    return std::move(*objects);
}

std::shared_ptr<const Policy> ObjectSession::loadPolicy(const platform::StoredNamedObjects& objects) {
    LoadedPolicy loaded = loadPolicyFile(options_.policyFile, &objects);
    for (const Finding& finding : loaded.findings) {
        if (finding.severity == Finding::Severity::Error) {
            console_.err.line("quzo: " + describe(finding, options_.policyFile));
        }
    }
    if (loaded.policy == nullptr) {
        exitCode_ = loaded.readError == ENOENT ? kExitNoInput : kExitConfiguration;
    }
    return loaded.policy;
}

} // namespace quzo::host
