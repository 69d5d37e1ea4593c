// See taken_message.h.
#include "host/cli/filter/taken_message.h"

#include <unistd.h>

#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/files/inputs.h"
#include "host/cli/files/mail_start.h"
#include "host/scan/received_header.h"
#include "platform/queue/queue_names.h"
#include "quzo/core/error_text.h"

namespace quzo::host {

Caller::Caller() : parent_(::getppid()) {}

bool Caller::gone() const { return ::getppid() != parent_; }

int filterExitFor(int errorNumber, const ScannerOptions& options) {
    const bool refusable = errorNumber == kErrorLimit || errorNumber == kErrorMalformedEntity;
    return refusable && options.onLimit == OnLimit::Fail ? kExitData : kExitTryAgain;
}

MaybeFault takeMessage(const ScannerOptions& options, const InterruptWatch& interrupt, const Caller& caller,
                       std::string& bytes) {
    const auto later = [](const char* what, const char* advice) {
        return Fault{kExitTryAgain, "filter", what, advice};
    };
    InputReader reader({"-"}, options.mostBytes(), {}, interrupt.wakeUp());
    Input input;
    if (!reader.next(input) || interrupt.signal() != 0) {
        return later("was told to end", "the message stays with the mail server");
    }
    if (input.fault) {
        input.fault->where = "filter: the message";
        // One without a byte is a mail server that broke off.
        input.fault->exitCode =
            input.errorNumber == kErrorLimit ? filterExitFor(kErrorLimit, options) : int{kExitTryAgain};
        return std::move(input.fault);
    }
    if (caller.gone()) {
        return later("whoever gave the message has died", "it may not be whole, and stays where it was");
    }
    if (startsWithFromLine(input.bytes)) {
        // Every mail server behind this one would take it for the end of the header.
        return later("the message begins with a line 'From ', which is no header field",
                     "see to it that none is put there (Postfix: take F out of the flags of pipe)");
    }
    bytes = std::move(input.bytes);
    return std::nullopt;
}

void identify(MessageJob& job, const ScannerOptions& options) {
    if (!ReceivedHeader(job.bytes, options.limits).has("Received")) {
        return;
    }
    std::string text =
        platform::derivedIdentifier("filter/message", job.bytes) + "\n" + job.sender.value_or("");
    for (const std::string& recipient : job.recipients) {
        text += "\n" + recipient;
    }
    job.identifier = platform::derivedIdentifier("filter/pass", text);
    job.again = true;
}

} // namespace quzo::host
