// quzo tokens: what texts may contain. Names, codes and who fills a token come from the library's table;
// only the meanings stand here.
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "host/base/exit_code.h"
#include "host/cli/commands.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::host {
namespace {

struct Meaning {
    ScanToken token;
    std::string_view text;
};

constexpr Meaning kMeanings[] = {
    {ScanToken::Sender, "envelope sender"},
    {ScanToken::Recipients, "envelope recipients"},
    {ScanToken::HeaderRecipients, "recipients in To, Cc and Bcc"},
    {ScanToken::Subject, "subject, decoded"},
    {ScanToken::Headers, "the whole header block"},
    {ScanToken::DateTime, "local time of processing"},
    {ScanToken::OriginalMailId, "identifier of the message's first pass through the scanner"},
    {ScanToken::MailId, "Message-ID"},
    {ScanToken::Protocol, "how the message came: SMTP or FILE"},
    {ScanToken::RuleName, "name of the rule at work"},
    {ScanToken::RuleType, "kind of the rule at work"},
    {ScanToken::Detected, "what the rule found"},
    {ScanToken::Entity, "the part in which it was found"},
    {ScanToken::FileName, "names of the attachments that matched"},
    {ScanToken::FileType, "content types of the attachments that matched"},
    {ScanToken::MessageSize, "size of the message in bytes"},
    {ScanToken::AttachmentSize, "size of the attachments that matched in bytes"},
    {ScanToken::AttachmentCount, "number of attachments that matched"},
    {ScanToken::Action, "actions taken on the message"},
    {ScanToken::RuleAction, "actions taken by the rule at work"},
    {ScanToken::VirusAction, "what was done about a virus"},
    {ScanToken::QuarantinePath, "file of the quarantined message"},
    {ScanToken::QuarantineArea, "name of the quarantine area"},
    {ScanToken::VirusName, "name of the virus found"},
    {ScanToken::HostName, "name of this host"},
    {ScanToken::DefaultCharset, "charset in which modified text is written by default"},
    {ScanToken::XMailId, "identifier that the scanner gave the message"},
    {ScanToken::MailCharset, "charset of the message"},
    {ScanToken::SuspiciousUrl, "suspicious address found in the message"},
};

std::string_view meaningOf(ScanToken token) {
    const auto* found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                     [token](const Meaning& meaning) { return meaning.token == token; });
    return found == std::end(kMeanings) ? std::string_view() : found->text;
}

} // namespace

int runTokens(const TokensOptions& options, Console& console) {
    if (!options.json) {
        console.out.write(fmt::format("{:<20} {:>4}  {:<9} {}\n", "NAME", "CODE", "FILLED BY", "MEANING"));
    }
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        const std::string_view name = entry->name;
        const auto code = static_cast<std::int32_t>(entry->token);
        const char* filledBy = entry->fill != nullptr ? "computed" : "scanner";
        if (options.json) {
            const nlohmann::ordered_json line = {{"name", name},
                                                 {"code", code},
                                                 {"filled_by", filledBy},
                                                 {"meaning", meaningOf(entry->token)}};
            console.out.write(line.dump() + "\n");
        } else {
            console.out.write(
                fmt::format("{:<20} {:>4}  {:<9} {}\n", name, code, filledBy, meaningOf(entry->token)));
        }
    }
    return kExitOk;
}

} // namespace quzo::host
