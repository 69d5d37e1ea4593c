// The edits are carried out by servers of two kinds: those that count what was removed, and those that do
// not.
#include "host/milter/header_edits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "platform/base/ascii.h"

namespace quzo::host::test {
namespace {

using Fields = std::vector<MailField>;
using Kind = HeaderEdit::Kind;

struct Slot {
    MailField field;
    bool gone = false;
};

class Server {
public:
    Server(const Fields& fields, bool countsRemoved) : countsRemoved_(countsRemoved) {
        for (const MailField& field : fields) {
            slots_.push_back({field});
        }
    }

    void carryOut(const HeaderEdit& edit) {
        switch (edit.kind) {
            case Kind::Append:
                slots_.push_back({*edit.field});
                break;
            case Kind::Insert:
                slots_.insert(slots_.begin() + static_cast<std::ptrdiff_t>(edit.place), {*edit.field});
                break;
            case Kind::Change:
                find(edit).field.value = edit.field->value;
                break;
            case Kind::Remove:
                find(edit).gone = true;
                break;
        }
    }

    Fields fields() const {
        Fields fields;
        for (const Slot& slot : slots_) {
            if (!slot.gone) {
                fields.push_back(slot.field);
            }
        }
        return fields;
    }

private:
    Slot& find(const HeaderEdit& edit) {
        std::size_t number = 0;
        for (Slot& slot : slots_) {
            const bool counts =
                (countsRemoved_ || !slot.gone) && platform::equalsNoCase(slot.field.name, edit.field->name);
            number += counts ? 1 : 0;
            if (counts && number == edit.place) {
                return slot;
            }
        }
        ADD_FAILURE() << "there is no field " << edit.field->name << " " << edit.place;
        return slots_.front();
    }

    bool countsRemoved_;
    std::vector<Slot> slots_;
};

void expectMade(const Fields& before, const Fields& after, std::size_t most) {
    const std::vector<HeaderEdit> edits = headerEdits(before, after);
    EXPECT_LE(edits.size(), most);
    for (const bool countsRemoved : {true, false}) {
        Server server(before, countsRemoved);
        for (const HeaderEdit& edit : edits) {
            server.carryOut(edit);
        }
        EXPECT_EQ(server.fields(), after);
    }
}

Fields fieldsNamed(const std::string& names) {
    Fields fields;
    for (const char name : names) {
        fields.push_back({std::string(1, name), "v"});
    }
    return fields;
}

TEST(HeaderEdits, TheFewestForWhatPoliciesDo) {
    const Fields before = {{"From", " a"}, {"Subject", " s"}, {"X", " 1"}, {"x", " 2"}, {"X", " 1"}};
    struct Row {
        const char* what;
        Fields after;
        std::size_t edits;
    };
    const Row rows[] = {
        {"nothing", before, 0},
        {"a tag", {{"From", " a"}, {"Subject", " [t] s"}, {"X", " 1"}, {"x", " 2"}, {"X", " 1"}}, 1},
        {"a blank", {{"From", "a"}, {"Subject", " s"}, {"X", " 1"}, {"x", " 2"}, {"X", " 1"}}, 1},
        {"a tag and a field",
         {{"From", " a"},
          {"Subject", " [t] s"},
          {"X", " 1"},
          {"x", " 2"},
          {"X", " 1"},
          {"Y", " y"},
          {"Z", " z"}},
         3},
        {"in front",
         {{"A", " a"}, {"From", " a"}, {"Subject", " s"}, {"X", " 1"}, {"x", " 2"}, {"X", " 1"}},
         1},
        {"the last of a name", {{"From", " a"}, {"Subject", " s"}, {"X", " 1"}, {"x", " 2"}}, 1},
        {"the first of a name", {{"From", " a"}, {"Subject", " s"}, {"x", " 2"}, {"X", " 1"}}, 1},
        {"another spelling", {{"FROM", " a"}, {"Subject", " s"}, {"X", " 1"}, {"x", " 2"}, {"X", " 1"}}, 2},
        {"all", {}, 5},
        {"all others", {{"B", ""}, {"C", ""}}, 7},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        expectMade(before, row.after, row.edits);
        expectMade(row.after, before, 7);
    }
    expectMade({}, before, 5);
}

TEST(HeaderEdits, AnyListBecomesAnyOther) {
    std::mt19937 random(20240607); // NOLINT(cert-msc51-cpp): the same lists each time
    const auto list = [&] {
        std::string names;
        for (std::size_t left = random() % 12; left > 0; --left) {
            names += "aAbBc"[random() % 5];
        }
        Fields fields = fieldsNamed(names);
        for (MailField& field : fields) {
            field.value = random() % 3 == 0 ? "w" : "v";
        }
        return fields;
    };
    for (int round = 0; round < 3000; ++round) {
        const Fields before = list();
        const Fields after = list();
        expectMade(before, after, before.size() + after.size());
    }
    // Far more differences than are looked for.
    expectMade(fieldsNamed(std::string(600, 'a')), fieldsNamed(std::string(600, 'b')), 1200);
    std::string many;
    for (int i = 0; i < 20000; ++i) {
        many += static_cast<char>('a' + i % 26);
    }
    expectMade(fieldsNamed(many), fieldsNamed("A" + many + "A"), 2);
}

TEST(HeaderEdits, FieldsAreReadAsServersHandThemOver) {
    const Fields expected = {{"A", " 1"}, {"B", "tight"}, {"C ", " a\n\tb\n  c"}, {"D", ""}};
    EXPECT_EQ(fieldsOf("A: 1\r\nB:tight\r\nC : a\r\n\tb\r\n  c\r\nno field\r\nD:\r\n"), expected);
    EXPECT_EQ(fieldsOf(""), Fields());
}

} // namespace
} // namespace quzo::host::test
