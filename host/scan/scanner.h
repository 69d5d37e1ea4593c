// Runs messages through a policy.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/policy/policy.h"
#include "host/scan/rule_watch.h"
#include "host/scan/scan_result.h"
#include "platform/message/mail_message.h"
#include "platform/message/structure/limits.h"
#include "quzo/core/adapter.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

// What to do with a message that is beyond the limits. One without a readable header goes on with Pass and
// fails otherwise: it can never be read.
enum class OnLimit : std::uint8_t { Defer, Fail, Pass };

struct ScannerOptions {
    std::string hostname;          // %HOSTNAME%; empty: the policy's, else the host's own name
    std::string protocol = "FILE"; // %PROTOCOL%: FILE or SMTP
    platform::Limits limits;       // for the second look at a message as it was received
    platform::RawValues rawValues = platform::RawValues::WithCharset; // the same
    OnLimit onLimit = OnLimit::Fail;
    bool stampOnce = false;       // a stamp that a text shows already is not put into it again
    bool removalNote = false;     // a text stands where an attachment was removed
    bool notifyAutomatic = false; // also the sender of an automatic message is notified

    // The size of the largest message that need be read whole.
    std::size_t mostBytes() const;
};

// What one scan works with beside the message. All of it is the caller's and outlives the scan.
struct ScanJob {
    KvIsAdapter& adapter;

    // In: what other scanners found, which wins over what the host would fill in for the whole message.
    // During the scan the adapter may read it: it holds the rule at work.
    TokenMap<ScanToken>& tokens;

    const NamedObjMgrForScanner* namedObjects = nullptr; // null: there are none

    // The identifier of the message's first pass; empty: this is the first.
    std::string firstIdentifier{};

    // Rules that are not tried, because they ran in a former pass.
    std::vector<std::uint32_t> skipRules{};

    // Whether the reprocessing fields and the mark field of the message are our own. A forged mark field is
    // taken off every message; forged reprocessing fields off one that is changed or stored.
    bool trustMarks = false;

    // Which limit the envelope is beyond (Envelope::beyondLimit); empty: none. The message is then treated as
    // one that is itself beyond a limit.
    std::string beyondLimit{};

    RuleWatch* watch = nullptr; // null: nobody looks on
};

// One policy, ready to be applied. Immutable after construction: threads share one scanner, each with
// messages and jobs of its own.
class Scanner {
public:
    // `policy` must not be null.
    Scanner(std::shared_ptr<const Policy> policy, ScannerOptions options);

    // Runs the message through the rules. Never throws: a message that cannot be handled is deferred or
    // failed and must then be kept as it was received, whatever edits `msg` shows.
    ScanResult scan(platform::MailMessage& msg, const ScanJob& job) const noexcept;

    const Policy& policy() const { return *policy_; }

    // With the host's name filled in.
    const ScannerOptions& options() const { return options_; }

private:
    std::shared_ptr<const Policy> policy_;
    ScannerOptions options_;
};

} // namespace quzo::host
