// Settings and named objects whose texts are hostile: they come from a database or a file, need no NUL behind
// them, and claim any length inside.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <functional>

#include "fake_platform.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/archive_area.h"
#include "quzo/settings/positional.h"
#include "quzo/settings/setting_text.h"
#include "quzo/settings/ui_fieldless.h"
#include "quzo/settings/ui_handoff.h"
#include "quzo/settings/ui_insert_xheader_tag.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_postpone.h"
#include "quzo/settings/ui_quarantine_area.h"
#include "quzo/settings/ui_readdress.h"
#include "quzo/settings/ui_stamp_area.h"
#include "quzo/settings/ui_tag_subject.h"

namespace quzo::test {
namespace {

// A text in memory that cannot be written to and ends where a page without access begins: writing to it, or
// reading one byte more, ends the test program.
class GuardedText {
public:
    explicit GuardedText(const std::string& text) : size_(text.size()) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        mapped_ = (size_ / page + 2) * page;
        base_ = static_cast<char*>(
            mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        text_ = base_ + mapped_ - page - size_;
        std::memcpy(text_, text.data(), size_);
        mprotect(base_, mapped_ - page, PROT_READ);
        mprotect(base_ + mapped_ - page, page, PROT_NONE);
    }
    ~GuardedText() { munmap(base_, mapped_); }
    GuardedText(const GuardedText&) = delete;
    GuardedText& operator=(const GuardedText&) = delete;
    const char* data() const { return text_; }
    unsigned size() const { return static_cast<unsigned>(size_); }

private:
    std::size_t size_;
    std::size_t mapped_;
    char* base_;
    char* text_;
};

// Reads the text into a new object; what it then writes, or nothing when it refuses.
template <typename Object>
std::string readAndWrite(const GuardedText& text) {
    Object object;
    return object.construct(text.data(), text.size()) ? object.serialize() : std::string();
}

class IdList : public QuzoActionN {
public:
    IdList() : QuzoActionN(ActionType::Notify, true) {}
};

struct Reader {
    const char* name;
    std::string (*read)(const GuardedText&);
};

const Reader kReaders[] = {
    {"id list", readAndWrite<IdList>},
    {"delete", readAndWrite<uiDelete>},
    {"delete attachment", readAndWrite<uiDeleteAttachment>},
    {"virus clean", readAndWrite<uiVirusClean>},
    {"feedback", readAndWrite<uiFerrowick>},
    {"encrypt", readAndWrite<uiIBEEncrypt>},
    {"re-address", readAndWrite<uiReaddress>},
    {"blind copy", readAndWrite<uiBcc>},
    {"hand-off", readAndWrite<uiHandoff>},
    {"postpone", readAndWrite<uiPostpone>},
    {"tag", readAndWrite<uiTagSubject>},
    {"X-header", readAndWrite<uiInsertXHeaderTag>},
    {"notification", readAndWrite<uiNotifyArea>},
    {"stamp", readAndWrite<uiStampArea>},
    {"quarantine area", readAndWrite<uiQuarantineArea>},
    {"archive area", readAndWrite<ArchiveArea>},
};

// Texts of every kind, and with every number in them made one that does not fit.
std::vector<std::string> hostileTexts() {
    const std::string samples[] = {
        "",
        "-",
        ":",
        "1-5",
        "3-7-12",
        "3-7-12-40",
        "5:abc:",
        "30:1:Q:",
        "1:2:5:Hello:1:D:",
        "1:A:3:abc:0::2:Hi:4:Body:0::1:0:0:0:0:0:0:",
        "ip=a;port=1;",
        "hour=1;min=2;",
        "rcpt=a@b;",
        "T[x]",
        "X-A: b",
        std::string("1:\0:5:He\0lo:1:D:", 16),
    };
    std::vector<std::string> texts;
    for (const std::string& sample : samples) {
        texts.push_back(sample);
        for (std::size_t at = 0; at < sample.size(); ++at) {
            texts.push_back(sample.substr(0, at));
            if (sample[at] < '0' || sample[at] > '9') {
                continue;
            }
            for (const char* number :
                 {"2147483647", "4294967294", "4294967295", "4294967296", "4294967300", "9223372036854775807",
                  "18446744073709551611", "18446744073709551615", "18446744073709551620", "-1",
                  "99999999999999999999999", "+", " ", ""}) {
                texts.push_back(sample.substr(0, at) + number + sample.substr(at + 1));
            }
        }
    }
    return texts;
}

class HostileSettingsTest : public LibraryTest {};

TEST_F(HostileSettingsTest, NothingLooksPastTheText) {
    log.level = 3;
    std::size_t accepted = 0;
    for (const std::string& text : hostileTexts()) {
        const GuardedText guarded(text);
        for (const Reader& reader : kReaders) {
            const std::string written = reader.read(guarded);
            if (written.empty()) {
                continue;
            }
            ++accepted;
            EXPECT_EQ(reader.read(GuardedText(written)), written) << reader.name << ": " << text;
        }
    }
    EXPECT_GT(accepted, 100U);
    // What an id list that is refused shows of itself is 32 characters at most.
    EXPECT_FALSE(lines(1).empty());
    for (const std::string& line : lines(1)) {
        EXPECT_LE(
            line.size(),
            std::string("Failed to construct Action Notify with setting: '' (max 32 chars)").size() + 32)
            << line;
    }
    log.lines.clear();
}

TEST_F(HostileSettingsTest, FieldReadersStayInTheCopy) {
    for (const std::string& text : hostileTexts()) {
        const GuardedText guarded(text);
        const SettingText copy(guarded.data(), guarded.size());
        const char* cursor = copy.begin();
        char* end = nullptr;
        unsigned budget = copy.length();
        std::string value;
        std::size_t read = 0;
        while (_get_string_data(value, cursor, end, budget)) {
            ASSERT_LE(value.size(), text.size());
            ASSERT_LE(budget, copy.length()) << text;
            ASSERT_LE(++read, text.size()) << text;
        }
        for (int field = 0; field < 7 && cursor <= copy.end(); ++field) {
            long number = -1;
            EXPECT_TRUE(_get_numeric_data(number, cursor, end));
            EXPECT_TRUE(number >= 0 && number <= 4294967295) << text;
        }
    }
}

// The number of named objects that a list claims costs nothing before they are there.
TEST_F(HostileSettingsTest, AListThatClaimsMuchIsShort) {
    for (const char* text : {"4294967295-1-2-3", "18446744073709551615-1", "4294967294-"}) {
        QuzoActionN action(QuzoAction::ActionType::Notify, true);
        std::vector<unsigned> ids;
        const GuardedText guarded(text);
        EXPECT_FALSE(action.getNamedObjectIds(guarded.data(), static_cast<int>(guarded.size()), ids));
        EXPECT_LE(ids.size(), 3U);
        EXPECT_LE(ids.capacity(), 16U) << text;
    }
}

} // namespace
} // namespace quzo::test
