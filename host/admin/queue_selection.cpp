// See queue_selection.h. "Older than" and its like leave the limit itself out.
#include "host/admin/queue_selection.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>

#include "host/base/exit_code.h"
#include "host/policy/glob.h"
#include "platform/base/numbers.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

platform::QueueFilter::Test matching(const std::string& pattern) {
    if (pattern.empty()) {
        return nullptr;
    }
    return
        [glob = std::make_shared<const Glob>(pattern)](std::string_view text) { return glob->matches(text); };
}

bool isNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// The two limits of a value, which `read` reads.
template <typename Number, typename Read>
MaybeFault readLimits(std::pair<const char*, const std::string&> above,
                      std::pair<const char*, const std::string&> below, Read&& read, const char* form,
                      std::optional<Number>& least, std::optional<Number>& most) {
    for (const auto& [option, text] : {above, below}) {
        if (text.empty()) {
            continue;
        }
        const std::optional<Number> value = read(text);
        const bool isAbove = option == above.first;
        if (!value || (!isAbove && *value == 0)) {
            return Fault{kExitUsage, option, platform::quotedText(text) + " is no " + form, {}};
        }
        (isAbove ? least : most) = isAbove ? *value + 1 : *value - 1;
    }
    return std::nullopt;
}

} // namespace

bool SelectionTexts::empty() const {
    const auto& texts = {sender,    recipient,   subject,    rule,       area,
                         olderThan, youngerThan, largerThan, smallerThan};
    return std::all_of(texts.begin(), texts.end(), [](const std::string& text) { return text.empty(); });
}

MaybeFault readSelection(const SelectionTexts& texts, platform::QueueFilter& out) {
    out = {};
    out.sender = matching(texts.sender);
    out.recipient = matching(texts.recipient);
    out.subject = matching(texts.subject);
    out.area = matching(texts.area);
    if (isNumber(texts.rule)) {
        std::uint32_t rule = 0;
        const char* end = texts.rule.data() + texts.rule.size();
        if (std::from_chars(texts.rule.data(), end, rule).ec != std::errc()) {
            return Fault{kExitUsage, "--rule", platform::quotedText(texts.rule) + " is no rule's number", {}};
        }
        out.rule = rule;
    } else {
        out.ruleName = matching(texts.rule);
    }
    auto fault = readLimits<std::int64_t>({"--older-than", texts.olderThan},
                                          {"--younger-than", texts.youngerThan}, platform::parseDuration,
                                          "age: write 90s, 15m, 12h, 30d or 2w", out.minAge, out.maxAge);
    return fault ? fault
                 : readLimits<std::uint64_t>({"--larger-than", texts.largerThan},
                                             {"--smaller-than", texts.smallerThan}, platform::parseSize,
                                             "size: write 500, 10K, 5M or 1G", out.minSize, out.maxSize);
}

} // namespace quzo::host
