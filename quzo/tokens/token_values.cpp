// The token table and the lookup of a token's value.
//
// The codes are shared with the scanner; the order of the rows is the order in which the supported tokens are
// logged. Two ordered maps are built from the table once, so a lookup costs two map lookups and no
// allocation.
#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

#include "quzo/core/guard.h"
#include "quzo/tokens/action_utils.h"
#include "quzo/tokens/text_settings.h"
#include "quzo/tokens/token_fill.h"
#include "quzo/tokens/token_lookup.h"

namespace quzo {
namespace {

// As the token table shows a function to other components: with nothing getting out of it. A lookup here uses
// the bare one, which tells a value that could not be had from one that is not there.
template <TokenFill fill>
bool kept(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value) {
    return guarded("TokenFill", false, [&] { return fill(tokens, msg, value); });
}

// An entry of the table, and its function without that guard.
struct Row {
    TokenEntry entry;
    TokenFill bare;
};

constexpr Row kRows[] = {
    {{ScanToken::Sender, "%SENDER%", nullptr}, nullptr},
    {{ScanToken::Recipients, "%RCPTS%", nullptr}, nullptr},
    {{ScanToken::HeaderRecipients, "%HEADER_RCPTS%", nullptr}, nullptr},
    {{ScanToken::Subject, "%SUBJECT%", kept<fnSubject>}, fnSubject},
    {{ScanToken::Headers, "%HEADERS%", kept<fnHeaders>}, fnHeaders},
    {{ScanToken::DateTime, "%DATE&TIME%", kept<fnDateTime>}, fnDateTime},
    {{ScanToken::OriginalMailId, "%ORIGINALMAILID%", nullptr}, nullptr},
    {{ScanToken::MailId, "%MAILID%", nullptr}, nullptr},
    {{ScanToken::Protocol, "%PROTOCOL%", nullptr}, nullptr},
    {{ScanToken::RuleName, "%RULENAME%", nullptr}, nullptr},
    {{ScanToken::RuleType, "%RULETYPE%", nullptr}, nullptr},
    {{ScanToken::Detected, "%DETECTED%", nullptr}, nullptr},
    {{ScanToken::Entity, "%ENTITY%", nullptr}, nullptr},
    {{ScanToken::FileName, "%FILENAME%", nullptr}, nullptr},
    {{ScanToken::FileType, "%FILETYPE%", nullptr}, nullptr},
    {{ScanToken::MessageSize, "%MSG_SIZE%", nullptr}, nullptr},
    {{ScanToken::AttachmentSize, "%ATTACH_SIZE%", nullptr}, nullptr},
    {{ScanToken::AttachmentCount, "%ATTACH_COUNT%", nullptr}, nullptr},
    {{ScanToken::Action, "%ACTION%", kept<fnActions>}, fnActions},
    {{ScanToken::RuleAction, "%TACTION%", kept<fnTActions>}, fnTActions},
    {{ScanToken::VirusAction, "%VIRUSACTION%", nullptr}, nullptr},
    {{ScanToken::QuarantinePath, "%QUARANTINE_PATH%", kept<fnQAFilePath>}, fnQAFilePath},
    {{ScanToken::QuarantineArea, "%QUARANTINE_AREA%", nullptr}, nullptr},
    {{ScanToken::VirusName, "%VIRUSNAME%", nullptr}, nullptr},
    {{ScanToken::HostName, "%HOSTNAME%", nullptr}, nullptr},
    {{ScanToken::DefaultCharset, "%DEF_CHARSET%", kept<fnDCharset>}, fnDCharset},
    {{ScanToken::XMailId, "%XMAILID%", kept<fnXmailid>}, fnXmailid},
    {{ScanToken::MailCharset, "%MAILCHARSET%", kept<fnMCharset>}, fnMCharset},
    {{ScanToken::SuspiciousUrl, "%SUSPICIOUS_URL%", nullptr}, nullptr},
    {{ScanToken::MarkedEntities, "", nullptr}, nullptr},
};

constexpr auto kTokenTable = [] {
    std::array<TokenEntry, std::size(kRows)> table{};
    std::transform(std::begin(kRows), std::end(kRows), table.begin(),
                   [](const Row& row) { return row.entry; });
    return table;
}();
static_assert(kTokenTable.size() == 30);
static_assert(sizeof(ScanToken) == 4 && offsetof(TokenEntry, name) == 4);

struct Lookup {
    std::map<std::string, ScanToken, std::less<>> codes;
    std::map<ScanToken, TokenFill> fills;
};

Lookup& lookup() {
    static Lookup tables;
    return tables;
}

std::string build_tables(Lookup& tables) {
    Lookup built;
    std::string names;
    names.reserve(1024);
    for (const Row* row = std::begin(kRows); row->entry.name[0] != '\0'; ++row) {
        const TokenEntry* entry = &row->entry;
        built.codes.insert_or_assign(entry->name, entry->token);
        built.fills.insert_or_assign(entry->token, row->bare);
        if (!names.empty()) {
            names.append(1, ',');
        }
        names.append(entry->name + 1);
        names.pop_back();
    }
    std::swap(tables, built);
    return names;
}

// Whether a stored value is to be computed anew: a Japanese date is, so that it is never the scanner's.
bool always_computed(ScanToken code) {
    return code == ScanToken::DateTime && textSettings().japaneseTime == "yes";
}

} // namespace

const char* tokenValue(TokenMap<ScanToken>& tokens, std::string_view name, const KvMsgMailMessage& msg) {
    const auto known = lookup().codes.find(name);
    if (known == lookup().codes.end()) {
        return nullptr;
    }
    const ScanToken code = known->second;
    const std::string* stored = tokens.find(code);
    if (stored != nullptr && !stored->empty() && !always_computed(code)) {
        return stored->c_str();
    }
    const auto fill = lookup().fills.find(code);
    if (fill == lookup().fills.end()) {
        return "";
    }
    std::string value;
    value.reserve(128);
    if (fill->second != nullptr) {
        fill->second(tokens, msg, value);
    } else {
        ActionUtils::L3("The value of token '%.*s' is empty (unfilled).", static_cast<int>(name.size()) - 2,
                        name.data() + 1);
    }
    if (!value.empty()) {
        tokens.set(code, std::move(value));
    }
    stored = tokens.find(code);
    return stored != nullptr ? stored->c_str() : "";
}

const TokenEntry* ActionUtils::getTokenNames() { return kTokenTable.data(); }

void ActionUtils::_build_token_string_table() {
    guarded("ActionUtils::_build_token_string_table", false, [] {
        const std::string names = build_tables(lookup());
        L3("Supporting tokens: %s", names.c_str());
        return true;
    });
}

const char* ActionUtils::getTokenValue(TokenMap<ScanToken>& tokens, const char* name,
                                       const KvMsgMailMessage& msg) {
    if (name == nullptr) {
        return nullptr;
    }
    return guarded("ActionUtils::getTokenValue", "", [&] { return tokenValue(tokens, name, msg); });
}

} // namespace quzo
