// Where the quarantine keeps a message.
#pragma once

#include <string>
#include <string_view>

namespace quzo {

// The path of a message's file below a quarantine queue: QUEUE/1st/2nd/IDENTIFIER.DF, 1st and 2nd being
// the identifier's first characters (no character where it is too short). At most 36 characters of the
// identifier and 519 bytes of the result are used. Throws std::bad_alloc.
std::string quarantinePath(std::string_view queueDir, std::string_view identifier);

// The quarantine queue's directory: the setting "queue_quarantine" of "general", kept here because both
// the path token and the quarantine action need it. Set during initialisation, then only read.
const std::string& quarantineQueueDir();
void setQuarantineQueueDir(std::string dir);

} // namespace quzo
