// See host_name.h.
#include "platform/base/host_name.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>

namespace quzo::platform {
namespace {

constexpr std::size_t kMaxName = 253;
constexpr std::size_t kMaxLabel = 63;

bool isLabel(std::string_view label) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
               c == '_';
    };
    return !label.empty() && label.size() <= kMaxLabel && std::all_of(label.begin(), label.end(), allowed) &&
           label.front() != '-' && label.back() != '-';
}

bool isIpv6(const std::string& text) {
    in6_addr address{};
    return ::inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

} // namespace

bool readHostName(std::string_view text, std::string& plain) {
    if (text.empty() || text.size() > kMaxName || text.find('\0') != std::string_view::npos) {
        return false;
    }
    const bool bracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
    std::string name(bracketed ? text.substr(1, text.size() - 2) : text);
    bool valid = false;
    if (bracketed || name.find(':') != std::string::npos) {
        valid = isIpv6(name);
    } else {
        std::string_view rest = name;
        valid = true;
        while (valid && !rest.empty()) {
            const std::size_t end = std::min(rest.find('.'), rest.size());
            valid = isLabel(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    }
    if (valid) {
        plain = std::move(name);
    }
    return valid;
}

std::string ownHostName(const std::string& configured) {
    if (!configured.empty()) {
        return configured;
    }
    char name[256] = "";
    if (::gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') {
        return "localhost";
    }
    return name;
}

} // namespace quzo::platform
