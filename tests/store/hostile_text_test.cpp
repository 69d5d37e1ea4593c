// Names and contents that want to be something else than text: kept as they are or refused, alike on both
// databases.
#include "platform/store/store_text.h"
#include "store_place.h"

namespace quzo::test {
namespace {

using platform::ObjectKind;
using platform::ObjectStore;
using platform::StoreTrouble;

constexpr auto kStamp = ObjectKind::StampArea;

class HostileTextTest : public StoreTest {};
QUZO_FOR_BOTH_DATABASES(HostileTextTest);

std::string bytes(const char* text, std::size_t length) { return {text, length}; }

TEST_P(HostileTextTest, WhatIsTextIsKeptByteForByte) {
    ObjectStore store = place->open("o'brien \"--");
    const std::string names[] = {
        "'; drop table quzo_object; --",
        "\"quoted\" `ticks` \\back\\slash\\",
        ":name :1 $1 ? % _ %s %n {0}",
        " blanks at both ends ",
        "NULL",
        "0",
        "e\xCC\x81",                                    // e and a combining accent
        "\xC3\xA9",                                     // the same letter as one character
        "\xD7\xA9\xD7\x9C\xE2\x80\x8F\xD7\x95\xD7\x9D", // Hebrew, with a right-to-left mark
        "\xF0\x9F\x93\xA7",
        std::string(255, 'n'),
    };
    for (const std::string& name : names) {
        const std::string content = name + "\r\n\t\x03\x01\x7F" + std::string(10240, '\'') + "\xE2\x80\xAE";
        must(store.add(1, kStamp, name, content));
        const auto object = must(store.find(1, kStamp, name));
        EXPECT_EQ(object.name, name);
        EXPECT_TRUE(object.content == content) << name;
    }
    EXPECT_EQ(must(store.exportObjects(1)).size(), std::size(names));
    const auto limit = std::string(platform::kMaxObjectContent, 'c');
    must(store.add(1, kStamp, "longest", limit));
    EXPECT_TRUE(must(store.find(1, kStamp, "longest")).content == limit);
}

TEST_P(HostileTextTest, WhatIsNoTextIsRefused) {
    ObjectStore store = place->open();
    const struct {
        std::string name;
        std::string content;
        StoreTrouble trouble;
        const char* part;
    } rows[] = {
        {bytes("a\0b", 3), "x", StoreTrouble::BadText, "NUL at byte 1"},
        {"a\nb", "x", StoreTrouble::BadText, "control character at byte 1"},
        {"tab\t", "x", StoreTrouble::BadText, "control character"},
        {"\x7F", "x", StoreTrouble::BadText, "control character"},
        {"ab\xC2\x85", "x", StoreTrouble::BadText, "control character at byte 2"},
        {"txt.\xE2\x80\xAE"
         "cod",
         "x", StoreTrouble::BadText, "control character at byte 4"},
        {"a\xE2\x81\xA6", "x", StoreTrouble::BadText, "control character"},
        {"caf\xE9", "x", StoreTrouble::BadText, "not UTF-8 at byte 3"},
        {"\xED\xA0\x80", "x", StoreTrouble::BadText, "not UTF-8"},
        {"\xC0\x80", "x", StoreTrouble::BadText, "not UTF-8"},
        {std::string(256, 'n'), "x", StoreTrouble::TooLong, "256 bytes"},
        {std::string(10240, 'n'), "x", StoreTrouble::TooLong, "10240 bytes"},
        {"", "x", StoreTrouble::BadArgument, "name is empty"},
        {"OPP:x", "x", StoreTrouble::ReservedName, "OPP:"},
        {"n", "", StoreTrouble::BadArgument, "content of 'n' is empty"},
        {"n", bytes("a\0b", 3), StoreTrouble::BadText, "NUL at byte 1"},
        {"n", "abc\xFF", StoreTrouble::BadText, "not UTF-8 at byte 3"},
        {"n", std::string(platform::kMaxObjectContent + 1, 'c'), StoreTrouble::TooLong, "1048577 bytes"},
    };
    const unsigned id = must(store.add(1, kStamp, "present", "x")).id;
    for (const auto& row : rows) {
        expectFault(store.add(1, kStamp, row.name, row.content), row.trouble, {row.part});
        expectFault(store.modify(1, id, kStamp, row.name, row.content), row.trouble, {row.part});
        if (row.content == "x" && row.trouble == StoreTrouble::BadText) {
            expectFault(store.find(1, kStamp, row.name), row.trouble);
            expectFault(ObjectStore::open(place->settings(row.name)), row.trouble, {"author"});
        }
    }
    expectFault(store.add(1, static_cast<ObjectKind>(5), "n", "x"), StoreTrouble::BadArgument, {"kind"});
    expectFault(store.add(1, static_cast<ObjectKind>(0), "n", "x"), StoreTrouble::BadArgument, {"kind"});
    EXPECT_EQ(must(store.list(1)).size(), 1U);
    EXPECT_EQ(must(store.get(1, id)).revision, 1U);
}

} // namespace
} // namespace quzo::test
