// Texts: charsets, tokens and the log, for every action that writes into a message.
#pragma once

#include <cstdint>
#include <string>

#include "quzo/core/log.h"
#include "quzo/core/settings_source.h"
#include "quzo/core/token_map.h"

namespace quzo {

class KvMsgMailMessage;

// Computes a token's value from the message. Writes `value` and returns whether there was one; a value that
// is left empty counts as none.
using TokenFill = bool (*)(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);

// One row of the token table. The layout is read by other components: code, name, function, in this order.
struct TokenEntry {
    ScanToken token;
    char name[32];  // as it stands in texts, percent signs included; empty in the row that ends the table
    TokenFill fill; // null when only the scanner or an action knows the value
};

// Static members only. init() is part of InitActionLib; everything else only reads what it set and may be
// called from several threads at once, each with a token map and message of its own. Nothing throws.
class ActionUtils : public ActionLog {
public:
    ActionUtils() = delete;

    // Keeps the logger and reads the charset, locale and time format settings. Always true.
    static bool init(GlobalSetting& settings, LogMsg& log);

    // Builds the lookup tables, replacing former ones, and logs the supported tokens at level 3.
    static void _build_token_string_table();

    // Writes into `out` a copy of `text` with every known token replaced by its value, byte for byte: no
    // charset is converted. A known token without a value is replaced by nothing; anything else stays. `text`
    // is read up to its end, but what follows the last replaced token only up to a NUL. False when memory ran
    // out; `out` is then of no use.
    static bool replaceTokens(TokenMap<ScanToken>& tokens, const std::string& text,
                              const KvMsgMailMessage& msg, std::string& out);

    // The value of a token, given with its percent signs; null when there is no such token. A value in the
    // map wins; a computed one is stored there, so it is computed once for a message. The text belongs to the
    // map, or is the static empty text, and holds until the map changes.
    static const char* getTokenValue(TokenMap<ScanToken>& tokens, const char* name,
                                     const KvMsgMailMessage& msg);

    // The first row of the table; the row after the last has an empty name.
    static const TokenEntry* getTokenNames();

    // The charset in which modified text is written when nothing better is known. Never null.
    static const char* getDefaultDstCharset();
    // The charset of this installation's configured texts. Never null.
    static const char* getLocalCharset();
    // Whether modifications try the message's own charset before the default destination charset.
    static bool getUseMailCharsetFlag();
    // Whether stamps are written in UTF-8 by preference.
    static bool getUseUTF8AsPreferForStampActionFlag();
};

} // namespace quzo
