// Misspelt words: what was meant is found, what is merely of the same length is not.
#include "platform/base/nearest.h"

#include <gtest/gtest.h>

namespace quzo::platform {
namespace {

constexpr std::string_view kWords[] = {"tag-subject", "quarantine", "bcc", "limit_message"};

TEST(Nearest, FindsWhatWasMeant) {
    const struct {
        std::string_view word;
        std::string_view nearest;
    } cases[] = {{"tag_subject", "tag-subject"},
                 {"TAG-SUBJCT", "tag-subject"},
                 {"quarntien", "quarantine"},
                 {"bc", "bcc"},
                 {"limit-mesage", "limit_message"},
                 {"delete", ""},
                 {"b", ""},
                 {"xyz", ""},
                 {"", ""}};
    for (const auto& c : cases) {
        EXPECT_EQ(nearestWord(c.word, kWords), c.nearest) << c.word;
    }
    EXPECT_EQ(nearestWord(std::string(100000, 'q'), kWords), "") << "only its beginning is looked at";
}

TEST(Nearest, SaysWhatThereIsWhenNothingIsNear) {
    EXPECT_EQ(suggestion("bbc", kWords), "did you mean 'bcc'?");
    EXPECT_EQ(suggestion("delete", kWords), "known are: tag-subject, quarantine, bcc, limit_message");
}

} // namespace
} // namespace quzo::platform
