// The mark that a message carries while it goes through the scanner a second time.
//
// Before a message re-enters the mail flow (quarantine, a re-address, a notification that is scanned), the id
// of the rule at work is appended to one header field and the kind of action is written into another, so that
// the second pass can skip the rule. Only the rules field is taken back afterwards: the type stays on
// purpose.
#pragma once

#include <string>

#include "quzo/core/message.h"
#include "quzo/core/token_map.h"

namespace quzo {

inline constexpr char kReprocessRulesHeader[] = "X-quzo-reprocess-rules";
inline constexpr char kReprocessTypeHeader[] = "X-quzo-reprocess-type";

// Marks the entity, a message's root, with the rule id of `tokens` (code 4) and `type`. `present` must come
// in false; it tells whether the rules field was there and not empty, and `former` receives its value then
// (empty otherwise). False only for a null entity, or when memory runs out, and then nothing has changed; a
// missing rule id changes nothing.
bool _add_rule_skipping_header(const TokenMap<ScanToken>& tokens, KvMsgEntity* entity, bool& present,
                               std::string& former, const char* type);

// Takes the rules field back to what _add_rule_skipping_header found.
void _reset_rule_skipping_header(KvMsgEntity* entity, bool present, const std::string& former);

// The two as a guard: marks when it is made, takes back when it goes. Throws std::bad_alloc when it is made
// and memory runs out, with nothing changed, so that nobody stores or sends a message without its mark.
class ReprocessMark {
public:
    ReprocessMark(const TokenMap<ScanToken>& tokens, KvMsgEntity* entity, const char* type);
    ~ReprocessMark();
    ReprocessMark(const ReprocessMark&) = delete;
    ReprocessMark& operator=(const ReprocessMark&) = delete;

    // What _add_rule_skipping_header answered.
    bool placed() const { return placed_; }

private:
    KvMsgEntity* entity_;
    bool present_ = false;
    std::string former_;
    bool placed_;
};

} // namespace quzo
