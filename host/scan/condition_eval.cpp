// Conditions arrive ordered by cost, so plain short-circuiting keeps the dear ones from being looked at. The
// recursion is as deep as the policy is nested, which its reader limits; nothing here depends on how a
// message is built.
#include "host/scan/condition_eval.h"

#include <glib.h>
#include <re2/re2.h>

#include <algorithm>
#include <map>
#include <set>

namespace quzo::host {
namespace {

using Kind = Condition::Kind;

bool found(const std::vector<Expression>& expressions, const std::string& text) {
    return std::any_of(expressions.begin(), expressions.end(), [&](const Expression& expression) {
        return re2::RE2::PartialMatch(text, *expression);
    });
}

bool foundInAny(const std::vector<Expression>& expressions, const std::vector<std::string>& texts) {
    return std::any_of(texts.begin(), texts.end(),
                       [&](const std::string& text) { return found(expressions, text); });
}

// Whether a character at the end of a name is for show: what a file system drops, or nobody sees.
bool isPadding(gunichar c) {
    constexpr gunichar kReplacement = 0xfffd; // what undecodable bytes and NUL have become
    switch (g_unichar_type(c)) {
        case G_UNICODE_CONTROL:
        case G_UNICODE_FORMAT:
        case G_UNICODE_LINE_SEPARATOR:
        case G_UNICODE_PARAGRAPH_SEPARATOR:
        case G_UNICODE_SPACE_SEPARATOR:
            return true;
        default:
            return c == '.' || c == kReplacement;
    }
}

// A name, which is valid UTF-8, without its padding, behind which a forbidden ending could hide.
std::string_view comparable(std::string_view name) {
    while (!name.empty()) {
        const char* last = g_utf8_find_prev_char(name.data(), name.data() + name.size());
        if (last == nullptr || !isPadding(g_utf8_get_char(last))) {
            break;
        }
        name = name.substr(0, static_cast<std::size_t>(last - name.data()));
    }
    return name;
}

// A pattern without a slash means the subtype, which has prefixes that say nothing.
bool matchesSubtype(const Glob& glob, std::string_view type) {
    type.remove_prefix(std::min(type.find('/') + 1, type.size()));
    if (glob.matches(type)) {
        return true;
    }
    for (const std::string_view prefix : {std::string_view("x-"), std::string_view("vnd.")}) {
        if (type.starts_with(prefix)) {
            type.remove_prefix(prefix.size());
        }
    }
    return glob.matches(type);
}

bool matchesEntity(const Condition& condition, const Glob& glob, const EntityFacts& entity) {
    if (condition.kind == Kind::Attachment) {
        return std::any_of(entity.names.begin(), entity.names.end(),
                           [&](const std::string& name) { return glob.matches(comparable(name)); });
    }
    const bool subtypeAlone = glob.pattern().find('/') == std::string::npos;
    return std::any_of(entity.contentTypes.begin(), entity.contentTypes.end(), [&](const std::string& type) {
        return glob.matches(type) || (subtypeAlone && matchesSubtype(glob, type));
    });
}

bool matchesAnEntity(const Condition& condition, MessageFacts& facts) {
    const std::vector<EntityFacts>& entities = facts.entities();
    return std::any_of(entities.begin(), entities.end(), [&](const EntityFacts& entity) {
        return std::any_of(condition.globs.begin(), condition.globs.end(),
                           [&](const Glob& glob) { return matchesEntity(condition, glob, entity); });
    });
}

bool holdsForRecipients(const Condition& condition, const std::vector<std::string>& recipients) {
    const auto matches = [&](const std::string& address) { return matchesAny(condition.globs, address); };
    if (condition.kind == Kind::Recipient) {
        return std::any_of(recipients.begin(), recipients.end(), matches);
    }
    return !recipients.empty() && std::all_of(recipients.begin(), recipients.end(), matches);
}

bool holdsCombined(const Condition& condition, MessageFacts& facts) {
    const auto child = [&](const Condition& node) { return holds(node, facts); };
    switch (condition.kind) {
        case Kind::Any:
            return std::any_of(condition.children.begin(), condition.children.end(), child);
        case Kind::Not:
            return std::none_of(condition.children.begin(), condition.children.end(), child);
        default:
            return std::all_of(condition.children.begin(), condition.children.end(), child);
    }
}

// Collects from the parts that hold. What was found in a part that is not the message's own marks the entity
// in which it lies.
class Marker {
public:
    explicit Marker(MessageFacts& facts) : facts_(facts) {}

    void visit(const Condition& condition) {
        if (!condition.marksEntities || !holds(condition, facts_)) {
            return;
        }
        for (const Condition& child : condition.children) {
            visit(child);
        }
        const std::vector<EntityFacts>& entities = facts_.entities();
        for (std::size_t i = 0; i < entities.size(); ++i) {
            for (const Glob& glob : condition.globs) {
                if (matchesEntity(condition, glob, entities[i])) {
                    found_.insert(i);
                    notePattern(glob);
                }
            }
        }
    }

    MarkedEntities result() {
        const std::vector<EntityFacts>& entities = facts_.entities();
        std::map<std::size_t, MarkedEntities::Entry> entries;
        std::set<std::size_t> own;
        for (const std::size_t i : found_) { // the message's own come first
            const platform::SeenPart& part = entities[i].part;
            if (part.own) {
                own.insert(part.number);
            } else if (const auto inside = own.upper_bound(part.number);
                       inside != own.end() && *inside < part.behind) {
                continue; // what was found inside of it by name is marked, and not all that surrounds it
            }
            MarkedEntities::Entry& entry = entries[part.number];
            entry.number = part.number;
            entry.entity = entities[part.number].part.entity;
            entry.bodyBytes = platform::EntityReader::bodySize(*entry.entity);
            addOnce(entities[i].contentTypes, entry.contentTypes);
            addOnce(entities[i].names, entry.names);
        }
        for (auto& [number, entry] : entries) {
            marked_.entries.push_back(std::move(entry));
        }
        return std::move(marked_);
    }

private:
    static void addOnce(const std::vector<std::string>& texts, std::vector<std::string>& to) {
        for (const std::string& text : texts) {
            if (std::find(to.begin(), to.end(), text) == to.end()) {
                to.push_back(text);
            }
        }
    }

    void notePattern(const Glob& glob) {
        if (seen_.insert(glob.pattern()).second) {
            marked_.patterns.push_back(glob.pattern());
        }
    }

    MessageFacts& facts_;
    std::set<std::size_t> found_; // places in the list of entities
    std::set<std::string> seen_;
    MarkedEntities marked_;
};

} // namespace

bool holds(const Condition& condition, MessageFacts& facts) {
    switch (condition.kind) {
        case Kind::Always:
            return condition.wanted;
        case Kind::Sender:
            return matchesAny(condition.globs, facts.sender());
        case Kind::Recipient:
        case Kind::EveryRecipient:
            return holdsForRecipients(condition, facts.recipients());
        case Kind::SizeOver:
            return facts.size() > condition.number;
        case Kind::SizeUnder:
            return facts.size() < condition.number;
        case Kind::Token: {
            const std::string* value = facts.token(condition.token);
            return value != nullptr && found(condition.expressions, *value);
        }
        case Kind::Header:
            return foundInAny(condition.expressions, facts.header(condition.header));
        case Kind::Signed:
            return facts.isSigned() == condition.wanted;
        case Kind::Encrypted:
            return facts.isEncrypted() == condition.wanted;
        case Kind::Attachment:
        case Kind::ContentType:
            return matchesAnEntity(condition, facts);
        case Kind::Body:
            return foundInAny(condition.expressions, facts.bodyTexts());
        case Kind::Embedded:
            return (facts.embeddedFormats() & condition.formats).any();
        case Kind::All:
        case Kind::Any:
        case Kind::Not:
            break;
    }
    return holdsCombined(condition, facts);
}

MarkedEntities markedEntities(const Condition& condition, MessageFacts& facts) {
    Marker marker(facts);
    marker.visit(condition);
    return marker.result();
}

} // namespace quzo::host
