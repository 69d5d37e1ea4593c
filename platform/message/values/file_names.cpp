// File names, all of them. See file_names.h.
//
// GMime decodes: percent encoding, continuations, charsets, encoded words in quotes. Left alone with a field
// it picks one of several forms of a name, so each form is handed to it separately.
#include "platform/message/values/file_names.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <string_view>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/charset/encoded_words.h"
#include "platform/message/values/field_text.h"
#include "platform/message/values/gmime_objects.h"
#include "platform/message/values/parameters.h"
#include "platform/message/values/readable_text.h"

namespace quzo::platform {
namespace {

class NameCollector {
public:
    NameCollector() = default;
    NameCollector(const NameCollector&) = delete;
    NameCollector& operator=(const NameCollector&) = delete;

    // `parameters` holds all parts of one form of one name: "name=value", or "name*0=a; name*1=b".
    void read(const std::string& parameters) {
        const GObjectHandle<GMimeParamList> list(g_mime_param_list_parse(nullptr, parameters.c_str()));
        if (!list || g_mime_param_list_length(list.get()) == 0) {
            return;
        }
        const char* value = g_mime_param_get_value(g_mime_param_list_get_parameter_at(list.get(), 0));
        add(value == nullptr ? "" : value);
    }

    // Before the names of a field that may hold NUL.
    void expectNul(bool expected) { hasNul_ = expected; }

    // A value as it stands, and as those show it who decode encoded words in it.
    void add(std::string_view value) {
        addText(readableText(value, "utf-8"));
        addWords(value);
    }

    // Only what encoded words in the value say.
    void addWords(std::string_view value) {
        if (value.find("=?") != std::string_view::npos) {
            const DecodedValue decoded = decodeWords(value);
            hasNul_ = hasNul_ || decoded.bytes.find('\0') != std::string::npos;
            addText(readableText(decoded.bytes, decoded.charset.empty() ? "utf-8" : decoded.charset));
        }
    }

    std::vector<std::string> take() {
        seen_.clear();
        return std::move(names_);
    }

private:
    // A name with a NUL, which has become U+FFFD, ends there for many, and others leave the NUL out.
    void addText(const std::string& name) {
        constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
        addOnce(name);
        const std::size_t first = hasNul_ ? name.find(kReplacement) : std::string::npos;
        if (first == std::string::npos) {
            return;
        }
        addOnce(name.substr(0, first));
        std::string without = name.substr(0, first);
        for (std::size_t at = first; at < name.size();) {
            const std::size_t next = std::min(name.find(kReplacement, at), name.size());
            without.append(name, at, next - at);
            at = next + kReplacement.size();
        }
        addOnce(std::move(without));
    }

    void addOnce(std::string name) {
        if (name.empty()) {
            return;
        }
        names_.push_back(std::move(name));
        if (!seen_.insert(names_.size() - 1).second) {
            names_.pop_back();
        }
    }

    struct Before {
        const std::vector<std::string>* names;
        bool operator()(std::size_t a, std::size_t b) const { return (*names)[a] < (*names)[b]; }
    };

    bool hasNul_ = false;
    std::vector<std::string> names_;
    std::set<std::size_t, Before> seen_{Before{&names_}}; // places in names_
};

// A quoted string that its writer left open, closed.
std::string closed(std::string_view value) {
    std::string out(value);
    if (value.empty() || value.front() != '"') {
        return out;
    }
    for (std::size_t at = 1; at < value.size(); ++at) {
        if (value[at] == '\\') {
            ++at;
        } else if (value[at] == '"') {
            return out;
        }
    }
    while (out.back() == '\\') {
        out.pop_back();
    }
    return out + '"';
}

std::string_view withoutQuotes(std::string_view value) {
    value.remove_prefix(value.starts_with('"') ? 1 : 0);
    value.remove_suffix(value.ends_with('"') ? 1 : 0);
    return value;
}

// The names in one field's value, in one reading of it.
void collectNames(std::string_view value, ParameterReading reading, std::string_view wanted,
                  NameCollector& names) {
    std::string sections;
    eachParameter(value, reading, [&](const ParameterSpan& parameter) {
        if (!equalsNoCase(baseName(parameter.name), wanted)) {
            return;
        }
        const std::string prefix = std::string(parameter.name).append("=");
        const std::string written = prefix + closed(parameter.value);
        const std::size_t star = parameter.name.find('*');
        const bool isSection = star != std::string_view::npos && star + 1 < parameter.name.size();
        if (isSection) {
            sections.append(sections.empty() ? "" : "; ").append(written);
        } else {
            names.read(written);
            names.addWords(withoutQuotes(parameter.value)); // GMime's strings end at a NUL
            if (written.size() != prefix.size() + parameter.value.size()) {
                // Some readers end a quote that was left open at the next separator.
                names.read(prefix + closed(parameter.value.substr(0, parameter.value.find(';'))));
            }
        }
    });
    if (!sections.empty()) {
        names.read(sections);
    }
}

} // namespace

std::vector<std::string> fileNamesOf(const std::vector<std::string_view>& dispositions,
                                     const std::vector<std::string_view>& contentTypes) {
    startGMime();
    NameCollector names;
    const auto collect = [&names](std::string_view rawValue, const char* first, const char* second) {
        names.expectNul(rawValue.find('\0') != std::string_view::npos);
        const std::string value = onOneLine(readableText(rawValue, {})); // names in raw 8-bit text occur
        for (const ParameterReading reading : parameterReadings(value)) {
            collectNames(value, reading, first, names);
            collectNames(value, reading, second, names);
        }
    };
    for (const std::string_view value : dispositions) {
        collect(value, "filename", "name");
    }
    for (const std::string_view value : contentTypes) {
        collect(value, "name", "filename");
    }
    return names.take();
}

} // namespace quzo::platform
