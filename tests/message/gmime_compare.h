// Holds the structure scan to GMime: the same tree, fields and offsets, or a difference that has a name.
//
// Whether a difference applies is decided from the message before the two are compared, and where it is known
// what GMime makes of it, that is what GMime must give. So a difference can explain nothing by accident.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform::test {

enum class Difference : std::size_t {
    noData,
    junkFirst,
    endsInName,
    longJunk,
    bufferEdge,
    carriageReturn,
    mboxLine,
    namelessField,
    junkHeader,
    ownBoundary,
    twoContentTypes,
    lenientBoundary,
    noParts,
    earlyClose,
    emptyMessage,
    boundaryFirst,
    boundaryIsField,
    otherLineBreak,
    preface,
    count
};

struct DifferenceText {
    const char* name;
    const char* why;
};

inline constexpr std::array<DifferenceText, static_cast<std::size_t>(Difference::count)> kDifferences = {{
    {"noData", "GMime sees no message in no data; the scan sees an empty one"},
    {"junkFirst",
     "GMime refuses a message whose first line is no field; the scan passes over the line, since "
     "whoever reads such a mail does so too"},
    {"endsInName",
     "GMime gives up where the data ends inside of what may be a field name; the scan keeps what "
     "it has read"},
    {"longJunk",
     "GMime gives up at a line without colon or blank that is longer than its buffer; the scan "
     "passes over it as over any other"},
    {"bufferEdge", "GMime loses a field when its buffer ends in the junk in front of the field"},
    {"carriageReturn",
     "GMime takes carriage returns out of a Content-Type; for the scan they are blanks, and a "
     "line of nothing else is empty"},
    {"mboxLine",
     "GMime counts the first field from the start of the block, the scan from the field, behind the "
     "mbox line or other junk before it"},
    {"namelessField",
     "a line that begins with a colon is a field without a name for GMime, and none for the scan"},
    {"junkHeader", "a block without any field is body for the scan; GMime drops it, or all of the part"},
    {"ownBoundary",
     "the first boundary line ends the header of its own multipart, the empty line missing; GMime "
     "takes the first part's fields for those of the multipart"},
    {"twoContentTypes",
     "of several Content-Type fields the scan follows one that gives a structure, GMime the "
     "last"},
    {"lenientBoundary", "the scan reads a boundary from a Content-Type that GMime cannot read"},
    {"noParts", "a multipart without any part is a leaf, so that its text is seen as a body"},
    {"earlyClose",
     "a close delimiter in front of the first part ends the multipart for GMime; the scan finds the "
     "parts behind it"},
    {"emptyMessage",
     "a message/rfc822 part with nothing in it is a leaf; GMime has a message part without, or "
     "with an empty, message"},
    {"boundaryFirst",
     "a boundary line right behind another ends an empty part; GMime takes it for junk in a "
     "header and goes on"},
    {"boundaryIsField", "a boundary with a colon, right behind a header, is a field for GMime"},
    {"otherLineBreak",
     "the line break that belongs to a boundary is that in front of it; GMime takes as many "
     "bytes off as the break behind it has"},
    {"preface",
     "GMime takes a byte order mark or an empty line in front of the header for a part of it or its end; the "
     "scan passes over them, as mail readers do"},
}};

struct Comparison {
    std::array<std::size_t, static_cast<std::size_t>(Difference::count)> differences{};
    std::vector<std::string> unexplained;

    bool any() const {
        for (const std::size_t n : differences) {
            if (n != 0) {
                return true;
            }
        }
        return false;
    }
};

// Scans `text` both ways. g_mime_init() must have been called.
Comparison compareWithGmime(std::string_view text);

} // namespace quzo::platform::test
