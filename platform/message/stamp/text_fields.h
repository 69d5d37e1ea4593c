// The header fields of a text part whose body gets a stamp.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/message/edit/prepared_edit.h"
#include "platform/message/stamp/placement.h"

namespace quzo::platform {

// What of the header has to change when the body is stored in another charset or encoding; either is empty
// when it stays.
class TextFields {
public:
    TextFields(const Entity& part, const std::string& charset, const std::string& encoding);

    // Refers to this object.
    BodyEdit::Header header() const {
        return {described_, written_, [this](std::string_view name) { return replaces(name); }};
    }

private:
    bool replaces(std::string_view name) const;

    std::vector<std::string> described_;
    std::vector<std::string> written_;
    bool typeChanges_;
    bool encodingChanges_;
};

// What the Content-Type of a plain text says about its lines.
TextFormat formatOf(const Entity& part);

} // namespace quzo::platform
