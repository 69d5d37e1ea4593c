// What single parts of the library cost: token replacement and the text forms of settings.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <stdexcept>
#include <string>

#include "platform/config/quzo_settings.h"
#include "platform/message/mail_message.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::bench {
namespace {

class IdList final : public QuzoActionN {
public:
    IdList() : QuzoActionN(ActionType::Notify, false) {}
};

// 4 KB with ten tokens, evenly spread; the lone percent signs between them begin none.
std::string textWithTokens() {
    static constexpr const char* kTokens[] = {"%SENDER%",   "%RCPTS%",     "%SUBJECT%",  "%RULENAME%",
                                              "%MAILID%",   "%DATE&TIME%", "%DETECTED%", "%FILENAME%",
                                              "%HOSTNAME%", "%MSG_SIZE%"};
    std::string text;
    for (const char* token : kTokens) {
        text += fmt::format("{:.<380} 5% of it {}", "Some text of a template", token);
    }
    text.resize(4096, '.');
    return text;
}

TokenMap<ScanToken> filledTokens() {
    TokenMap<ScanToken> tokens;
    tokens.set(ScanToken::Sender, "from@example.com");
    tokens.set(ScanToken::Recipients, "to@example.com;too@example.com");
    tokens.set(ScanToken::RuleName, "Suspicious attachments");
    tokens.set(ScanToken::MailId, "<0123456789@example.com>");
    tokens.set(ScanToken::Detected, "*.exe");
    tokens.set(ScanToken::FileName, "invoice.exe");
    tokens.set(ScanToken::HostName, "gw1.example.com");
    tokens.set(ScanToken::MessageSize, "20480");
    return tokens;
}

void replaceTokens(benchmark::State& state) {
    const auto msg = platform::MailMessage::parse("Subject: A subject\r\n\r\nbody\r\n", platform::Limits());
    const std::string text = textWithTokens();
    const TokenMap<ScanToken> filled = filledTokens();
    std::string out;
    for (auto _ : state) {
        TokenMap<ScanToken> tokens = filled; // the subject and the date are worked out, as for each message
        if (!ActionUtils::replaceTokens(tokens, text, *msg, out)) {
            state.SkipWithError("not replaced");
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(replaceTokens);

void encodeIds(benchmark::State& state) {
    IdList list;
    for (unsigned id = 0; id < static_cast<unsigned>(state.range(0)); ++id) {
        list.namedObjIds.push_back(1000 + id);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(list.serialize());
    }
}
BENCHMARK(encodeIds)->Arg(1)->Arg(10)->Arg(1000);

void decodeIds(benchmark::State& state) {
    IdList list;
    for (unsigned id = 0; id < static_cast<unsigned>(state.range(0)); ++id) {
        list.namedObjIds.push_back(1000 + id);
    }
    const std::string text = list.serialize();
    std::vector<unsigned> ids;
    for (auto _ : state) {
        ids.clear();
        if (!list.getNamedObjectIds(text, ids)) {
            state.SkipWithError("refused");
        }
        benchmark::DoNotOptimize(ids.data());
    }
}
BENCHMARK(decodeIds)->Arg(1)->Arg(10)->Arg(1000);

uiNotifyArea notification() {
    uiNotifyArea area;
    area.description = "To the postmaster";
    area.sender = "postmaster@example.com";
    area.recipients = "admin@example.com;security@example.com";
    area.subject = "%RULENAME%: a message of %SENDER%";
    area.message = std::string(1000, 'm');
    area.snmpMessage = "%RULENAME%";
    return area;
}

void encodePositional(benchmark::State& state) {
    uiNotifyArea area = notification();
    for (auto _ : state) {
        benchmark::DoNotOptimize(area.serialize());
    }
}
BENCHMARK(encodePositional);

void decodePositional(benchmark::State& state) {
    const std::string text = notification().serialize();
    uiNotifyArea area;
    for (auto _ : state) {
        if (!area.construct(text.data(), static_cast<unsigned>(text.size()))) {
            state.SkipWithError("refused");
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(decodePositional);

class QuietLog final : public LogMsg {
public:
    QuietLog() { level = 0; }
    void write(int /*lineLevel*/, const char* /*format*/, ...) override {}
};

} // namespace
} // namespace quzo::bench

int main(int argc, char** argv) {
    quzo::bench::QuietLog log;
    quzo::platform::IniSettings settings;
    InitActionLib(settings, log);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 64;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
