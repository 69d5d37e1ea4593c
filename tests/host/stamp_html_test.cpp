// What may stand in the HTML of a stamp, wherever the stamp comes from.
#include "host/policy/stamp_html.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "host/policy/object_doubts.h"
#include "quzo/settings/stamp_forms.h"
#include "quzo/settings/ui_stamp_area.h"
#include "quzo/tokens/action_utils.h"
#include "tests/host/scan_support.h"

namespace quzo::host::test {
namespace {

using testing::HasSubstr;
using testing::UnorderedElementsAre;

TEST(StampHtml, OnlyTokensWithValuesOfOursMayStandInIt) {
    std::set<std::string> allowed;
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        const std::string name = entry->name;
        const auto fault = faultOfStampHtml("<p>50%" + name + "</p>");
        if (!fault) {
            allowed.insert(name);
            continue;
        }
        EXPECT_EQ(fault->severity, platform::Finding::Severity::Error);
        EXPECT_THAT(fault->problem, HasSubstr(name));
        EXPECT_THAT(fault->remedy, HasSubstr("%RULENAME%, %RULETYPE%, %HOSTNAME%, %DATE&TIME% may be used"));
    }
    EXPECT_THAT(allowed, UnorderedElementsAre("%RULENAME%", "%RULETYPE%", "%HOSTNAME%", "%DATE&TIME%"));
    EXPECT_THAT(faultOfStampHtml("%HOSTNAME% %RCPTS% %SENDER%")->problem, HasSubstr("%RCPTS%"));
    EXPECT_FALSE(faultOfStampHtml("<a href='x%20SENDER%20'>100 % SENDER %</a>"));
}

TEST(StampHtml, NamesThatItShowsArePlain) {
    const std::string shows = "<p>%RULENAME%</p>";
    for (const char* name : {"a<b", "a>b", "R&D", "\"x\"", "it's"}) {
        EXPECT_TRUE(faultOfRuleName(shows, name)) << name;
        EXPECT_FALSE(faultOfRuleName("<p>RULENAME</p>", name)) << name;
    }
    EXPECT_FALSE(faultOfRuleName(shows, "R\xC3\xA8gle (10)"));
}

TEST(StampHtml, WhatIsHardlyMeantIsDoubted) {
    const struct {
        const char* text;
        std::optional<std::string> html;
        std::vector<std::string> parts; // "FIELD: " and a part of the problem
    } rows[] = {
        {"x", {}, {}},
        {"", {}, {"text: it is empty: nothing"}},
        {"", "<p>", {"text: it is empty: whoever"}},
        {"%SENDR%", "%HOSTNAM%", {"text: '%SENDR%' is no token", "html: '%HOSTNAM%' is no token"}},
        {"x", "<!DocType html><p>", {"html: it is a whole document"}},
        {"x", "<BODY\nbgcolor=red>", {"html: it is a whole document"}},
        {"x", "<header>x</header><scripture/>", {}},
        {"x", "<Script src=x></script>", {"html: it has a script"}},
        {"x", "<img src = cid:1>", {"html: it shows a picture"}},
        {"x", "<p style='background:url( CID:1)'>", {"html: it shows a picture"}},
        {"x", "<p>acid: 1</p><img src=\"https://x/\">", {}},
        {"x", "<p>a</p", {"html: a tag or a comment is left open"}},
        {"x", "<!-- <p>", {"html: a tag or a comment is left open"}},
        {"x", "<!-- <p -->1 < 2", {}},
    };
    for (const auto& row : rows) {
        uiStampArea stamp;
        stamp.stampText = joinStampForms({row.text, row.html});
        const platform::Findings doubts = doubtsOf(stamp);
        ASSERT_EQ(doubts.size(), row.parts.size()) << row.text << row.html.value_or("");
        for (std::size_t index = 0; index < doubts.size(); ++index) {
            EXPECT_EQ(doubts[index].severity, platform::Finding::Severity::Warning);
            EXPECT_THAT(doubts[index].where + ": " + doubts[index].problem,
                        testing::StartsWith(row.parts[index]));
        }
    }
}

} // namespace
} // namespace quzo::host::test
