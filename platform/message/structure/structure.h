// The structure of a message as offsets into its bytes.
//
// The message as received stays in one buffer. This scan walks it once and says where everything lies:
// header fields, bodies, boundary lines, nesting. It knows field names, the boundary parameter and the
// type of a part, and decodes nothing. All offsets count from the start of the buffer, so an edit is a
// splice at an offset and every byte that no edit touches is copied as it came.
//
// Line ends may be CRLF, LF or mixed. Nothing here keeps a reference to the buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

#include "platform/message/structure/limits.h"

namespace quzo::platform {

// One header field: [begin, end) with its folded lines and its line break.
struct FieldSpan {
    std::size_t begin = 0;
    std::size_t nameEnd = 0;    // behind the name's last character; blanks may follow before the colon
    std::size_t valueBegin = 0; // behind the colon
    std::size_t end = 0;        // behind the line break, or the end of the data
};

// A header block: [begin, end) without the empty line; the body starts at bodyBegin.
struct HeaderSpan {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t bodyBegin = 0;
    bool readable = true; // false: no header block could be made out, or a limit cut it
    std::vector<FieldSpan> fields;
    bool limited = false; // the block is longer than allowed: `fields` are those before the cut, and the
                          // body begins at the cut
};

// Scans the header block that starts at `begin` and ends, at the latest, at `end`. Lines that are no
// field (no colon, a name with a blank or control character inside) are passed over; they keep their
// place between the fields. Costs one pass over the block.
//
// The block ends at the first empty line; one of blanks alone goes on with the field before it. Without an
// empty line it reaches to the end, and the body is empty; but a boundary line of the multipart that the
// block itself describes ends it too. A block without a single field, but with lines
// that are none, is not readable: it is empty and all of it is body, so that nothing goes unseen. No data at
// all, or an empty line at once, is an empty block that is readable. At the start of the buffer, a byte order
// mark, the lines that a mailbox puts before a message ("From " and ">From ") and empty lines with a field
// behind them stand in front of the block, not in it.
HeaderSpan scanHeader(std::string_view text, std::size_t begin, std::size_t end, const Limits& limits);

// The name of a field, a view into `text`.
std::string_view fieldName(std::string_view text, const FieldSpan& field);

// The first field of that name (ASCII case does not matter), or null.
const FieldSpan* findField(std::string_view text, const HeaderSpan& header, std::string_view name);

// One entity of the tree. Entities stand in depth-first document order; the root is entity 0.
struct EntitySpan {
    static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

    HeaderSpan header;
    std::size_t bodyEnd = 0; // the body is [header.bodyBegin, bodyEnd), without the line break
                             // that belongs to the boundary line after it
    std::size_t end = 0;     // of the whole entity: bodyEnd, or behind that where its last leaf has the line
                             // break of the boundary line for its header's end or its empty line
    std::uint32_t parent = kNone;
    std::uint32_t nextSibling = kNone;
    int type = 0;     // KvMsgEntityType
    bool cut = false; // a limit kept the scan from looking further into it
    // Of a multipart: where the first boundary line begins, and the close delimiter line behind it, or the
    // end of the body when there is none.
    std::size_t firstBoundary = 0;
    std::size_t closeDelimiter = 0;
    bool closed = false;       // the close delimiter was found
    std::string_view boundary; // a view into the scanned text, quotes taken off; null for others
};

// Whether what lies in the entity is an embedded message.
bool holdsMessage(const EntitySpan& entity);

struct Structure {
    std::vector<EntitySpan> entities;
    bool limited = false; // a limit cut the scan somewhere
};

// Scans the whole message, whose root header block has been scanned already.
//
// A boundary line is "--", the boundary, perhaps "--", then nothing but blanks, tabs and carriage returns.
// The line break in front of it is no part of the body before it. An outer boundary ends inner parts that
// were not closed, a close delimiter in front of the first part closes nothing, and no part begins behind a
// boundary line that ends the data. A multipart in which no part was found is a leaf, and so is a
// message/rfc822 that is empty or transfer-encoded. Where Content-Type fields contradict each other, the one
// that gives the body a structure is followed (governingContentType in content_type.h), and of two boundaries
// the first that occurs.
//
// Limits: a container below `nesting` others stays a leaf that is `cut`; a container whose parts exceed
// `parts` is `cut` and has only those before; ends and close delimiters of what was found are true all the
// same. Costs one pass over the text, whatever its boundaries, and memory in proportion to fields and parts.
Structure scanStructure(std::string_view text, HeaderSpan rootHeader, const Limits& limits);

// What stands around a part that is scanned by itself.
struct PartPlace {
    std::vector<std::string_view> boundaries; // of the multiparts around it, the outermost first
    std::size_t depth = 0;                    // the containers around it, embedded messages too
    bool inDigest = false;                    // the innermost is a multipart/digest
};

// Scans one part, which begins with its header block at `begin` and becomes entity 0. It ends where a
// boundary line of a multipart around it begins, else with the text; that place is the result in `end`.
Structure scanPart(std::string_view text, std::size_t begin, const PartPlace& place, const Limits& limits,
                   std::size_t& end);

} // namespace quzo::platform
