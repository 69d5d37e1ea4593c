// Reading the URL of a mail server. See next_hop.h.
#include "platform/base/next_hop.h"

#include <algorithm>

#include "platform/base/host_name.h"
#include "platform/base/numbers.h"

namespace quzo::platform {
namespace {

int hexDigit(char c) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    const std::size_t at = kDigits.find(lower);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

// A part of the user's name or password: what is written in it for a byte that could not stand there. Bytes
// that would end a command are in nobody's name.
bool readPart(std::string_view text, std::string& out) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%') {
            const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
            if (high < 0 || low < 0) {
                return false;
            }
            c = static_cast<char>(high * 16 + low);
            i += 2;
        }
        if (static_cast<unsigned char>(c) < 0x20) {
            return false;
        }
        out.push_back(c);
    }
    return !out.empty();
}

bool readPlace(std::string_view place, NextHop& hop) {
    const std::size_t bracket = place.starts_with('[') ? place.find(']') : 0;
    if (bracket == std::string_view::npos) {
        return false;
    }
    const std::size_t colon = place.find(':', bracket);
    if (colon != std::string_view::npos) {
        const auto port = parseNumber<std::uint16_t>(place.substr(colon + 1));
        if (!port || *port == 0) {
            return false;
        }
        hop.port = *port;
    }
    return readHostName(place.substr(0, colon), hop.host);
}

} // namespace

std::optional<NextHop> readNextHop(std::string_view url) {
    constexpr std::string_view kPlain = "smtp://";
    constexpr std::string_view kTls = "smtps://";
    NextHop hop;
    hop.alwaysTls = url.starts_with(kTls);
    if (!hop.alwaysTls && !url.starts_with(kPlain)) {
        return std::nullopt;
    }
    hop.port = hop.alwaysTls ? 465 : 25;
    url.remove_prefix(hop.alwaysTls ? kTls.size() : kPlain.size());
    url.remove_suffix(url.ends_with('/') ? 1 : 0);
    if (const std::size_t at = url.rfind('@'); at != std::string_view::npos) {
        const std::string_view login = url.substr(0, at);
        const std::size_t colon = std::min(login.find(':'), login.size());
        if (!readPart(login.substr(0, colon), hop.user) ||
            !readPart(login.substr(std::min(colon + 1, login.size())), hop.password)) {
            return std::nullopt;
        }
        url.remove_prefix(at + 1);
    }
    return readPlace(url, hop) ? std::optional(std::move(hop)) : std::nullopt;
}

} // namespace quzo::platform
