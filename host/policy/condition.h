// The conditions of a rule, ready to be evaluated.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/policy/glob.h"
#include "platform/message/values/embedded_files.h"
#include "quzo/core/token_map.h"

namespace re2 {
class RE2;
}

namespace quzo::host {

// An expression and the text it was written as. Compiled once, shared by threads.
using Expression = std::shared_ptr<const re2::RE2>;

// One node. Lists inside a node are alternatives; All, Any and Not combine nodes.
struct Condition {
    enum class Kind : std::uint8_t {
        Always,
        Sender,         // globs
        Recipient,      // globs; one envelope recipient is enough
        EveryRecipient, // globs; all envelope recipients, of which there is at least one
        SizeOver,       // number: bytes of the message as received
        SizeUnder,      //
        Token,          // token, expressions
        Header,         // header, expressions; any field of that name
        Signed,         // wanted
        Encrypted,      // wanted
        Attachment,     // globs, on the names of every entity
        ContentType,    // globs, on the type of every entity
        Body,           // expressions, on the text parts
        Embedded,       // formats, of which one is enough
        All,            // children
        Any,            // children
        Not,            // one child
    };

    // How much of a message a condition looks at; cheaper ones are evaluated first.
    enum class Cost : std::uint8_t { Envelope, Header, Structure, Body };

    Kind kind = Kind::Always;
    Cost cost = Cost::Envelope; // of the dearest node below
    bool wanted = true;
    bool marksEntities = false; // an Attachment or ContentType at or below this node, not inside a Not
    ScanToken token{};
    std::uint32_t header = 0; // index into Policy::headerNames
    std::uint64_t number = 0;
    platform::EmbeddedFormats formats;
    std::vector<Glob> globs;
    std::vector<Expression> expressions;
    std::vector<Condition> children; // in order of their cost
};

} // namespace quzo::host
