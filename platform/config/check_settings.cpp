// What is wrong with a quzo.ini, one finding for each fault, so that an administrator sees all of them in
// one go and before any message is touched.
#include <algorithm>

#include "platform/base/next_hop.h"
#include "platform/base/numbers.h"
#include "platform/base/visible_text.h"
#include "platform/charset/converter.h"
#include "platform/config/known_keys.h"
#include "platform/config/milter_settings.h"
#include "platform/config/quzo_settings.h"
#include "platform/config/snmp_settings.h"

namespace quzo::platform {

namespace {

// The value for a message, or nothing: connection strings hold passwords, and one may stand at any key.
std::string shownValue(const KnownKey& known, const std::string& value) {
    const bool secret = known.secret || value.find_first_of("@=") != std::string::npos ||
                        value.find("//") != std::string::npos;
    return secret ? std::string() : " " + quotedText(value);
}

bool isQuoted(std::string_view text) {
    constexpr std::string_view kMarks = "\"'";
    return !text.empty() &&
           (kMarks.find(text.front()) != kMarks.npos || kMarks.find(text.back()) != kMarks.npos);
}

// What a size has to be.
std::string wantedSize(std::size_t most) {
    std::string text = "a number of bytes, such as 100M (with K, M or G)";
    if (most != 0) {
        text += ", up to " + std::to_string(most) + ", or 0 for no limit of its own";
    }
    return text;
}

std::string listed(std::string_view choices) {
    std::string out;
    for (const char c : choices) {
        out += c == '|' ? std::string(", ") : std::string(1, c);
    }
    return out;
}

// What the value has to be; empty when it is that.
std::string expectedInstead(const KnownKey& known, const std::string& value) {
    const auto integer = parseNumber<int>(value);
    switch (known.type) {
        case KeyType::Text:
            return {};
        case KeyType::Host:
            return value.empty() || isHost(value) ? "" : "a host name, such as gw1.example.com";
        case KeyType::Path:
            return isQuoted(value) ? "the path without quotation marks" : "";
        case KeyType::Charset:
            return value.empty() || holdsAscii(value.c_str())
                       ? ""
                       : "a charset whose texts hold ASCII as it is, such as utf-8";
        case KeyType::Integer:
            return integer ? "" : "an integer";
        case KeyType::Switch:
            return integer ? "" : "an integer, 0 for off and 1 for on";
        case KeyType::Positive:
            return integer && *integer > 0 ? "" : "an integer of 1 or more";
        case KeyType::YesNo:
            return value == "yes" || value == "no" ? "" : "yes or no";
        case KeyType::Count:
            return integer && *integer >= 0 ? "" : "an integer of 0 or more";
        case KeyType::Size:
            return isSize(known, value) ? "" : wantedSize(known.most);
        case KeyType::Choice:
            return isChoice(value, known.choices) ? "" : "one of " + listed(known.choices);
        case KeyType::Duration:
            return isDuration(value) ? "" : "a time, such as 90s, 5m, 4h or 5d";
        case KeyType::NextHop:
            return value.empty() || readNextHop(value) ? ""
                                                       : "the URL of a mail server, such as "
                                                         "smtp://mx.example.com:25 or smtps://mx.example.com";
        case KeyType::Prefix:
            return value.empty() || (hasPrefix(value, known.choices) && !isQuoted(value))
                       ? ""
                       : "a text beginning with " + listed(known.choices);
        case KeyType::Snmp:
            return expectedOfSnmp(known.key, value);
        case KeyType::Milter:
            return expectedOfMilter(known.key, value);
    }
    return {};
}

std::string adviceForKey(std::string_view section, std::string_view key) {
    const std::string_view elsewhere = sectionOfKey(key);
    if (!elsewhere.empty()) {
        return "it belongs into [" + std::string(elsewhere) + "]";
    }
    const std::string_view nearest = nearestKey(section, key);
    if (!nearest.empty()) {
        return "did you mean '" + std::string(nearest) + "'?";
    }
    return "take the line out, or write key = value";
}

Finding unknownSection(const std::string& name, std::size_t line) {
    const std::string_view nearest = nearestSection(name);
    return {Finding::Severity::Warning,
            line,
            {},
            "nobody reads the section" + faultName(name),
            nearest.empty() ? std::string("take it out") : "did you mean [" + std::string(nearest) + "]?"};
}

} // namespace

Findings IniSettings::check() const {
    Findings findings = problems_;
    for (const auto& [section, content] : file_.sections()) {
        if (!isKnownSection(section)) {
            findings.push_back(unknownSection(section, content.line));
            continue;
        }
        for (const auto& [key, entry] : content.entries) {
            const KnownKey* known = findKnownKey(section, key);
            if (known == nullptr) {
                findings.push_back({Finding::Severity::Warning,
                                    entry.line,
                                    {},
                                    "nobody reads the key" + faultName(key) + " of [" + section + "]",
                                    adviceForKey(section, key)});
                continue;
            }
            const std::string expected = expectedInstead(*known, entry.value);
            if (!expected.empty()) {
                findings.push_back(
                    {Finding::Severity::Error,
                     entry.line,
                     {},
                     "the value" + shownValue(*known, entry.value) + " of " + key + " cannot be used",
                     "write " + expected});
            }
        }
    }
    for (const Findings& more : {checkSnmpSettings(file_), checkMilterSettings(file_)}) {
        findings.insert(findings.end(), more.begin(), more.end());
    }
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    return findings;
}

} // namespace quzo::platform
