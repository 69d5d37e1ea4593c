// Giving a message to sendmail(1), or to a program that is called like it.
#pragma once

#include <string>

#include "host/base/fault.h"
#include "host/gateway/leaving_mail.h"

namespace quzo::host {

// Runs PROGRAM -G -i -f SENDER -- RECIPIENT..., without a shell, with the message on its standard input,
// every CRLF of it as LF, and waits for it. The message is whole before the program starts, so it never takes
// half of one for all of it, whoever dies when. What it writes is kept apart from our own output; the fault
// shows the first line.
//
// Nothing means that it ended with 0: it has taken the message. Any fault is kExitTryAgain. SIGCHLD gets its
// default, without which nobody learns how a child ended.
MaybeFault giveToSendmail(const std::string& program, const LeavingMail& mail);

} // namespace quzo::host
