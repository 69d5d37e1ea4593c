// See snapshot.h.
#include "host/gateway/snapshot.h"

#include <utility>

namespace quzo::host {
namespace {

OnLimit onLimitOf(platform::PlatformSettings::OnLimit setting) {
    switch (setting) {
        case platform::PlatformSettings::OnLimit::Pass:
            return OnLimit::Pass;
        case platform::PlatformSettings::OnLimit::Refuse:
            return OnLimit::Fail;
        case platform::PlatformSettings::OnLimit::Defer:
            break;
    }
    return OnLimit::Defer;
}

} // namespace

Snapshot::Snapshot(std::shared_ptr<const Policy> policy,
                   std::shared_ptr<const platform::StoredNamedObjects> objects, ScannerOptions options)
    : objects_(std::move(objects)), scanner_(std::move(policy), std::move(options)) {}

ScannerOptions scannerOptionsOf(const platform::PlatformSettings& settings) {
    ScannerOptions options;
    options.hostname = settings.hostname;
    options.limits = settings.limits;
    options.rawValues = settings.rawValues;
    options.onLimit = onLimitOf(settings.onLimit);
    options.stampOnce = settings.stampOnce;
    options.removalNote = settings.removalNote;
    return options;
}

} // namespace quzo::host
