// The HTML is an administrator's own, and mail programs differ in what they make of it. What is looked for is
// what goes wrong in all of them.
#include "host/policy/stamp_html.h"

#include <re2/re2.h>

#include <algorithm>
#include <iterator>

#include "host/policy/token_name.h"
#include "platform/message/stamp/html_scan.h"
#include "quzo/settings/stamp_forms.h"
#include "quzo/settings/ui_stamp_area.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::host {
namespace {

// The tokens that may stand in HTML. Their values come from the policy, the settings and the clock, never
// from a message, and are plain: names of rules and of the host are checked (isPlainInHtml()).
constexpr ScanToken kOurOwn[] = {ScanToken::RuleName, ScanToken::RuleType, ScanToken::HostName,
                                 ScanToken::DateTime};

bool isOurOwn(ScanToken token) {
    return std::find(std::begin(kOurOwn), std::end(kOurOwn), token) != std::end(kOurOwn);
}

std::string ownNames() {
    std::string names;
    for (const ScanToken token : kOurOwn) {
        names += (names.empty() ? "" : ", ") + std::string(tokenName(token));
    }
    return names;
}

platform::Finding warning(std::string problem, std::string remedy) {
    return {platform::Finding::Severity::Warning, 0, {}, std::move(problem), std::move(remedy)};
}

struct Doubt {
    const char* pattern; // RE2
    const char* problem;
    const char* remedy;
};

constexpr Doubt kDoubts[] = {
    {R"((?i)</?(?:html|head|body)[\s/>]|<!doctype)", "it is a whole document, and is put into another one",
     "give what stands between the body tags, and nothing else"},
    {R"((?i)<script[\s/>])", "it has a script, which no mail program runs and many filters refuse",
     "leave it out"},
    {R"((?i)["'=(]\s*cid:)", "it shows a picture inside of the message, and a stamp brings none",
     "refer to a picture on a server: src=\"https://...\""},
};

// Whether what stands behind the HTML would be taken for a part of a comment, a tag or a script.
bool isLeftOpen(std::string_view html) {
    platform::HtmlScan scan(html);
    platform::HtmlToken token;
    bool open = false; // of the last one
    while (scan.next(token)) {
        open = token.open;
    }
    return open;
}

} // namespace

std::optional<std::string> htmlOfStamp(const QuzoNamedObj& object) {
    if (object.getType() != QuzoNamedObj::NaObjType::StampArea) {
        return std::nullopt;
    }
    return splitStampForms(static_cast<const uiStampArea&>(object).stampText).html;
}

std::optional<platform::Finding> faultOfStampHtml(std::string_view html) {
    std::size_t first = std::string_view::npos;
    std::string name;
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        const std::size_t at = isOurOwn(entry->token) ? std::string_view::npos : html.find(entry->name);
        if (at < first) {
            first = at;
            name = entry->name;
        }
    }
    if (name.empty()) {
        return std::nullopt;
    }
    return platform::Finding{.where = {},
                             .problem = name + " may not stand in HTML: messages would write into it",
                             .remedy = "take it out; " + ownNames() + " may be used"};
}

platform::Findings doubtsOfStampHtml(std::string_view html) {
    platform::Findings doubts;
    for (const Doubt& doubt : kDoubts) {
        if (RE2::PartialMatch(html, doubt.pattern)) {
            doubts.push_back(warning(doubt.problem, doubt.remedy));
        }
    }
    if (isLeftOpen(html)) {
        doubts.push_back(warning("a tag or a comment is left open, and swallows what follows", "close it"));
    }
    return doubts;
}

std::optional<platform::Finding> faultOfRuleName(std::string_view html, std::string_view ruleName) {
    if (isPlainInHtml(ruleName) || html.find(tokenName(ScanToken::RuleName)) == std::string_view::npos) {
        return std::nullopt;
    }
    return platform::Finding{.where = {},
                             .problem = "the name of this rule would be broken in the HTML of its stamp",
                             .remedy =
                                 "leave < > & and quotation marks out of the name, or %RULENAME% out "
                                 "of the HTML"};
}

bool isPlainInHtml(std::string_view text) { return text.find_first_of("<>&\"'") == std::string_view::npos; }

} // namespace quzo::host
