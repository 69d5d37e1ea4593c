// Starting the library, and looking at what its operations left.
#include "library_stage.h"

#include <algorithm>

#include "quzo/core/init_action_lib.h"

namespace quzo::test {

LibraryStage::LibraryStage() {
    fake() = FakePlatform();
    settings.values = {{"general/queue_quarantine", "/a/directory/of/the/quarantine"},
                       {"general/queue_archive", "/a/directory/of/the/archive"}};
    log.level = 3;
    restart();
}

void LibraryStage::restart() {
    EXPECT_TRUE(InitActionLib(settings, log));
    forget();
}

void LibraryStage::forget() {
    fake().calls.clear();
    log.lines.clear();
}

bool LibraryStage::hasLine(int level) const {
    return std::any_of(log.lines.begin(), log.lines.end(), [&](const std::string& line) {
        return line[0] == 'L' && line[1] == static_cast<char>('0' + level);
    });
}

std::string LibraryStage::header() const {
    std::string all;
    for (const auto& field : message.root.fields) {
        all += (all.empty() ? "" : "|") + field->name + "=" + field->value;
    }
    return all;
}

std::string LibraryStage::token(ScanToken code) const {
    const std::string* value = tokens.find(code);
    return value != nullptr ? *value : "(none)";
}

bool LibraryStage::called(const char* begin) const {
    return std::any_of(fake().calls.begin(), fake().calls.end(),
                       [&](const std::string& call) { return call.starts_with(begin); });
}

} // namespace quzo::test
