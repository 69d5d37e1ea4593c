// The store as the library sees it: NameObjectAccess, and the scanner's cache.
#include "platform/store/store_connection.h"
#include "platform/store/stored_named_objects.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/archive_area.h"
#include "quzo/settings/name_object_access.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_quarantine_area.h"
#include "quzo/settings/ui_stamp_area.h"
#include "store_place.h"

namespace quzo::test {
namespace {

using platform::ObjectKind;
using platform::ObjectStore;
using platform::StoredNamedObjects;
using platform::StoreTrouble;

class LibraryFunctionsTest : public StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        if (place) {
            platform::setStoreConnection(place->settings());
        }
    }
    void TearDown() override { platform::setStoreConnection({}); }
};
QUZO_FOR_BOTH_DATABASES(LibraryFunctionsTest);

TEST_P(LibraryFunctionsTest, AccessReachesTheStore) {
    NameObjectAccess stamps(ObjectKind::StampArea);
    NameObjectAccess areas(ObjectKind::QuarantineArea);
    unsigned id = 0;
    unsigned other = 0;
    ASSERT_EQ(stamps.add(1, "legal", "1:2:5:Hello:1:D:", id), 0U);
    EXPECT_EQ(areas.add(1, "legal", "30:1:Q:", other), 0U);
    EXPECT_EQ(stamps.add(1, "legal", "x", other), 1401U);
    EXPECT_EQ(platform::lastStoreFault().trouble, StoreTrouble::NameTaken);
    EXPECT_EQ(stamps.update(id, 1, "rules", "1:2:3:Bye:1:D:"), 0U);
    EXPECT_EQ(stamps.update(id, 2, "rules", "x"), 1402U) << "another tenant's";
    EXPECT_EQ(areas.update(id, 1, "rules", "x"), 1402U) << "another kind";

    std::string name;
    std::string content;
    EXPECT_EQ(stamps.get(id, name, content), 0U);
    EXPECT_EQ(name, "rules");
    EXPECT_EQ(content, "1:2:3:Bye:1:D:");
    EXPECT_EQ(stamps.get(999, name, content), 1405U);
    EXPECT_EQ(name, "rules");

    ObjectStore store = place->open();
    must(store.setReferences(1, {{10, "rule", id}}));
    std::vector<NameObjectSummary> list;
    ASSERT_EQ(stamps.getList(1, list), 0U);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].id, id);
    EXPECT_EQ(list[0].name, "rules");
    EXPECT_EQ(list[0].inUse, 1);
    EXPECT_EQ(list[0].readOnly, 0);
    EXPECT_EQ(stamps.remove(1, id), static_cast<unsigned>(kErrorExists));
    EXPECT_NE(platform::lastStoreFault().text.find("rule 10"), std::string::npos);
    must(store.setReferences(1, {}));

    const QuzoActionN action(QuzoAction::ActionType::Stamp, false);
    EXPECT_EQ(stamps.bind(action, {id}), 0U);
    EXPECT_EQ(stamps.bind(action, {id, 999}), 1405U);
    EXPECT_EQ(action.namedObjIds, std::vector<unsigned>{id});
    EXPECT_EQ(stamps.remove(2, id), static_cast<unsigned>(kErrorNotFound));
    EXPECT_EQ(stamps.remove(1, id), 0U);
    EXPECT_EQ(stamps.getList(1, list), 0U);
    EXPECT_TRUE(list.empty());
}

TEST_P(LibraryFunctionsTest, WithoutAStoreEverythingFailsAndSaysWhy) {
    platform::setStoreConnection({});
    NameObjectAccess stamps(ObjectKind::StampArea);
    unsigned id = 0;
    std::vector<NameObjectSummary> list(1);
    EXPECT_EQ(stamps.add(1, "a", "b", id), 1401U);
    EXPECT_EQ(stamps.getList(1, list), 1404U);
    EXPECT_EQ(stamps.remove(1, 1), static_cast<unsigned>(kErrorInvalidArgument));
    EXPECT_NE(platform::lastStoreFault().text.find("is not set"), std::string::npos);
}

TEST_P(LibraryFunctionsTest, TheScannerSeesOneTenantsObjectsAsTheyWere) {
    ObjectStore store = place->open();
    const unsigned notify =
        must(store.add(1, ObjectKind::NotifyArea, "n", "1:A:3:abc:0::2:Hi:4:Body:0::1:0:0:0:0:0:0:")).id;
    const unsigned stamp = must(store.add(1, ObjectKind::StampArea, "s", "1:2:5:Hello:1:D:")).id;
    const unsigned area = must(store.add(1, ObjectKind::QuarantineArea, "q", "30:1:Q:")).id;
    const unsigned archive = must(store.add(1, ObjectKind::ArchiveArea, "q", "0:1:A:")).id;
    const unsigned broken = must(store.add(1, ObjectKind::StampArea, "broken", "0:0:")).id;
    const unsigned foreign = must(store.add(2, ObjectKind::StampArea, "s", "1:2:1:F:1:D:")).id;
    const auto objects = must(StoredNamedObjects::load(store, 1));
    must(store.modify(1, stamp, ObjectKind::StampArea, "s", "1:2:3:Bye:1:D:"));
    must(store.remove(1, area));

    ASSERT_EQ(objects->size(), 4U);
    EXPECT_EQ(dynamic_cast<const uiNotifyArea&>(*objects->find(notify)).message, "Body");
    EXPECT_EQ(dynamic_cast<const uiStampArea&>(*objects->find(stamp)).stampText, "Hello");
    EXPECT_EQ(dynamic_cast<const uiQuarantineArea&>(*objects->find(area)).agingDays, 30U);
    EXPECT_EQ(dynamic_cast<const ArchiveArea&>(*objects->find(archive)).description, "A");
    for (const unsigned id : {broken, foreign, 0U, 4294967295U}) {
        EXPECT_EQ(objects->find(id), nullptr);
        EXPECT_EQ(objects->nameOf(id), "");
    }
    ASSERT_EQ(objects->unusable().size(), 1U);
    EXPECT_EQ(objects->unusable()[0].name, "broken");
    EXPECT_EQ(objects->unusable()[0].id, broken);
    EXPECT_EQ(objects->nameOf(stamp), "s");
    EXPECT_EQ(objects->idOf(ObjectKind::QuarantineArea, "q"), area);
    EXPECT_EQ(objects->idOf(ObjectKind::ArchiveArea, "q"), archive);
    EXPECT_EQ(objects->idOf(ObjectKind::StampArea, "broken"), std::nullopt);
    EXPECT_EQ(objects->idOf(ObjectKind::NotifyArea, "s"), std::nullopt);
}

} // namespace
} // namespace quzo::test
