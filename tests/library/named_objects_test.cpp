// The text forms of named objects, and the gateway to their store.
#include "fake_platform.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/archive_area.h"
#include "quzo/settings/name_object_access.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_quarantine_area.h"
#include "quzo/settings/ui_stamp_area.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

bool constructFrom(QuzoNamedObj& object, const std::string& text) {
    return object.construct(text.data(), static_cast<unsigned>(text.size()));
}

// What is accepted, and how it is written again (null: refused).
struct Row {
    std::string text;
    const char* written;
};

template <typename Object>
void check(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        Object object;
        ASSERT_EQ(constructFrom(object, row.text), row.written != nullptr) << row.text;
        if (row.written != nullptr) {
            EXPECT_EQ(object.serialize(), row.written) << row.text;
        }
    }
    Object object;
    EXPECT_FALSE(object.construct(nullptr, 5));
}

TEST(NotifyAreaTest, Texts) {
    check<uiNotifyArea>({
        {"1:A:3:abc:0::2:Hi:4:Body:0::1:0:0:0:0:0:0:", "1:A:3:abc:0::2:Hi:4:Body:0::1:0:0:0:0:0:0:"},
        {"0::0::0::0::0::0::5:0:7:1:0:0:9:", "0::0::0::0::0::0::1:0:1:0:0:0:1:"},
        {"0::0::0::0::0::0::", "0::0::0::0::0::0::0:0:0:0:0:0:0:"}, // missing numbers are 0
        {"0::0::0::0::0::", nullptr},
        {"2:A:3:abc:0::2:Hi:4:Body:0::1:0:0:0:0:0:0:", nullptr},
        {"", nullptr},
    });
}

TEST(NotifyAreaTest, TheSpecificFlagFollowsTheTrapType) {
    const std::pair<unsigned, bool> rows[] = {{0, false}, {1, false},  {2, false}, {3, true},
                                              {25, true}, {26, false}, {27, true}, {4294967295, true}};
    for (const auto& [type, specific] : rows) {
        uiNotifyArea area;
        const std::string flag = specific ? "0" : "1";
        ASSERT_TRUE(
            constructFrom(area, "0::0::0::0::0::0::0:0:1:" + flag + ":" + std::to_string(type) + ":1:0:"));
        EXPECT_EQ(area.snmpTrapType, type);
        EXPECT_EQ(area.specificTrap, specific) << type;
        EXPECT_TRUE(area.attachMessage);
    }
}

TEST(StampAreaTest, Texts) {
    check<uiStampArea>({
        {"1:2:5:Hello:1:D:", "1:2:5:Hello:1:D:"},
        {"1:1:0::0::", "1:1:0::0::"},
        {"3;7;1:x:0::", "3:7:1:x:0::"},
        {"4294967294:1:0::0::", "4294967294:1:0::0::"},
        {"0:1:0::0::", nullptr},
        {"4294967295:1:0::0::", nullptr},
        {"1:0:0::0::", nullptr},
        {"1:-1:0::0::", nullptr},
        {"1:2", nullptr},
        {"1:2:", nullptr},
        {"1", nullptr},
        {"x:1:0::0::", nullptr},
        {"1:2:5:Hello:1:D", nullptr},
    });
}

TEST(AreaTest, Texts) {
    check<uiQuarantineArea>({
        {"30:1:Q:", "30:1:Q:"},
        {"0:0::", "0:0::"},
        {"30 1:Q:", "30:1:Q:"},
        {"30", nullptr},
        {"30:", nullptr},
        {"30:2:Q:", nullptr},
        {"30:5:Q:", nullptr},
        {"", nullptr},
    });
    uiQuarantineArea area;
    ASSERT_TRUE(constructFrom(area, "0:0::"));
    EXPECT_FALSE(area.agingEnabled);
    area.agingDays = 14;
    EXPECT_EQ(area.serialize(), "0:0::");
    EXPECT_EQ(area.agingDays, 0U);
    ArchiveArea archive;
    EXPECT_EQ(static_cast<unsigned>(area.getType()), 3U);
    EXPECT_EQ(static_cast<unsigned>(archive.getType()), 4U);
}

class AccessTest : public LibraryTest {
protected:
    NameObjectAccess access{QuzoNamedObj::NaObjType::StampArea};
};

TEST_F(AccessTest, ArgumentsAreRefusedBeforeTheStoreIsOpened) {
    unsigned id = 5;
    const struct {
        const char* name;
        const char* content;
        std::uint32_t result;
    } rows[] = {
        {nullptr, "c", 1004}, {"", "c", 1004}, {"n", nullptr, 1004}, {"n", "", 1004}, {"OPP:x", "c", 1015}};
    for (const auto& row : rows) {
        EXPECT_EQ(access.add(1, row.name, row.content, id), row.result);
        EXPECT_EQ(access.update(1, 2, row.name, row.content), row.result);
    }
    EXPECT_EQ(fake().calls, Strings{});
    for (const char* name : {"OPPx", "opp:x"}) {
        EXPECT_EQ(access.add(1, name, "c", id), 0U);
    }
    EXPECT_EQ(id, 77U);
}

TEST_F(AccessTest, Bindings) {
    fake().stored[3] = {"a", "b"};
    const QuzoActionN action(QuzoAction::ActionType::Stamp, false);
    std::vector<unsigned> ids{1};
    EXPECT_EQ(access.getBindings(action, ids), 1004U);
    EXPECT_EQ(ids, std::vector<unsigned>{1});
    EXPECT_EQ(access.bind(action, {}), 1004U);
    EXPECT_EQ(fake().calls, Strings{});
    EXPECT_EQ(access.bind(action, {3}), 0U);
    EXPECT_EQ(access.bind(action, {3, 9}), 1405U);
    EXPECT_EQ(access.getBindings(action, ids), 0U);
    EXPECT_EQ(ids, std::vector<unsigned>{3});
}

} // namespace
} // namespace quzo::test
