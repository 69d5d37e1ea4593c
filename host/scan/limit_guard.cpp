// See limit_guard.h.
#include "host/scan/limit_guard.h"

#include <new>

#include "host/scan/limit_fault.h"
#include "host/scan/removal_text.h"
#include "quzo/core/error_text.h"

namespace quzo::host {

bool LimitGuard::rulesCanRun(const std::string& beyondLimit) {
    std::optional<ScanError> error;
    const KvMsgEntity* root = msg_.error() == kErrorNone ? msg_.getRootEntity() : nullptr;
    if (!beyondLimit.empty()) {
        error = ScanError{kErrorLimit, beyondLimit, kRaiseLimit};
    } else if (root == nullptr || root->hasError() != kErrorNone) {
        if (msg_.limitReached() == platform::LimitReached::None) {
            throw std::bad_alloc(); // nothing is wrong with it: it could not be looked at
        }
        error = limitFault(msg_, options_.limits);
    }
    if (error) {
        runInto(*error);
    }
    return !error;
}

void LimitGuard::lookedAt(const MessageFacts& facts) {
    if (!told_ && facts.lookedAtEntities()) {
        told_ = true;
        if (facts.limited()) {
            runInto(limitFault(msg_, options_.limits));
        }
    }
}

// Parts that a removal has not seen are not removed, whatever it says; and what cannot be read to the end is
// no better at the next attempt.
void LimitGuard::acted(const RuleAction& action, bool ok) {
    const bool matters = removesParts(action) || (!ok && action.onFailure == OnFailure::Defer);
    if (matters && !told_ && msg_.limitReached() != platform::LimitReached::None) {
        told_ = true;
        runInto(limitFault(msg_, options_.limits));
    }
}

void LimitGuard::runInto(const ScanError& error) {
    if (options_.onLimit == OnLimit::Pass) {
        result_.warnings.push_back("not all of the message was looked at: it " + error.text);
        return;
    }
    // A limit can be moved and the message tried again; what is no mail never becomes any.
    const bool defer = options_.onLimit == OnLimit::Defer && error.code == kErrorLimit;
    end_ = End{defer ? Outcome::Deferred : Outcome::Failed, error};
}

} // namespace quzo::host
