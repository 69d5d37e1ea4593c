// How the fields of each action type become its setting text and back.
//
// Each pair follows PolicyActionType::encode and decode. The administration-side objects hold the one
// definition of every text; nothing here writes or reads a text by itself but the flag of delete-attachment,
// which its object does not carry.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/policy/action_type.h"
#include "platform/base/finding.h"

namespace quzo::host::settings {

// Actions that accept any text: their objects write a fixed one.
template <typename Ui>
bool encodeFixed(const Fields& /*fields*/, std::string& setting, platform::Finding& /*fault*/) {
    setting = Ui().serialize();
    return true;
}
template <typename Ui>
std::optional<Fields> decodeFixed(std::string_view setting) {
    if (Ui().construct(setting.data(), static_cast<unsigned>(setting.size()))) {
        return Fields{};
    }
    return std::nullopt;
}

// An action that has no setting text.
bool encodeNone(const Fields& fields, std::string& setting, platform::Finding& fault);
std::optional<Fields> decodeNone(std::string_view setting);

bool encodeTagSubject(const Fields& fields, std::string& setting, platform::Finding& fault);
std::optional<Fields> decodeTagSubject(std::string_view setting);

bool encodeXHeader(const Fields& fields, std::string& setting, platform::Finding& fault);
std::optional<Fields> decodeXHeader(std::string_view setting);

bool encodeDeleteAttachment(const Fields& fields, std::string& setting, platform::Finding& fault);
std::optional<Fields> decodeDeleteAttachment(std::string_view setting);

// Re-addressing and blind copies share their text.
bool encodeRecipients(const Fields& fields, std::string& setting, platform::Finding& fault);
std::optional<Fields> decodeRecipients(std::string_view setting);

bool encodeHandoff(const Fields& fields, std::string& setting, platform::Finding& fault);
std::optional<Fields> decodeHandoff(std::string_view setting);

bool encodePostpone(const Fields& fields, std::string& setting, platform::Finding& fault);
std::optional<Fields> decodePostpone(std::string_view setting);

// Lists of named-object ids.
bool encodeIds(const Fields& fields, std::string& setting, platform::Finding& fault);
std::optional<Fields> decodeIds(std::string_view setting);

} // namespace quzo::host::settings
