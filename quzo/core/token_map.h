// The per-message table of scan results.
//
// The scanner fills a TokenMap before it runs actions on a message; actions read it, cache computed
// values in it and leave notes for each other in it. The map is ordered by code so that iterating it
// gives the same sequence every time.
//
// Threads: one map belongs to one message and is used by one thread at a time.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace quzo {

// Codes of the values in a TokenMap. The numbers are shared with the scanner and with stored data;
// they never change. Codes that are not listed may be used by the scanner for its own values.
enum class ScanToken : std::int32_t {
    MarkedEntities = 0,       // "%u %x" entries joined by ';': entities that the rule matched
    MarkedEntityNotes = 1,    // the scanner's notes beside code 0; actions only remove it
    SampleEntities = 2,       // like 0: entities to be sent to the feedback mailbox
    QuarantineAging = 3,      // days as decimal text, empty when aging is off
    RuleId = 4,               // decimal id of the rule at work
    MailCharset = 5,          // %MAILCHARSET%
    WholeMailFinding = 7,     // begins with '1': whole-mail scanning found a virus
    DeleteAllAttachments = 8, // begins with '1': delete every attachment
    PendingBcc = 10,          // blind-copy recipients waiting for a re-address, joined by ';'
    ActionCodes = 12,         // raw list of actions taken, type codes joined by ';'
    RuleActionCodes = 13,     // second raw list, the actions of the rule at work
    DefaultCharset = 30,      // %DEF_CHARSET%
    Sender = 32,
    Recipients = 33,
    HeaderRecipients = 34,
    Subject = 36,
    Headers = 37,
    DateTime = 38,
    MailId = 39,
    OriginalMailId = 40,
    Protocol = 41,
    RuleName = 42,
    RuleType = 43,
    Detected = 44,
    FileName = 45,
    Action = 46,
    RuleAction = 47,
    QuarantinePath = 48,
    QuarantineArea = 49,
    QuarantineAreaId = 50,
    VirusName = 51,
    VirusAction = 52,
    HostName = 57,
    MessageSize = 58,
    FileType = 59,
    Entity = 60,
    AttachmentSize = 61,
    AttachmentCount = 62,
    AttachmentState = 63,       // "0" once attachment deletion has dealt with the message
    DropMarkedEntityNotes = 64, // begins with '1': attachment deletion removes code 1 too
    XMailId = 65,
    ArchiveAreaId = 66,
    ArchiveArea = 67,
    ArchiveAging = 68,
    Reprocessed = 69, // "yes" when the message re-enters scanning
    SuspiciousUrl = 72,
};

// An ordered map from a code to a text. Texts are bytes; their charset is agreed per code.
template <typename Code>
class TokenMap {
public:
    using Map = std::map<Code, std::string>;
    using const_iterator = typename Map::const_iterator;

    // The stored text, or null when the code is absent. The pointer holds until the entry is
    // replaced or removed. A stored text may be empty.
    const std::string* find(Code code) const {
        const auto entry = values_.find(code);
        return entry == values_.end() ? nullptr : &entry->second;
    }

    // The same for a caller that changes the text in place.
    std::string* find(Code code) {
        const auto entry = values_.find(code);
        return entry == values_.end() ? nullptr : &entry->second;
    }

    // The stored text, or the empty text when the code is absent. Never dangles before a change.
    const std::string& valueOrEmpty(Code code) const {
        static const std::string empty;
        const std::string* value = find(code);
        return value != nullptr ? *value : empty;
    }

    // Inserts the text or replaces the one that stands.
    void set(Code code, std::string value) { values_.insert_or_assign(code, std::move(value)); }

    // Removes the code. Returns its former text, or the empty text when it was absent.
    std::string RemoveToken(Code token) {
        auto node = values_.extract(token);
        return node.empty() ? std::string() : std::move(node.mapped());
    }

    bool empty() const { return values_.empty(); }
    std::size_t size() const { return values_.size(); }
    const_iterator begin() const { return values_.begin(); }
    const_iterator end() const { return values_.end(); }

private:
    Map values_;
};

} // namespace quzo
