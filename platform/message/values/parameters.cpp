// Parameters in place. See parameters.h.
#include "platform/message/values/parameters.h"

#include <algorithm>

#include "platform/base/ascii.h"
#include "platform/base/utf8.h"
#include "platform/message/values/field_text.h"

namespace quzo::platform {
namespace {

// Behind the quoted string that opens at `at`; npos when it is not closed.
std::size_t behindQuote(std::string_view text, std::size_t at) {
    for (++at; at < text.size(); ++at) {
        if (text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            return at + 1;
        }
    }
    return std::string_view::npos;
}

// The same for a comment; the end of the text when it is not closed.
std::size_t skipComment(std::string_view text, std::size_t at) {
    std::size_t depth = 0;
    for (; at < text.size(); ++at) {
        if (text[at] == '\\') {
            ++at;
        } else if (text[at] == '(') {
            ++depth;
        } else if (text[at] == ')' && --depth == 0) {
            return at + 1;
        }
    }
    return text.size();
}

// The next ';' that ends a parameter, or the end.
std::size_t nextSeparator(std::string_view text, std::size_t at,
                          ParameterReading reading = ParameterReading::Standard) {
    while (at < text.size() && text[at] != ';') {
        if (text[at] == '"' && reading != ParameterReading::SemicolonsOnly) {
            at = std::min(behindQuote(text, at), text.size());
        } else if (text[at] == '(' && reading == ParameterReading::Standard) {
            at = skipComment(text, at);
        } else {
            ++at;
        }
    }
    return std::min(at, text.size());
}

bool isTokenChar(char c) {
    static constexpr std::string_view kSpecials = "()<>@,;:\\\"/[]?=";
    return static_cast<unsigned char>(c) > 0x20 && static_cast<unsigned char>(c) < 0x7F &&
           kSpecials.find(c) == std::string_view::npos;
}

bool isToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isTokenChar);
}

// "name=value" as it is to be written.
std::string writtenParameter(std::string_view name, std::string_view value) {
    std::string out(name);
    if (isToken(value)) {
        return out.append("=").append(value);
    }
    if (isAscii(value)) {
        out.append("=\"");
        for (const char c : value) {
            if (c == '"' || c == '\\') {
                out.push_back('\\');
            }
            out.push_back(c);
        }
        return out.append("\"");
    }
    static constexpr std::string_view kHex = "0123456789ABCDEF";
    out.append("*=utf-8''");
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (isTokenChar(c) && c != '*' && c != '\'' && c != '%') {
            out.push_back(c);
        } else {
            out.append({'%', kHex[byte >> 4U], kHex[byte & 15U]});
        }
    }
    return out;
}

} // namespace

void eachParameter(std::string_view rawValue, const std::function<void(const ParameterSpan&)>& take) {
    for (std::size_t at = nextSeparator(rawValue, 0); at < rawValue.size();) {
        ParameterSpan span;
        span.begin = at;
        span.end = nextSeparator(rawValue, at + 1);
        const std::string_view inner = rawValue.substr(at + 1, span.end - at - 1);
        const std::size_t equals = inner.find('=');
        if (equals != std::string_view::npos) {
            span.name = trimmed(inner.substr(0, equals));
            span.value = trimmed(inner.substr(equals + 1));
            take(span);
        }
        at = span.end;
    }
}

std::vector<ParameterReading> parameterReadings(std::string_view rawValue) {
    std::vector<ParameterReading> readings{ParameterReading::Standard};
    bool comment = false;
    std::size_t at = 0;
    while (at < rawValue.size()) {
        comment = comment || rawValue[at] == '(';
        at = rawValue[at] == '"' ? behindQuote(rawValue, at) : at + 1;
    }
    if (comment) {
        readings.push_back(ParameterReading::NoComments);
    }
    if (at == std::string_view::npos) {
        readings.push_back(ParameterReading::SemicolonsOnly);
    }
    return readings;
}

void eachParameter(std::string_view rawValue, ParameterReading reading,
                   const std::function<void(const ParameterSpan&)>& take) {
    for (std::size_t begin = 0; begin < rawValue.size();) {
        ParameterSpan span;
        span.begin = begin == 0 ? 0 : begin - 1;
        span.end = nextSeparator(rawValue, begin, reading);
        const std::string_view inner = rawValue.substr(begin, span.end - begin);
        const std::size_t equals = inner.find('=');
        if (equals != std::string_view::npos) {
            const std::string_view name = trimmed(inner.substr(0, equals));
            span.name = name.substr(name.find_last_of(" \t\r\n)") + 1);
            if (span.name.empty()) {
                span.name = trimmed(name.substr(0, name.find('('))); // a comment follows it
            }
            span.value = trimmed(inner.substr(equals + 1));
            take(span);
        }
        begin = span.end + 1;
    }
}

std::string_view baseName(std::string_view name) { return name.substr(0, name.find('*')); }

std::string replaceParameter(std::string_view rawValue, std::string_view name, std::string_view value,
                             std::size_t column, std::string_view lineBreak) {
    if (!isToken(name) || name.find_first_of("*'%") != std::string_view::npos) {
        return {};
    }
    const std::string written = writtenParameter(name, onOneLine(value));
    const std::size_t visible = rawValue.find_last_not_of(" \t\r\n");
    const std::string_view kept = rawValue.substr(0, visible == std::string_view::npos ? 0 : visible + 1);
    std::string out;
    std::size_t copied = 0;
    bool placed = false;
    eachParameter(kept, [&](const ParameterSpan& parameter) {
        if (!equalsNoCase(baseName(parameter.name), name)) {
            return;
        }
        if (placed) {
            out.append(kept.substr(copied, parameter.begin - copied));
        } else {
            const auto nameAt = static_cast<std::size_t>(parameter.name.data() - kept.data());
            out.append(kept.substr(copied, nameAt - copied)).append(written);
            placed = true;
        }
        copied = parameter.end;
    });
    out.append(kept.substr(copied));
    if (!placed) {
        const std::size_t lineStart = out.rfind('\n');
        const std::size_t used =
            lineStart == std::string::npos ? column + out.size() : out.size() - lineStart;
        if (!out.empty() && out.back() == ';') {
            out.pop_back();
        }
        out.append(";");
        out.append(used + 2 + written.size() > 76 ? lineBreak : "").append(" ").append(written);
    }
    return out;
}

} // namespace quzo::platform
