// What may stand in the HTML of a stamp.
//
// A token's value goes into the HTML as it is, without escaping. So only tokens whose values are ours may
// stand there: with any other the sender of a message would write into the page that its readers see.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/base/finding.h"
#include "quzo/settings/named_obj.h"

namespace quzo::host {

// The HTML of a stamp; nothing when it has none, or when the object is no stamp. Throws std::bad_alloc, as
// all of these.
std::optional<std::string> htmlOfStamp(const QuzoNamedObj& object);

// The first token of the HTML that may not stand there, as an error without a place.
std::optional<platform::Finding> faultOfStampHtml(std::string_view html);

// What is hardly meant, or will not be seen by all: warnings without a place.
platform::Findings doubtsOfStampHtml(std::string_view html);

// A rule's name becomes part of the HTML where %RULENAME% stands in it: an error without a place when it has
// characters that mean something there.
std::optional<platform::Finding> faultOfRuleName(std::string_view html, std::string_view ruleName);

// Whether the text has none of the characters that HTML does not take for themselves.
bool isPlainInHtml(std::string_view text);

} // namespace quzo::host
