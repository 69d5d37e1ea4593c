// The message that a mail server gives on standard input.
#pragma once

#include <sys/types.h>

#include <string>

#include "host/base/fault.h"
#include "host/cli/console/interrupt.h"
#include "host/gateway/message_pipeline.h"
#include "host/scan/scanner.h"

namespace quzo::host {

// Whoever started this process. Make one before anything is read.
class Caller {
public:
    Caller();

    // Whether it has died. What was read may then have been cut off, and nobody would hear that the message
    // has gone on: it comes again, whole.
    bool gone() const;

private:
    pid_t parent_;
};

// How the filter ends for a message that cannot be handled, for the KvMsgError that says why: what the
// settings refuse is the sender's affair, everything else is ours.
int filterExitFor(int errorNumber, const ScannerOptions& options);

// Reads the message to its end; it is complete when there is no fault, and `interrupt` has not come before.
MaybeFault takeMessage(const ScannerOptions& options, const InterruptWatch& interrupt, const Caller& caller,
                       std::string& bytes);

// Gives the pass an identifier that follows from message and envelope, so that a second attempt finds what
// the first has stored before it was cut off. Only for a message that a server has put its Received in, which
// makes no two alike; others get a new identifier each time.
void identify(MessageJob& job, const ScannerOptions& options);

} // namespace quzo::host
