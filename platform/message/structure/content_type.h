// A reader of Content-Type for the structure scan: type, subtype and single parameters, as views.
//
// The scan looks at the Content-Type of every part, so this one allocates nothing for a value that is
// written the usual way. It is more lenient than GMime on purpose: whoever hides an attachment writes the
// boundary in a way that one reader understands and another does not, and a structure that is seen too
// often costs less than one that is overlooked. Everything else about a value is GMime's business.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/base/ascii.h"
#include "platform/message/structure/structure.h"

namespace quzo::platform {

// A Content-Type value. All members are views into the text that was read, spelled as they stand there.
struct ContentType {
    std::string_view type;       // empty when the value names none
    std::string_view subtype;    // empty when there is none ("Content-Type: text")
    std::string_view parameters; // what follows, up to the end of the field

    // A value of the form type/subtype. Any other counts as no value at all (RFC 2045, 5.2).
    bool valid() const { return !type.empty() && !subtype.empty(); }
    bool is(std::string_view wantedType) const { return equalsNoCase(type, wantedType); }
    bool is(std::string_view wantedType, std::string_view wantedSubtype) const {
        return is(wantedType) && equalsNoCase(subtype, wantedSubtype);
    }
};

// Reads a value: all that follows the colon of the field, folds, comments and line break included.
ContentType readContentType(std::string_view value);

// The value of a parameter, quotes, escapes, folds and the forms of RFC 2231 undone (charsets are not
// converted). A view into `parameters`, or into `storage` when something had to be undone; a null view when
// there is no such parameter. Of several parameters of one name the first counts. Broken parameters before
// it are passed over.
std::string_view findParameter(std::string_view parameters, std::string_view name, std::string& storage);

// Every Content-Type field of a header block, in document order.
std::vector<ContentType> allContentTypes(std::string_view text, const HeaderSpan& header);

// The one that decides about the structure. Of several fields it is the last that gives the body a structure
// (a multipart with a boundary, an embedded message), since parts that are seen in vain do no harm; without
// such a one the last that is valid(). With none at all the result is not valid(): the default applies.
ContentType governingContentType(std::string_view text, const HeaderSpan& header);

// Whether a body of this type is a whole message: message/rfc822, /rfc2822, /global, /news. The parts of
// message/partial, and notifications such as message/delivery-status, are none.
bool isEmbeddedMessage(const ContentType& contentType);

// Whether the body is stored in an encoding (base64, quoted-printable, uuencode). Of several fields the first
// counts; an encoding that nobody knows counts as none.
bool isTransferEncoded(std::string_view text, const HeaderSpan& header);

} // namespace quzo::platform
