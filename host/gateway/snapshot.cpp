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
                   std::shared_ptr<const platform::StoredNamedObjects> objects, ScannerOptions options,
                   NoticeOptions notices)
    : objects_(std::move(objects)),
      scanner_(std::move(policy), std::move(options)),
      notices_(std::move(notices)) {}

ScannerOptions scannerOptionsOf(const platform::PlatformSettings& settings) {
    ScannerOptions options;
    options.hostname = settings.hostname;
    options.limits = settings.limits;
    options.rawValues = settings.rawValues;
    options.onLimit = onLimitOf(settings.onLimit);
    options.stampOnce = settings.stampOnce;
    options.removalNote = settings.removalNote;
    options.notifyAutomatic = settings.notifyAutomatic;
    return options;
}

NoticeOptions noticeOptionsOf(const platform::PlatformSettings& settings,
                              std::shared_ptr<platform::NoticeLedger> ledger) {
    return {std::move(ledger), settings.notifyLimit, settings.notifyAutoSubmitted};
}

} // namespace quzo::host
