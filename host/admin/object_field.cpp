// One table for each kind. Reading and setting go through the objects of the library, which alone know the
// stored text; what stands here is how their members look to a person.
#include "host/admin/object_field.h"

#include <algorithm>
#include <array>

#include "host/policy/stamp_html.h"
#include "platform/message/values/mailbox.h"
#include "quzo/settings/archive_area.h"
#include "quzo/settings/stamp_forms.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_quarantine_area.h"
#include "quzo/settings/ui_stamp_area.h"

namespace quzo::host {
namespace {

using Type = ObjectField::Type;

constexpr char kStoredLineBreak = '\x03'; // between the lines of stamps
constexpr unsigned kBeforeBody = 1;
constexpr unsigned kAfterBody = 2;
constexpr unsigned kSkipSigned = 1;
constexpr unsigned kStampSigned = 2;

constexpr std::string_view kPlaces[] = {"before", "after"};
constexpr std::string_view kSignedModes[] = {"skip", "stamp"};
constexpr std::string_view kAttached[] = {"none", "original", "modified"};

// The object that a member belongs to, and the member's type.
template <typename Member>
struct MemberOf;
template <typename Class, typename Value>
struct MemberOf<Value Class::*> {
    using Object = Class;
    using Type = Value;
};

template <auto member>
ObjectValue getMember(const QuzoNamedObj& object) {
    return static_cast<const typename MemberOf<decltype(member)>::Object&>(object).*member;
}

template <auto member>
void setMember(QuzoNamedObj& object, const ObjectValue& value) {
    using Of = MemberOf<decltype(member)>;
    static_cast<typename Of::Object&>(object).*member = std::get<typename Of::Type>(value);
}

template <auto member>
constexpr ObjectField plain(const char* name, Type type, const char* help,
                            std::optional<platform::Finding> (*problem)(const std::string&) = nullptr) {
    return {name, type, help, {}, &getMember<member>, &setMember<member>, problem};
}

std::optional<platform::Finding> refusal(const char* what, const char* remedy) {
    return platform::Finding{.where = {}, .problem = what, .remedy = remedy};
}

// Stamps.

const uiStampArea& stamp(const QuzoNamedObj& object) { return static_cast<const uiStampArea&>(object); }
uiStampArea& stamp(QuzoNamedObj& object) { return static_cast<uiStampArea&>(object); }

// With LF between lines: a CR alone ends a line too, since in a mail it must not stand for itself.
std::string withLineFeeds(const std::string& text) {
    std::string lines;
    lines.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool crlf = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
        if (!crlf) { // the LF that follows does it
            lines += text[at] == '\r' ? '\n' : text[at];
        }
    }
    return lines;
}

ObjectValue getStampText(const QuzoNamedObj& object) {
    std::string text = splitStampForms(stamp(object).stampText).text;
    std::replace(text.begin(), text.end(), kStoredLineBreak, '\n');
    return text;
}

void setStampText(QuzoNamedObj& object, const ObjectValue& value) {
    StampForms forms = splitStampForms(stamp(object).stampText);
    forms.text = withLineFeeds(std::get<std::string>(value));
    stamp(object).stampText = joinStampForms(forms);
}

ObjectValue getStampHtml(const QuzoNamedObj& object) {
    return splitStampForms(stamp(object).stampText).html.value_or("");
}

void setStampHtml(QuzoNamedObj& object, const ObjectValue& value) {
    StampForms forms = splitStampForms(stamp(object).stampText);
    const std::string& html = std::get<std::string>(value);
    if (html.empty() && !forms.html) {
        return; // the text stays as another program may have written it
    }
    forms.html = html.empty() ? std::nullopt : std::optional(withLineFeeds(html));
    stamp(object).stampText = joinStampForms(forms);
}

std::optional<platform::Finding> stampTextProblem(const std::string& text) {
    if (canBeStampForm(text)) {
        return std::nullopt;
    }
    return refusal("it has one of the bytes 0x03, 0x1C and 0x1E, which stored stamps are divided with",
                   "leave that out");
}

std::optional<platform::Finding> stampHtmlProblem(const std::string& html) {
    std::optional<platform::Finding> fault = stampTextProblem(html);
    return fault ? fault : faultOfStampHtml(html);
}

ObjectValue getPlace(const QuzoNamedObj& object) {
    return std::string(kPlaces[stamp(object).position == kBeforeBody ? 0 : 1]);
}

void setPlace(QuzoNamedObj& object, const ObjectValue& value) {
    stamp(object).position = std::get<std::string>(value) == kPlaces[0] ? kBeforeBody : kAfterBody;
}

ObjectValue getSignedMode(const QuzoNamedObj& object) {
    return std::string(kSignedModes[stamp(object).signedTnefMode == kStampSigned ? 1 : 0]);
}

void setSignedMode(QuzoNamedObj& object, const ObjectValue& value) {
    stamp(object).signedTnefMode =
        std::get<std::string>(value) == kSignedModes[1] ? kStampSigned : kSkipSigned;
}

// Notifications.

const uiNotifyArea& notify(const QuzoNamedObj& object) { return static_cast<const uiNotifyArea&>(object); }
uiNotifyArea& notify(QuzoNamedObj& object) { return static_cast<uiNotifyArea&>(object); }

// Also with a display name around it.
bool namesOneAddress(std::string_view text, bool orNone) {
    platform::Mailbox mailbox;
    return platform::parseMailbox(text, mailbox) == 0 &&
           (mailbox.address.empty() ? orNone : platform::isOneAddress(mailbox.address));
}

constexpr const char* kAddresses = "write local@domain, and ';' between several";

std::optional<platform::Finding> senderProblem(const std::string& text) {
    return namesOneAddress(text, true) ? std::nullopt : refusal("it is no address", kAddresses);
}

std::optional<platform::Finding> recipientsProblem(const std::string& text) {
    for (const std::string_view entry : platform::splitRecipients(text)) {
        if (!namesOneAddress(entry, false)) {
            return refusal("one of its entries is no address", kAddresses);
        }
    }
    return std::nullopt;
}

// A text for the trap is there to be sent; who wants it otherwise sets the flag, which comes later.
void setTrapText(QuzoNamedObj& object, const ObjectValue& value) {
    notify(object).snmpMessage = std::get<std::string>(value);
    notify(object).sendSnmpTrap = !notify(object).snmpMessage.empty();
}

ObjectValue getAttached(const QuzoNamedObj& object) {
    const uiNotifyArea& area = notify(object);
    return std::string(kAttached[!area.attachMessage ? 0 : area.attachModifiedMessage ? 2 : 1]);
}

void setAttached(QuzoNamedObj& object, const ObjectValue& value) {
    notify(object).attachMessage = std::get<std::string>(value) != kAttached[0];
    notify(object).attachModifiedMessage = std::get<std::string>(value) == kAttached[2];
}

// Areas.

ObjectValue getDays(const QuzoNamedObj& object) { return static_cast<const Area&>(object).agingDays; }

void setDays(QuzoNamedObj& object, const ObjectValue& value) {
    auto& area = static_cast<Area&>(object);
    area.agingDays = std::get<std::uint32_t>(value);
    area.agingEnabled = area.agingDays != 0;
}

constexpr const char* kNote = "A note; of an area its name in %QUARANTINE_AREA%";

constexpr ObjectField kNotifyFields[] = {
    plain<&uiNotifyArea::description>("description", Type::Line, kNote),
    plain<&uiNotifyArea::sender>("from", Type::Line, "Sender address", &senderProblem),
    plain<&uiNotifyArea::recipients>("to", Type::Line, "Recipients, with ';' between them",
                                     &recipientsProblem),
    plain<&uiNotifyArea::notifySender>("notify-sender", Type::Flag, "Also to the sender of the message"),
    plain<&uiNotifyArea::notifyRecipients>("notify-recipients", Type::Flag,
                                           "Also to the recipients of the message"),
    plain<&uiNotifyArea::subject>("subject", Type::Line, "Subject; may hold tokens"),
    plain<&uiNotifyArea::message>("body", Type::Text, "Text of the notification; may hold tokens"),
    {"attach", Type::Word, "Attach the message, as it arrived or as it was changed", kAttached, &getAttached,
     &setAttached},
    {"snmp-text",
     Type::Text,
     "Text of an SNMP trap, which is then sent; may hold tokens",
     {},
     &getMember<&uiNotifyArea::snmpMessage>,
     &setTrapText},
    plain<&uiNotifyArea::sendSnmpTrap>("snmp-trap", Type::Flag,
                                       "Send the SNMP trap (the default when it has a text)"),
    plain<&uiNotifyArea::snmpTrapType>("trap-type", Type::Number, "Type of the SNMP trap"),
};

constexpr ObjectField kStampFields[] = {
    plain<&uiStampArea::description>("description", Type::Line, kNote),
    {"position", Type::Word, "Before or after the text of the message", kPlaces, &getPlace, &setPlace},
    {"signed", Type::Word, "What to do with signed, encrypted and TNEF messages", kSignedModes,
     &getSignedMode, &setSignedMode},
    {"text", Type::Text, "The stamp; may hold tokens", {}, &getStampText, &setStampText, &stampTextProblem},
    {.name = "html",
     .type = Type::Text,
     .help = "Its form for HTML, a fragment; empty: made of the text",
     .get = &getStampHtml,
     .set = &setStampHtml,
     .problem = &stampHtmlProblem,
     .optional = true},
};

constexpr ObjectField kAreaFields[] = {
    plain<&Area::description>("description", Type::Line, kNote),
    {"days", Type::Number, "Days until what is stored goes; 0: it stays", {}, &getDays, &setDays},
};

} // namespace

std::span<const ObjectField> objectFields(platform::ObjectKind kind) {
    switch (kind) {
        case platform::ObjectKind::NotifyArea:
            return kNotifyFields;
        case platform::ObjectKind::StampArea:
            return kStampFields;
        case platform::ObjectKind::QuarantineArea:
        case platform::ObjectKind::ArchiveArea:
            return kAreaFields;
    }
    return {};
}

const ObjectField* findObjectField(platform::ObjectKind kind, std::string_view name) {
    for (const ObjectField& field : objectFields(kind)) {
        if (field.name == name) {
            return &field;
        }
    }
    return nullptr;
}

} // namespace quzo::host
