// See addresses_in_text.h. Only ASCII addresses are found: what else somebody writes stays text.
#include "platform/message/stamp/addresses_in_text.h"

#include <algorithm>

#include "platform/base/ascii.h"

namespace quzo::platform {
namespace {

bool isAlnum(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

// Characters of a web address that needs no escaping; the brackets around it are none.
bool isOfUrl(char c) {
    return isAlnum(c) || std::string_view("-._~:/?#[]@!$&()*+,;=%").find(c) != std::string_view::npos;
}

bool isOfLocalPart(char c) {
    return isAlnum(c) || std::string_view("._%+-").find(c) != std::string_view::npos;
}

bool isOfDomain(char c) { return isAlnum(c) || c == '-' || c == '.'; }

template <typename Belongs>
std::size_t behindAll(std::string_view line, std::size_t at, Belongs belongs) {
    while (at < line.size() && belongs(line[at])) {
        ++at;
    }
    return at;
}

// Without the punctuation that ends a sentence, and a closing bracket that the address did not open.
std::size_t withoutStops(std::string_view line, std::size_t begin, std::size_t end) {
    const auto opened =
        static_cast<std::size_t>(std::count(line.begin() + static_cast<std::ptrdiff_t>(begin),
                                            line.begin() + static_cast<std::ptrdiff_t>(end), '('));
    std::size_t closed =
        static_cast<std::size_t>(std::count(line.begin() + static_cast<std::ptrdiff_t>(begin),
                                            line.begin() + static_cast<std::ptrdiff_t>(end), ')'));
    while (end > begin) {
        const char last = line[end - 1];
        const bool stop = std::string_view(".,;:!?").find(last) != std::string_view::npos;
        if (!stop && (last != ')' || closed <= opened)) {
            break;
        }
        closed -= last == ')' ? 1 : 0;
        --end;
    }
    return end;
}

// A web address that begins at `at`; an empty one when none does.
AddressInText webAddress(std::string_view line, std::size_t at) {
    const std::string_view rest = line.substr(at);
    const bool bare = startsWithNoCase(rest, "www.");
    if (!bare && !startsWithNoCase(rest, "https://") && !startsWithNoCase(rest, "http://")) {
        return {at, at, {}};
    }
    const std::size_t host = bare ? at + 4 : line.find("//", at) + 2;
    if (host >= line.size() || !isAlnum(line[host])) {
        return {at, at, {}};
    }
    return {at, withoutStops(line, host, behindAll(line, at, isOfUrl)), bare ? "https://" : ""};
}

// A mail address that begins at `at`, the first character of a local part; an empty one when none does.
AddressInText mailAddress(std::string_view line, std::size_t at) {
    const std::size_t sign = behindAll(line, at, isOfLocalPart);
    if (sign == at || sign >= line.size() || line[sign] != '@') {
        return {at, at, {}};
    }
    const std::size_t end = withoutStops(line, sign + 1, behindAll(line, sign + 1, isOfDomain));
    const bool dotted = line.substr(sign + 1, end - sign - 1).find('.') != std::string_view::npos;
    return dotted && isAlnum(line[sign + 1]) ? AddressInText{at, end, "mailto:"} : AddressInText{at, at, {}};
}

} // namespace

std::vector<AddressInText> addressesIn(std::string_view line) {
    std::vector<AddressInText> found;
    for (std::size_t at = 0; at < line.size();) {
        if (!isOfLocalPart(line[at])) {
            ++at;
            continue;
        }
        AddressInText address = webAddress(line, at);
        address = address.end > at ? address : mailAddress(line, at);
        if (address.end > at) {
            found.push_back(address);
            at = address.end;
        } else {
            at = behindAll(line, at, isOfLocalPart); // a word is looked at once
        }
    }
    return found;
}

} // namespace quzo::platform
