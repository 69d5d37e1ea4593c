// The library's token table is the one list of names.
#include "host/policy/token_name.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "quzo/tokens/action_utils.h"

namespace quzo::host {
namespace {

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

} // namespace

std::optional<ScanToken> findToken(std::string_view nameOrCode) {
    if (nameOrCode.size() > 2 && nameOrCode.front() == '%' && nameOrCode.back() == '%') {
        nameOrCode = nameOrCode.substr(1, nameOrCode.size() - 2);
    }
    if (nameOrCode.empty() || nameOrCode.find('%') != std::string_view::npos) {
        return std::nullopt;
    }
    if (nameOrCode.size() <= 9 && nameOrCode.find_first_not_of("0123456789") == std::string_view::npos) {
        std::int32_t code = 0;
        std::from_chars(nameOrCode.data(), nameOrCode.data() + nameOrCode.size(), code);
        return static_cast<ScanToken>(code);
    }
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        const std::string_view name = entry->name;
        const std::string_view bare = name.substr(1, name.size() - 2);
        if (bare.size() == nameOrCode.size() && std::equal(bare.begin(), bare.end(), nameOrCode.begin(),
                                                           [](char a, char b) { return a == upper(b); })) {
            return entry->token;
        }
    }
    return std::nullopt;
}

const char* tokenName(ScanToken code) {
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        if (entry->token == code) {
            return entry->name;
        }
    }
    return nullptr;
}

} // namespace quzo::host
