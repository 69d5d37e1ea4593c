// What can be asked of the mail server once it has handed the whole message over.
#pragma once

#include <string>
#include <string_view>

#include "host/milter/header_edits.h"

namespace quzo::host {

// Each returns whether the server took it. After one that it did not take the message must not go on: the
// others may have been carried out.
class MailEditor {
public:
    virtual ~MailEditor() = default;

    virtual bool editHeader(const HeaderEdit& edit) = 0;

    // Pieces of the new body, in order; the first call replaces the body, the others add to it.
    virtual bool replaceBody(std::string_view piece) = 0;

    // Bare addresses; the null sender is empty. Recipients that are taken away come as they were received,
    // with angle brackets.
    virtual bool changeSender(const std::string& address) = 0;
    virtual bool addRecipient(const std::string& address) = 0;
    virtual bool removeRecipient(const std::string& received) = 0;
};

} // namespace quzo::host
