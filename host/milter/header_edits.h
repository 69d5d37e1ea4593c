// What a milter has to ask for so that a message's header becomes another one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::host {

// As the milter protocol hands fields over: the value is all that stands behind the colon, leading blanks
// included, without the line break at its end; folds are LF and a blank or tab.
struct MailField {
    std::string name;
    std::string value;

    bool operator==(const MailField& other) const = default;
};

struct HeaderEdit {
    enum class Kind : std::uint8_t { Insert, Append, Change, Remove };

    Kind kind = Kind::Insert;
    // Insert: in front of the field at this place among those that were received, counted from 0. Change and
    // Remove: the field is the one of so many of its name, counted from 1.
    std::size_t place = 0;
    const MailField* field =
        nullptr; // the new one; of Remove the one that goes. Of the lists that were given
};

// The fewest edits that make `after` of `before`, in an order in which each holds whether the server counts
// what former ones have removed or not: from the last field to the first, but fields behind all others in
// front, in their order. The lists outlive the result.
std::vector<HeaderEdit> headerEdits(const std::vector<MailField>& before,
                                    const std::vector<MailField>& after);

// The fields of a header block with CRLF, without the empty line. A line that is no field and continues none
// is left out: no server hands one over.
std::vector<MailField> fieldsOf(std::string_view header);

} // namespace quzo::host
