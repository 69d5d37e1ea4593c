// Fields of named objects, the texts that are stored of them, and files of objects.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "host/admin/object_file.h"
#include "host/admin/object_form.h"
#include "host/admin/toml_text.h"

namespace quzo::host {
namespace {

using platform::ObjectKind;
using testing::HasSubstr;

using Arguments = std::vector<std::pair<const char*, std::string>>;

// Sets fields as the command line gives them.
std::optional<platform::Finding> fill(ObjectForm& form, const Arguments& arguments, std::string& stored) {
    ObjectValues values;
    for (const auto& [name, text] : arguments) {
        const ObjectField* field = findObjectField(form.kind(), name);
        platform::Finding fault;
        const auto value = field != nullptr ? parseObjectValue(*field, text, fault) : ObjectValue(text);
        if (!value) {
            return fault;
        }
        values.emplace_back(name, *value);
    }
    const auto fault = form.set(values);
    return fault ? fault : form.write(stored);
}

TEST(ObjectForm, FieldsBecomeTheStoredText) {
    const struct {
        ObjectKind kind;
        Arguments arguments;
        const char* stored;
    } rows[] = {
        {ObjectKind::StampArea, {}, "2:1:0::0::"},
        {ObjectKind::StampArea,
         {{"description", "D"}, {"position", "before"}, {"signed", "stamp"}, {"text", "a\r\nb\nc\rd\n"}},
         "1:2:8:a\x03"
         "b\x03"
         "c\x03"
         "d\x03:1:D:"},
        {ObjectKind::StampArea,
         {{"html", "<p>\r\n1\r</p>\n"}, {"text", "a\n"}},
         "2:1:16:a\x03\x03\x1C\x03<p>\x1E"
         "1\x1E</p>\x1E:0::"},
        {ObjectKind::StampArea, {{"html", ""}, {"text", "a"}}, "2:1:1:a:0::"},
        {ObjectKind::NotifyArea, {}, "0::0::0::0::0::0::0:0:0:0:0:0:0:"},
        {ObjectKind::NotifyArea,
         {{"notify-sender", "true"},
          {"from", "abc"},
          {"subject", "Hi"},
          {"body", "Body\r\n"},
          {"description", "A"}},
         "1:A:3:abc:0::2:Hi:6:Body\r\n:0::1:0:0:0:0:0:0:"},
        {ObjectKind::NotifyArea,
         {{"snmp-text", "t"}, {"trap-type", "4294967295"}, {"attach", "modified"}},
         "0::0::0::0::0::1:t:0:0:1:1:4294967295:1:1:"},
        {ObjectKind::NotifyArea,
         {{"snmp-trap", "false"}, {"snmp-text", "t"}, {"trap-type", "26"}, {"attach", "original"}},
         "0::0::0::0::0::1:t:0:0:0:0:26:1:0:"},
        {ObjectKind::QuarantineArea, {{"days", "30"}, {"description", "Q"}}, "30:1:Q:"},
        {ObjectKind::ArchiveArea, {{"days", "0"}}, "0:0::"},
    };
    for (const auto& row : rows) {
        ObjectForm form(row.kind);
        std::string stored;
        const auto fault = fill(form, row.arguments, stored);
        EXPECT_FALSE(fault) << fault->where << ": " << fault->problem;
        EXPECT_EQ(stored, row.stored);
    }
}

TEST(ObjectForm, OnlyWhatIsSetChanges) {
    auto stamp = ObjectForm::read(ObjectKind::StampArea, "7:5:1:x:1:D:");
    std::string stored;
    ASSERT_TRUE(stamp);
    EXPECT_FALSE(fill(*stamp, {{"text", "y"}}, stored));
    EXPECT_EQ(stored, "7:5:1:y:1:D:") << "a position and a mode of other programs stay";
    EXPECT_FALSE(fill(*stamp, {{"html", "<p>"}}, stored));
    EXPECT_EQ(stored, "7:5:7:y\x03\x1C\x03<p>:1:D:");
    EXPECT_FALSE(fill(*stamp, {{"text", "z"}}, stored));
    EXPECT_EQ(stored, "7:5:7:z\x03\x1C\x03<p>:1:D:");
    EXPECT_FALSE(fill(*stamp, {{"html", ""}}, stored));
    EXPECT_EQ(stored, "7:5:1:z:1:D:");
    stamp = ObjectForm::read(ObjectKind::StampArea, "1:1:3:a\nb:0::");
    EXPECT_FALSE(fill(*stamp, {{"html", ""}, {"position", "after"}}, stored));
    EXPECT_EQ(stored, "2:1:3:a\nb:0::") << "a text of other programs stays";
    auto notify = ObjectForm::read(ObjectKind::NotifyArea, "0::0::0::0::0::1:t:1:1:0:0:9:0:1:");
    ASSERT_TRUE(notify);
    EXPECT_FALSE(fill(*notify, {{"notify-recipients", "false"}}, stored));
    EXPECT_EQ(stored, "0::0::0::0::0::1:t:1:0:0:1:9:0:1:");
}

TEST(ObjectForm, WhatCannotBeStoredIsRefusedByItsName) {
    const struct {
        ObjectKind kind;
        const char* field;
        std::string value;
        const char* problem;
    } rows[] = {
        {ObjectKind::StampArea, "text", std::string("a\0b", 3), "NUL"},
        {ObjectKind::StampArea, "text", "caf\xE9", "not UTF-8 at byte 3"},
        {ObjectKind::StampArea, "text",
         "a\x03"
         "b",
         "0x03"},
        {ObjectKind::StampArea, "html",
         "a\x1C"
         "b",
         "0x1C"},
        {ObjectKind::StampArea, "html", "<p>\x1E", "0x1E"},
        {ObjectKind::StampArea, "html", "<p>%SUBJECT%</p>", "%SUBJECT% may not stand in HTML"},
        {ObjectKind::StampArea, "description", "a\nb", "control character"},
        {ObjectKind::StampArea, "position", "middle", "no value of it"},
        {ObjectKind::StampArea, "position", "", "no value of it"},
        {ObjectKind::StampArea, "days", "3", "no such field"},
        {ObjectKind::NotifyArea, "from", "a@b\r\nBcc: c@d", "control character"},
        {ObjectKind::NotifyArea, "from", "a@b, c@d", "no address"},
        {ObjectKind::NotifyArea, "to", "a@b;c d", "entries is no address"},
        {ObjectKind::NotifyArea, "to", "a@b,c@d", "entries is no address"},
        {ObjectKind::NotifyArea, "to", "a@b;<>", "entries is no address"},
        {ObjectKind::NotifyArea, "subject", "a\x1B[31m", "control character"},
        {ObjectKind::NotifyArea, "notify-sender", "maybe", "no value of it"},
        {ObjectKind::NotifyArea, "trap-type", "-1", "no value of it"},
        {ObjectKind::QuarantineArea, "days", "4294967296", "no value of it"},
        {ObjectKind::QuarantineArea, "days", " 3", "no value of it"},
        {ObjectKind::ArchiveArea, "days", "", "no value of it"},
    };
    for (const auto& row : rows) {
        ObjectForm form(row.kind);
        std::string stored;
        const auto fault = fill(form, {{row.field, row.value}}, stored);
        ASSERT_TRUE(fault) << row.field << "=" << row.value;
        EXPECT_EQ(fault->where, row.field);
        EXPECT_THAT(fault->problem, HasSubstr(row.problem));
        EXPECT_FALSE(fault->remedy.empty());
    }
}

// The content of the one object of a file.
std::string readBack(const std::string& table, const std::string& name) {
    const ObjectFile file = readObjectFile(objectFileHead() + table);
    for (const platform::Finding& finding : file.findings) {
        ADD_FAILURE() << describe(finding, "file") << "\nin\n" << table;
    }
    if (file.objects.size() != 1) {
        return "(none)";
    }
    EXPECT_EQ(file.objects[0].name, name) << table;
    return file.objects[0].content;
}

TEST(ObjectFile, AnyTextComesBackAsItWas) {
    const std::vector<std::string> kinds[] = {
        {"\"", "\"\"\"", "\\", "\\u0041", "'''", "\n", "\r\n", "\r", "\n\n", "\t",
         " "},                                                                      // what quotes and divides
        {"#", "=", "]", ":", "0:", "%A%", "a", "", "\xC3\xA9", "\xF0\x9F\x93\xA7"}, // what may mean something
        {"\x1B[2J", "\x7F", "\x01", "\xC2\x85", "\xE2\x80\xAE", "\xE2\x80\x8B",
         "\xEF\xBB\xBF"}}; // what hides
    std::mt19937 random(7);
    const auto text = [&](bool severalLines) {
        std::string made;
        for (auto count = random() % 9; count != 0; --count) {
            const auto& pieces = kinds[random() % std::size(kinds)];
            const std::string& piece = pieces[random() % pieces.size()];
            const bool control = std::any_of(piece.begin(), piece.end(),
                                             [](unsigned char c) { return c < 0x20 || c == 0x7F; });
            made += control && !severalLines ? "-" : piece;
        }
        return made;
    };
    for (int round = 0; round < 2000; ++round) {
        const ObjectKind kind = round % 2 == 0 ? ObjectKind::StampArea : ObjectKind::NotifyArea;
        ObjectForm form(kind);
        const char* longField = kind == ObjectKind::StampArea ? "text" : "body";
        std::string stored;
        Arguments arguments{{"description", text(false)}, {longField, text(true)}};
        if (round % 4 == 0) {
            arguments.emplace_back("html", text(true));
        }
        ASSERT_FALSE(fill(form, arguments, stored));
        const std::string name = text(false) + "n";
        bool readable = false;
        const std::string table = objectTable(kind, name, stored, readable);
        EXPECT_TRUE(readable);
        EXPECT_EQ(table.find("stored ="), std::string::npos) << table;
        ASSERT_EQ(readBack(table, name), stored) << table;
        for (const char* hidden : {"\x1B", "\x7F", "\r", "\xE2\x80\xAE", "\xE2\x80\x8B", "\xC2\x85"}) {
            ASSERT_EQ(table.find(hidden), std::string::npos) << table;
        }
    }
}

TEST(ObjectFile, IsReadAsAPersonWouldWriteIt) {
    bool readable = false;
    EXPECT_EQ(objectTable(ObjectKind::StampArea, "Legal text",
                          "2:1:21:One %SENDER%\x03\"\"Two\"\"\x03:1:D:", readable),
              "\n[stamp.\"Legal text\"]\ndescription = \"D\"\nposition = \"after\"\nsigned = \"skip\"\n"
              "text = \"\"\"\nOne %SENDER%\n\"\"Two\"\"\n\"\"\"\n");
    const ObjectFile file = readObjectFile(
        "quarantine.q.days = 3\r\n"
        "[stamp]\r\nb = { text = \"x\" }\r\n[stamp.a]\r\n"
        "text = '''\r\none\r\ntwo'''\r\n[notify.n]\r\n");
    EXPECT_TRUE(file.findings.empty());
    ASSERT_EQ(file.objects.size(), 4U);
    const char* const expected[] = {
        "3:0::", "2:1:1:x:0::", "2:1:7:one\x03two:0::", "0::0::0::0::0::0::0:0:0:0:0:0:0:"};
    for (std::size_t index = 0; index < 4; ++index) {
        EXPECT_EQ(file.objects[index].content, expected[index]);
    }
    EXPECT_EQ(file.objects[2].line, 4U);
}

TEST(ObjectFile, WhatFieldsCannotSayIsKeptAsItIsStored) {
    const struct {
        const char* stored;
        ObjectKind kind;
        bool readable;
    } rows[] = {
        {"3:1:1:x:0::", ObjectKind::StampArea, true},
        {"1;2;1:x:0::", ObjectKind::StampArea, true},
        {"1:2:3:a\nb:0::", ObjectKind::StampArea, true},
        {"1:2:4:a\x1C<p:0::", ObjectKind::StampArea, true},
        {"1:2:4:a\x03\x1C\x03:0::", ObjectKind::StampArea, true},
        {"0::0::0::0::0::0::5:0:0:0:0:0:0:", ObjectKind::NotifyArea, true},
        {"0::4:a, b:0::0::0::0::0:0:0:0:0:0:1:", ObjectKind::NotifyArea, true},
        {"30 1:Q:rest", ObjectKind::QuarantineArea, true},
        {"0:0:", ObjectKind::StampArea, false},
        {"x\x1B", ObjectKind::ArchiveArea, false},
    };
    for (const auto& row : rows) {
        bool readable = !row.readable;
        const std::string table = objectTable(row.kind, "n", row.stored, readable);
        EXPECT_EQ(readable, row.readable) << row.stored;
        EXPECT_THAT(table, HasSubstr("]\nstored = \""));
        if (readable) {
            EXPECT_EQ(readBack(table, "n"), row.stored);
        } else {
            EXPECT_THAT(describe(readObjectFile(table).findings.at(0), "f"), HasSubstr("f:3: ")) << table;
        }
    }
}

TEST(ObjectFile, EachFaultIsToldWithItsLineAndKey) {
    const struct {
        std::string text;
        const char* fault;
    } rows[] = {
        {"[stamp.a]\ntext = \"x\"\ncolour = 1\n", "f:3: stamp 'a': colour: this key is unknown"},
        {"[stamps.a]\n", "f:1: stamps: there is no such kind of object: did you mean 'stamp'?"},
        {"[[stamp]]\nname = \"a\"\n", "f:1: stamp: it is a list: begin each object with [stamp.NAME]"},
        {"[stamp]\ntext = \"x\"\n", "f:2: stamp.text: it is a text: begin each object with [stamp.NAME]"},
        {"[stamp.a]\ntext = 5\n", "f:2: stamp 'a': text: it is an integer"},
        {"[stamp.a]\nposition = \"up\"\n", "f:2: stamp 'a': position: 'up' is no value of it"},
        {"[stamp.a]\ntext = \"\\u0000\"\n", "f:2: stamp 'a': text: it has a NUL"},
        {"[stamp.a]\nstored = \"1:2:1:x:0::\"\ntext = \"y\"\n", "f:2: stamp 'a': stored: fields are given"},
        {"[stamp.a]\nstored = 5\n", "f:2: stamp 'a': stored: it is an integer"},
        {"[stamp.a]\nstored = \"1:2:1:x:0::\\u0000\"\n", "f:2: stamp 'a': stored: this stored text"},
        {"[stamp.a]\nstored = \"1:2:9:a\\u001C%RCPTS%:0::\"\n",
         "f:2: stamp 'a': stored: its html: %RCPTS% may not stand in HTML"},
        {"[stamp.a]\nhtml = \"%RCPTS%\"\n", "f:2: stamp 'a': html: %RCPTS% may not"},
        {"[notify.a]\nnotify-sender = \"yes\"\n", "f:2: notify 'a': notify-sender: it is a text"},
        {"[notify.a]\nto = \"a@b\\nc@d\"\n", "f:2: notify 'a': to: it has a line break"},
        {"[quarantine.a]\ndays = -1\n", "f:2: quarantine 'a': days: '-1' is no value of it"},
        {"[quarantine.a]\ndays = 1.5\n", "f:2: quarantine 'a': days: it is a number with a fraction"},
        {"[stamp.a]\n[stamp.a]\n", "f:2: "},
        {"[stamp.a]\ntext = \"x\"\ntext = \"y\"\n", "f:3: "},
        {std::string("[stamp.a]\ntext = \"x\0y\"\n", 23), "f:2: "},
        {"[stamp.a]\ntext = \"\xFF\"\n", "f:2: "},
        {"[stamp.\"a\\u001B[31m\"]\nx = 1\n", "f:2: stamp 'a\\x1B[31m': x: this key is unknown"},
        {"# x\na.b.c.d.e.f.g.h.i = 1\n", "f:2: a key has too many parts"},
    };
    for (const auto& row : rows) {
        const ObjectFile file = readObjectFile(row.text);
        ASSERT_EQ(file.findings.size(), 1U) << row.text;
        EXPECT_THAT(describe(file.findings[0], "f"), testing::StartsWith(row.fault)) << row.text;
    }
}

} // namespace
} // namespace quzo::host
