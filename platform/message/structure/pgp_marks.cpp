// See pgp_marks.h.
#include "platform/message/structure/pgp_marks.h"

#include <algorithm>

#include "platform/message/structure/structure_lines.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kMark = "-----BEGIN PGP ";
constexpr std::string_view kSignedMark = "SIGNED MESSAGE-----";
constexpr std::string_view kMessageMark = "MESSAGE-----";
constexpr std::string_view kMessagePartMark = "MESSAGE, PART "; // of an armor in several parts
static_assert(kLongestPgpMark == kMark.size() + kSignedMark.size());

} // namespace

PgpMarks findPgpMarks(std::string_view text, std::size_t begin, std::size_t end) {
    PgpMarks found;
    for (std::size_t line = findDashLine(text, begin, end); line != std::string_view::npos;
         line = findDashLine(text, findLineEnd(text, line, end), end)) {
        std::string_view mark = text.substr(line, std::min(end - line, kLongestPgpMark));
        if (mark.starts_with(kMark)) {
            mark.remove_prefix(kMark.size());
            found.isSigned = found.isSigned || mark.starts_with(kSignedMark);
            found.isEncrypted =
                found.isEncrypted || mark.starts_with(kMessageMark) || mark.starts_with(kMessagePartMark);
        }
        if (found.isSigned && found.isEncrypted) {
            break;
        }
    }
    return found;
}

} // namespace quzo::platform
