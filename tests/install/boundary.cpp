// A program against the installed libquzo.so and a platform that is linked into the program: what C++ does
// across the boundary of both. Each line of `checks` is one thing that must hold; the exit code is the number
// of those that do not.
//
// It is compiled with everything hidden, as careful programs are, so that types are not the same by luck.
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "platform/log/file_log.h"
#include "quzo/actions/act_tag_subject.h"
#include "quzo/core/create_action.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/core/quarantine_path.h"
#include "quzo/notify/act_notify.h"
#include "quzo/settings/ui_quarantine_area.h"
#include "quzo/settings/ui_stamp_area.h"

namespace {

bool memoryRunsOut = false;

// The library has never heard of this one.
struct OwnTrouble : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class ThrowingSettings final : public quzo::GlobalSetting {
public:
    int getValue(const char*, std::string&, const char*, int) override {
        throw OwnTrouble("settings are gone");
    }
    int getIntValue(const char*, int&, const char*, int) override { throw 7; }
};

class Lines final : public quzo::LogMsg {
public:
    __attribute__((format(printf, 3, 4))) void write(int /*level*/, const char* format, ...) override {
        char line[256];
        __builtin_va_list values;
        __builtin_va_start(values, format);
        std::vsnprintf(line, sizeof line, format, values);
        __builtin_va_end(values);
        all += std::string(line) + "\n";
    }
    bool has(const char* text) const { return all.find(text) != std::string::npos; }
    std::string all;
};

struct OwnArea final : quzo::uiQuarantineArea {};

class Objects final : public quzo::NamedObjMgrForScanner {
public:
    Objects() { area.description = "ours"; }
    quzo::QuzoNamedObj* find(unsigned id) const override {
        return id == 1 ? static_cast<quzo::QuzoNamedObj*>(&area) : &stamp;
    }
    mutable OwnArea area;
    mutable quzo::uiStampArea stamp;
};

// The description that the library finds in the area of that number, which it does by a dynamic_cast.
std::string areaOf(const char* ids) {
    const Objects objects;
    quzo::TokenMap<quzo::ScanToken> tokens;
    const auto action = quzo::createAction(quzo::QuzoAction::ActionType::Quarantine);
    action->construct(ids, 3);
    action->fillInTokenMap(tokens, objects);
    return tokens.valueOrEmpty(quzo::ScanToken::QuarantineArea);
}

bool throwsWhatIsCaught() {
    const std::string longDirectory(400, 'd');
    memoryRunsOut = true;
    bool caught = false;
    try {
        quzo::quarantinePath(longDirectory, "AB12");
    } catch (const std::bad_alloc&) {
        caught = true;
    }
    memoryRunsOut = false;
    return caught;
}

} // namespace

// In place of the standard ones, for libquzo.so as well. NOLINTBEGIN(cppcoreguidelines-owning-memory)
void* operator new(std::size_t size) {
    void* memory = memoryRunsOut ? nullptr : std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
// NOLINTEND(cppcoreguidelines-owning-memory)

int main() {
    Lines log;
    ThrowingSettings settings;
    const bool started = InitActionLib(settings, log);
    const auto tag = quzo::createAction(quzo::QuzoAction::ActionType::TagSubject);
    const auto notify = quzo::createAction(quzo::QuzoAction::ActionType::Notify);
    const std::vector<std::pair<const char*, bool>> checks = {
        {"an exception of the program's own type is caught in the library",
         log.has("gave up: settings are gone")},
        {"and so is one of no class", started && log.has("gave up: unknown exception")},
        {"an exception of the library is caught in the program", throwsWhatIsCaught()},
        {"the program knows the library's object by its class",
         dynamic_cast<quzo::ActTagSubject*>(tag.get()) != nullptr},
        {"and by a base of it", dynamic_cast<quzo::QuzoActionN*>(notify.get()) != nullptr},
        {"and not by another class", dynamic_cast<quzo::ActNotify*>(tag.get()) == nullptr},
        {"types compare equal", typeid(*notify) == typeid(quzo::ActNotify)},
        {"the library knows the program's object by a base of it", areaOf("1-1") == "ours"},
        {"and not by another class", areaOf("1-2").empty()},
        {"the virtual table has the order of the headers",
         tag->construct("T[x]", 4) && tag->serialize() == "T[x]" && notify->hasNamedObjects()},
    };
    int failed = 0;
    for (const auto& [what, holds] : checks) {
        if (!holds) {
            std::printf("does not hold: %s\n", what);
            ++failed;
        }
    }
    return failed;
}
