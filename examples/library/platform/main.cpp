// Tags the Subject of the message of standard input with the words of the command line, on a platform of our
// own, and writes the message to standard output.
//
// What is left for the program to bring: a log, settings, the way out, and the named objects.
#include <cstdarg>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

#include "message.h"
#include "quzo/core/adapter.h"
#include "quzo/core/create_action.h"
#include "quzo/core/error_text.h"
#include "quzo/core/factories.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/settings/ui_tag_subject.h"

namespace {

// Lines go to standard error, one call of stdio a line, so several threads may write.
class StderrLog final : public quzo::LogMsg {
public:
    __attribute__((format(printf, 3, 4))) void write(int lineLevel, const char* format, ...) override {
        char text[2048];
        std::va_list values;
        va_start(values, format);
        std::vsnprintf(text, sizeof text, format, values);
        va_end(values);
        for (char* at = text; *at != '\0'; ++at) {
            *at = static_cast<unsigned char>(*at) < ' ' ? '?' : *at; // no text of a message begins a line
        }
        std::fprintf(stderr, "%d: %s\n", lineLevel, text);
    }
};

// No settings: the library's built-in values hold.
class NoSettings final : public quzo::GlobalSetting {
public:
    int getValue(const char*, std::string&, const char*, int) override { return 1; }
    int getIntValue(const char*, int&, const char*, int) override { return 1; }
};

// Messages can be deleted, which the program sees to; there is no way for them to go elsewhere.
class NoWayOut final : public quzo::KvIsAdapter {
public:
    int deleteMessage(unsigned& error, quzo::KvMsgMailMessage*) override {
        deleted = true;
        return static_cast<int>(error = 0);
    }
    int sendMessage(unsigned& error, quzo::KvMsgMailMessage*, bool) override { return refuse(error); }
    int submitForScan(unsigned& error, quzo::KvMsgMailMessage*, int) override { return refuse(error); }
    int sendComposed(unsigned& error, quzo::KvMsgMailMessage*) override { return refuse(error); }
    int postponeMessage(unsigned& error, quzo::KvMsgMailMessage*, unsigned char, unsigned char, int,
                        int) override {
        return refuse(error);
    }
    int handoffMessage(unsigned& error, quzo::KvMsgMailMessage*, const char*, unsigned) override {
        return refuse(error);
    }
    int quarantineMessage(int& error, quzo::KvMsgMailMessage*, const char*, const char*,
                          char* pathOut) override {
        *pathOut = '\0';
        return refuse(error);
    }
    int archiveMessage(int& error, quzo::KvMsgMailMessage*, const char*, const char*, const char*) override {
        return refuse(error);
    }

    bool deleted = false;

private:
    template <typename Number>
    static int refuse(Number& error) {
        error = quzo::kErrorNotSupported;
        return quzo::kErrorNotSupported;
    }
};

class NoNamedObjects final : public quzo::NamedObjMgrForScanner {
public:
    quzo::QuzoNamedObj* find(unsigned) const override { return nullptr; }
};

} // namespace

int main(int count, char** words) {
    if (count != 2) {
        std::cerr << "usage: platform TAG < message.eml\n";
        return 64;
    }
    StderrLog log;
    NoSettings settings;
    InitActionLib(settings, log);

    const std::string bytes{std::istreambuf_iterator<char>(std::cin), {}};
    example::Message message(bytes);
    quzo::TokenMap<quzo::ScanToken> tokens;
    NoWayOut adapter;
    const NoNamedObjects none;
    quzo::uiTagSubject settingText;
    settingText.tagText = words[1];
    const std::string setting = settingText.serialize();
    const auto action = quzo::createAction(quzo::QuzoAction::ActionType::TagSubject);
    bool consumed = false;
    if (action == nullptr || !action->construct(setting.data(), static_cast<unsigned>(setting.size())) ||
        !action->takeAction(&message, nullptr, consumed, tokens, adapter, none) || consumed) {
        return 1;
    }
    std::cout << message.root().header() << message.root().rest() << std::flush;
    return std::cout ? 0 : 1;
}
