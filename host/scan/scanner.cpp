// The scanner is what threads share; each message gets a run of its own. Whatever is thrown on the way ends
// here, with a result that keeps the message.
#include "host/scan/scanner.h"

#include <algorithm>
#include <new>

#include "host/scan/scan_run.h"
#include "platform/base/host_name.h"
#include "quzo/core/error_text.h"
#include "quzo/core/log.h"

namespace quzo::host {
namespace {

// Short enough to need no memory of their own.
constexpr const char* kNoMemoryText = "out of memory";
constexpr const char* kInternalText = "internal error";

} // namespace

std::size_t ScannerOptions::mostBytes() const {
    const bool none = limits.messageBytes == 0 || onLimit == OnLimit::Pass;
    return none ? platform::kMaxMessageBytes : std::min(limits.messageBytes, platform::kMaxMessageBytes);
}

Scanner::Scanner(std::shared_ptr<const Policy> policy, ScannerOptions options)
    : policy_(std::move(policy)), options_(std::move(options)) {
    if (options_.hostname.empty()) {
        options_.hostname = policy_->defaults.hostname;
    }
    options_.hostname = platform::ownHostName(options_.hostname);
}

ScanResult Scanner::scan(platform::MailMessage& msg, const ScanJob& job) const noexcept {
    ScanResult result;
    bool consumed = false;
    try {
        ScanRun run(*policy_, options_, msg, job, result);
        try {
            run.run();
            return result;
        } catch (...) {
            consumed = run.consumed();
            throw;
        }
    } catch (const std::bad_alloc&) {
        result.outcome = Outcome::Deferred;
        result.error = ScanError{kErrorNoMemory, kNoMemoryText};
    } catch (const std::exception& problem) {
        ActionLog::L1("A message could not be handled: %s.", problem.what());
        result.outcome = Outcome::Failed;
        result.error = ScanError{kErrorInternal, kInternalText};
    } catch (...) {
        result.outcome = Outcome::Failed;
        result.error = ScanError{kErrorInternal, kInternalText};
    }
    if (consumed) {
        // It is gone: whoever kept it now would deliver it twice.
        result.outcome = Outcome::Consumed;
    }
    return result;
}

} // namespace quzo::host
