// Fields are checked here as an administrator would want to be told, key by key; that a text comes back equal
// from the action itself is checked by whoever loads it.
#include "host/policy/action_settings.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "platform/base/ascii.h"
#include "platform/base/numbers.h"
#include "platform/base/visible_text.h"
#include "platform/message/values/mailbox.h"
#include "quzo/core/text.h"
#include "quzo/core/trim.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/ui_handoff.h"
#include "quzo/settings/ui_insert_xheader_tag.h"
#include "quzo/settings/ui_postpone.h"
#include "quzo/settings/ui_readdress.h"
#include "quzo/settings/ui_tag_subject.h"

namespace quzo::host::settings {
namespace {

// The x-header object's limit for name, colon and value together.
constexpr std::size_t kMaxXHeader = 512;

std::string textOf(const Fields& fields, std::string_view key) {
    const FieldValue* value = findField(fields, key);
    const auto* text = value != nullptr ? std::get_if<std::string>(value) : nullptr;
    return text != nullptr ? *text : std::string();
}

bool flagOf(const Fields& fields, std::string_view key) {
    const FieldValue* value = findField(fields, key);
    const auto* flag = value != nullptr ? std::get_if<bool>(value) : nullptr;
    return flag != nullptr && *flag;
}

std::vector<std::string> listOf(const Fields& fields, std::string_view key) {
    const FieldValue* value = findField(fields, key);
    const auto* list = value != nullptr ? std::get_if<std::vector<std::string>>(value) : nullptr;
    return list != nullptr ? *list : std::vector<std::string>();
}

bool refuse(platform::Finding& fault, const char* key, std::string problem, std::string remedy) {
    fault = {.where = key, .problem = std::move(problem), .remedy = std::move(remedy)};
    return false;
}

// Whether a message with a fixed field of that name can no longer be read as it was meant, or followed back:
// the fields of structure and of the way it took, an identifier that must be its own, and marks of ours.
bool breaksMessage(std::string_view name) {
    constexpr std::string_view kNames[] = {"mime-version", "received", "return-path", "message-id"};
    return platform::startsWithNoCase(name, "content-") ||
           platform::startsWithNoCase(name, "x-quzo-reprocess-") ||
           std::find(std::begin(kNames), std::end(kNames), platform::lowered(name)) != std::end(kNames);
}

// Two decimal digits at most, as a number below `limit`; -1 otherwise.
int clockPart(std::string_view text, int limit) {
    const int number = platform::parseNumber<int>(text).value_or(-1);
    return text.size() <= 2 && number >= 0 && number < limit ? number : -1;
}

unsigned lengthOf(std::string_view setting) {
    return static_cast<unsigned>(std::min<std::size_t>(setting.size(), std::numeric_limits<int>::max()));
}

template <typename Ui>
bool readInto(Ui& ui, std::string_view setting) {
    return ui.construct(setting.data(), lengthOf(setting));
}

} // namespace

bool encodeNone(const Fields& /*fields*/, std::string& setting, platform::Finding& /*fault*/) {
    setting.clear();
    return true;
}

std::optional<Fields> decodeNone(std::string_view setting) {
    return setting.empty() ? std::optional<Fields>(Fields{}) : std::nullopt;
}

bool encodeTagSubject(const Fields& fields, std::string& setting, platform::Finding& fault) {
    const std::string tag = textOf(fields, "tag");
    if (tag.empty()) {
        return refuse(fault, "tag", "an empty tag changes nothing", "give the text to put in front");
    }
    if (tag.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) {
        return refuse(fault, "tag", "line breaks and NUL cannot stand in a subject", "leave them out");
    }
    uiTagSubject ui;
    ui.setTagSubjectAction(flagOf(fields, "signed"), tag.c_str());
    setting = ui.serialize();
    return true;
}

std::optional<Fields> decodeTagSubject(std::string_view setting) {
    uiTagSubject ui;
    if (!readInto(ui, setting)) {
        return std::nullopt;
    }
    return Fields{{"tag", ui.tagText}, {"signed", ui.tagFlag}};
}

bool encodeXHeader(const Fields& fields, std::string& setting, platform::Finding& fault) {
    std::string name = textOf(fields, "name");
    std::string value = textOf(fields, "value");
    if (name.empty() ||
        !std::all_of(name.begin(), name.end(), [](char c) { return c > 32 && c < 127 && c != ':'; })) {
        return refuse(fault, "name", "this is no name of a header field",
                      "use printable ASCII characters without blanks and colons");
    }
    if (breaksMessage(name)) {
        return refuse(fault, "name",
                      "a fixed value of this field would make the message unreadable or untraceable",
                      "give another name, such as X-Checked");
    }
    if (value.empty() || withoutSpaces(value) != value) {
        return refuse(fault, "value", "it is empty or has blanks around it, which would be lost",
                      "give a text that neither begins nor ends with a blank");
    }
    if (!std::all_of(value.begin(), value.end(), [](char c) { return c >= 32 && c < 127; })) {
        return refuse(fault, "value", "it has characters that are not printable ASCII", "leave them out");
    }
    if (name.size() + 1 + value.size() > kMaxXHeader) {
        return refuse(fault, "value", "name and value together are longer than 511 characters",
                      "shorten them");
    }
    uiInsertXHeaderTag ui;
    ui.setXHeaderTag(name, value);
    setting = ui.serialize();
    return true;
}

std::optional<Fields> decodeXHeader(std::string_view setting) {
    uiInsertXHeaderTag ui;
    if (!readInto(ui, setting)) {
        return std::nullopt;
    }
    return Fields{{"name", ui.headerName}, {"value", ui.headerValue}};
}

bool encodeDeleteAttachment(const Fields& fields, std::string& setting, platform::Finding& /*fault*/) {
    setting.assign(1, flagOf(fields, "all") ? 'T' : 'F');
    return true;
}

std::optional<Fields> decodeDeleteAttachment(std::string_view setting) {
    return Fields{{"all", !setting.empty() && setting.front() == 'T'}};
}

bool encodeRecipients(const Fields& fields, std::string& setting, platform::Finding& fault) {
    std::string joined;
    for (const std::string& entry : listOf(fields, "to")) {
        const std::string_view address = withoutSpaces(entry);
        if (!platform::isOneAddress(address) || address.find('@') == std::string_view::npos) {
            return refuse(fault, "to", platform::quotedText(entry) + " is no address",
                          "give one address in each entry, as local@domain");
        }
        joined += joined.empty() ? "" : ";";
        joined += address;
    }
    if (joined.empty()) {
        return refuse(fault, "to", "there is no address", "give at least one");
    }
    uiReaddress ui;
    ui.setRcpt(joined.c_str());
    setting = ui.serialize();
    return !setting.empty() || refuse(fault, "to", "it cannot be stored", "shorten the list");
}

std::optional<Fields> decodeRecipients(std::string_view setting) {
    uiReaddress ui;
    if (!readInto(ui, setting)) {
        return std::nullopt;
    }
    std::vector<std::string> parts; // as the action takes them apart: at each ';', quoted or not
    tokenize(ui.rcpt, parts, ";");
    std::vector<std::string> addresses;
    for (const std::string& part : parts) {
        if (const std::string_view address = withoutSpaces(part); !address.empty()) {
            addresses.emplace_back(address);
        }
    }
    return Fields{{"to", std::move(addresses)}};
}

bool encodeHandoff(const Fields& fields, std::string& setting, platform::Finding& fault) {
    const std::string host = textOf(fields, "host");
    const FieldValue* value = findField(fields, "port");
    const auto* port = value != nullptr ? std::get_if<std::int64_t>(value) : nullptr;
    if (host.empty() || platform::hasControlBytes(host) || host.find(' ') != std::string::npos) {
        return refuse(fault, "host", "this is no host", "give a name or an address without blanks");
    }
    if (port == nullptr || *port < 1 || *port > 65535) {
        return refuse(fault, "port", "it is not between 1 and 65535", "give the port of the mail server");
    }
    uiHandoff ui;
    ui.ip = host;
    ui.port = static_cast<int>(*port);
    setting = ui.serialize();
    return true;
}

std::optional<Fields> decodeHandoff(std::string_view setting) {
    uiHandoff ui;
    if (!readInto(ui, setting)) {
        return std::nullopt;
    }
    return Fields{{"host", ui.ip}, {"port", std::int64_t{ui.port}}};
}

bool encodePostpone(const Fields& fields, std::string& setting, platform::Finding& fault) {
    const std::string at = textOf(fields, "at");
    const std::size_t colon = at.find(':');
    uiPostpone ui;
    if (colon != std::string::npos) {
        ui.hour = clockPart(std::string_view(at).substr(0, colon), 24);
        ui.min = clockPart(std::string_view(at).substr(colon + 1), 60);
    }
    if (colon == std::string::npos || ui.hour < 0 || ui.min < 0) {
        return refuse(fault, "at", platform::quotedText(at) + " is no time of day", "write it as \"22:00\"");
    }
    setting = ui.serialize();
    return true;
}

std::optional<Fields> decodePostpone(std::string_view setting) {
    uiPostpone ui;
    if (!readInto(ui, setting)) {
        return std::nullopt;
    }
    char at[32];
    std::snprintf(at, sizeof at, "%02d:%02d", ui.hour, ui.min);
    return Fields{{"at", std::string(at)}};
}

bool encodeIds(const Fields& fields, std::string& setting, platform::Finding& fault) {
    // The type only matters for what the object reports, which nobody asks here.
    QuzoActionN codec(QuzoAction::ActionType::Archive, false);
    for (const std::string& text : listOf(fields, "ids")) {
        const unsigned id = platform::parseNumber<unsigned>(withoutSpaces(text)).value_or(0);
        if (id == 0) {
            return refuse(fault, "ids", platform::quotedText(text) + " is no id",
                          "give numbers from 1 to 4294967295");
        }
        codec.namedObjIds.push_back(id);
    }
    if (codec.namedObjIds.empty()) {
        return refuse(fault, "ids", "there is no id", "give at least one");
    }
    setting = codec.serialize();
    return true;
}

std::optional<Fields> decodeIds(std::string_view setting) {
    QuzoActionN codec(QuzoAction::ActionType::Archive, false);
    std::vector<unsigned> ids;
    if (setting.empty() ||
        !codec.getNamedObjectIds(setting.data(), static_cast<int>(lengthOf(setting)), ids)) {
        return std::nullopt;
    }
    std::vector<std::string> texts;
    texts.reserve(ids.size());
    for (const unsigned id : ids) {
        texts.push_back(std::to_string(id));
    }
    return Fields{{"ids", std::move(texts)}};
}

} // namespace quzo::host::settings
