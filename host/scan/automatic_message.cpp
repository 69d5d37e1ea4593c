// See automatic_message.h.
#include "host/scan/automatic_message.h"

#include <algorithm>
#include <array>

#include "platform/base/ascii.h"

namespace quzo::host {
namespace {

using platform::equalsNoCase;

constexpr std::string_view kBetweenWords = " \t\r\n,;()";

// Whether one of the words of a value passes the test.
template <typename Test>
bool anyWord(std::string_view value, const Test& test) {
    while (!value.empty()) {
        const std::size_t end = std::min(value.find_first_of(kBetweenWords), value.size());
        if (end > 0 && test(value.substr(0, end))) {
            return true;
        }
        value.remove_prefix(std::min(end + 1, value.size()));
    }
    return false;
}

std::string_view firstWord(std::string_view value) {
    value = platform::trimmed(value);
    return value.substr(0, value.find_first_of(kBetweenWords));
}

// A value that is there and says nothing is no "no".
bool isAutoSubmitted(std::string_view value) { return !equalsNoCase(firstWord(value), "no"); }

bool isBulk(std::string_view value) {
    constexpr std::array<std::string_view, 3> kWords = {"bulk", "junk", "list"};
    const std::string_view word = firstWord(value);
    return std::any_of(kWords.begin(), kWords.end(),
                       [word](std::string_view known) { return equalsNoCase(word, known); });
}

bool wantsNoAnswer(std::string_view value) {
    return anyWord(value, [](std::string_view word) {
        return equalsNoCase(word, "All") || equalsNoCase(word, "AutoReply");
    });
}

bool isNullPath(std::string_view value) {
    return std::none_of(value.begin(), value.end(), [](char c) {
        return c != '<' && c != '>' && c != ' ' && c != '\t' && c != '\r' && c != '\n';
    });
}

bool isThere(std::string_view /*value*/) { return true; }

struct Sign {
    std::string_view field;
    bool (*shows)(std::string_view value);
};

constexpr std::array<Sign, 6> kSigns = {{{"Auto-Submitted", isAutoSubmitted},
                                         {"Return-Path", isNullPath},
                                         {"Precedence", isBulk},
                                         {"List-Id", isThere},
                                         {"List-Unsubscribe", isThere},
                                         {"X-Auto-Response-Suppress", wantsNoAnswer}}};

} // namespace

std::string_view signOfAutomatic(std::string_view sender, const ReceivedHeader& header) {
    if (sender.empty()) {
        return "its null sender";
    }
    for (const Sign& sign : kSigns) {
        const std::vector<std::string_view> values = header.rawValues(sign.field);
        if (std::any_of(values.begin(), values.end(), sign.shows)) {
            return sign.field;
        }
    }
    return {};
}

} // namespace quzo::host
