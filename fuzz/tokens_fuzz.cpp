// Token replacement: a text is built from known pieces, so the result is known too. The reference reads the
// text the slow way, one character at a time.
#include <memory>

#include "fuzz_input.h"
#include "platform/message/mail_message.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::fuzz {
namespace {

constexpr char kValue[] = "<100% %RULENAME%>";

bool isToken(std::string_view name) {
    const TokenEntry* entry = ActionUtils::getTokenNames();
    while (entry->name[0] != '\0' && name != entry->name) {
        ++entry;
    }
    return entry->name[0] != '\0';
}

// The rule in other words: from each "%" that has a partner which is not its neighbour, the stretch between
// is a token or its end is the next beginning.
std::string expected(std::string_view text) {
    std::string out;
    std::size_t i = 0;
    std::size_t last = 0; // end of the last replaced token in `text`
    std::size_t kept = 0; // its end in `out`
    while (i < text.size()) {
        const std::size_t close = text[i] == '%' ? text.find('%', i + 1) : std::string_view::npos;
        const std::string_view name = close == std::string_view::npos ? "" : text.substr(i, close - i + 1);
        if (isToken(name)) {
            out += name == "%SENDER%" ? kValue : "";
            i = close + 1;
            last = i;
            kept = out.size();
        } else if (name == "%%") {
            out += name;
            i += 2;
        } else {
            out += text[i++];
        }
    }
    const std::size_t nul = text.find('\0', last);
    return nul == std::string_view::npos ? out : out.substr(0, kept + nul - last);
}

struct Fixture {
    Fixture() {
        ActionUtils::_build_token_string_table();
        message = platform::MailMessage::parse("Subject: s\n\nbody\n", {});
    }
    std::unique_ptr<platform::MailMessage> message;
};

} // namespace
} // namespace quzo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quzo;
    static fuzz::Fixture fixture;
    // A few bytes stand for the token names, so that the fuzzer meets them often.
    std::string text;
    for (const char c : fuzz::textOf(data, size)) {
        text += c == '\x01'   ? "%SENDER%"
                : c == '\x02' ? "%RCPTS%"
                : c == '\x03' ? "SENDER"
                              : std::string(1, c);
    }
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        if (entry->fill != nullptr && text.find(entry->name) != std::string::npos) {
            return 0; // the reference cannot compute values
        }
    }
    TokenMap<ScanToken> tokens;
    tokens.set(ScanToken::Sender, fuzz::kValue);
    std::string out;
    fuzz::require(ActionUtils::replaceTokens(tokens, text, *fixture.message, out), "not done");
    fuzz::require(fuzz::expected(text) == out, "another result than the reference's");
    return 0;
}
