// All readings of a boundary. See boundary_readings.h.
#include "platform/message/values/boundary_readings.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/base/hex.h"
#include "platform/message/structure/content_type.h"
#include "platform/message/structure/structure_lines.h"
#include "platform/message/values/parameters.h"

namespace quzo::platform {
namespace {

struct Section {
    std::uint32_t number = 0;
    bool encoded = false;
    std::string_view value;
};

// What stands between quotes; what has none comes back whole.
std::string_view withoutQuotes(std::string_view value) {
    if (!value.starts_with('"')) {
        return value;
    }
    value.remove_prefix(1);
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] == '\\') {
            ++at;
        } else if (value[at] == '"') {
            return value.substr(0, at);
        }
    }
    return value;
}

std::string withoutBackslashes(std::string_view value) {
    std::string out;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] == '\\' && at + 1 < value.size()) {
            ++at;
        }
        out += value[at];
    }
    return out;
}

std::string withoutPercents(std::string_view value) {
    std::string out;
    for (std::size_t at = 0; at < value.size(); ++at) {
        const int high = at + 2 < value.size() && value[at] == '%' ? hexDigit(value[at + 1]) : -1;
        const int low = high < 0 ? -1 : hexDigit(value[at + 2]);
        out += low < 0 ? value[at] : static_cast<char>(high * 16 + low);
        at += low < 0 ? 0 : 2;
    }
    return out;
}

// What follows charset'language'; what has none comes back whole.
std::string_view withoutCharset(std::string_view value) {
    const std::size_t first = value.find('\'');
    const std::size_t second = first == std::string_view::npos ? first : value.find('\'', first + 1);
    return second == std::string_view::npos ? value : value.substr(second + 1);
}

class Collector {
public:
    void take(const ParameterSpan& parameter) {
        if (!equalsNoCase(baseName(parameter.name), "boundary")) {
            return;
        }
        const std::string_view form = parameter.name.substr(baseName(parameter.name).size());
        const bool numbered = form.size() > 1 && form[1] >= '0' && form[1] <= '9';
        if (numbered && sections_.size() == kMaxSections) {
            result_.more = true;
        } else if (numbered) {
            sections_.push_back({sectionNumber(form.substr(1)), form.ends_with('*'), parameter.value});
        }
        addForms(parameter.value);
    }

    void finishSections() {
        std::stable_sort(sections_.begin(), sections_.end(),
                         [](const Section& a, const Section& b) { return a.number < b.number; });
        std::string raw;
        std::string asMarked;
        for (const Section& section : sections_) {
            std::string_view value = withoutQuotes(section.value);
            raw += value;
            value = &section == &sections_.front() && section.encoded ? withoutCharset(value) : value;
            asMarked += section.encoded ? withoutPercents(value) : withoutBackslashes(value);
        }
        sections_.clear();
        add(asMarked);
        add(raw);
        add(withoutPercents(raw));
        add(withoutPercents(withoutCharset(raw)));
    }

    BoundaryReadings result() { return std::move(result_); }

private:
    static constexpr std::size_t kMaxSections = 1000;

    static std::uint32_t sectionNumber(std::string_view digits) {
        constexpr std::uint32_t kTooMany = 100000000;
        std::uint32_t number = 0;
        for (const char c : digits) {
            if (c < '0' || c > '9' || number >= kTooMany) {
                break;
            }
            number = number * 10 + static_cast<std::uint32_t>(c - '0');
        }
        return number;
    }

    void addForms(std::string_view value) {
        const std::string_view inner = withoutQuotes(value);
        add(inner);
        add(withoutBackslashes(inner));
        if (value.starts_with('"')) {
            add(value.substr(1, value.find('"', 1) - 1)); // a backslash protects no quote
        } else {
            add(value.substr(0, value.find('(')));
            add(value.substr(0, value.find_first_of(" \t")));
        }
        add(withoutPercents(withoutCharset(inner)));
    }

    void add(std::string_view label) {
        addOnce(label.substr(0, label.find_last_not_of(" \t") + 1));
        addOnce(label);
    }

    void addOnce(std::string_view label) {
        if (label.empty() ||
            std::find(result_.labels.begin(), result_.labels.end(), label) != result_.labels.end()) {
            return;
        }
        if (result_.labels.size() == BoundaryReadings::kMax) {
            result_.more = true;
            return;
        }
        result_.labels.emplace_back(label);
    }

    std::vector<Section> sections_;
    BoundaryReadings result_;
};

std::string_view withoutLineBreak(std::string_view line) {
    return line.substr(0, line.find_last_not_of("\r\n") + 1);
}

// Calls `take` with where each line that begins with "--" starts and what it holds.
template <typename Take>
void eachDashLine(std::string_view content, Take take) {
    for (std::size_t line = findDashLine(content, 0, content.size()); line != std::string_view::npos;) {
        const std::size_t next = findLineEnd(content, line, content.size());
        take(line, withoutLineBreak(content.substr(line, next - line)));
        line = findDashLine(content, next, content.size());
    }
}

} // namespace

std::vector<std::size_t> labelsInUse(std::string_view content, const std::vector<std::string>& labels) {
    std::vector<bool> used(labels.size(), false);
    eachDashLine(content, [&](std::size_t /*begin*/, std::string_view line) {
        line.remove_prefix(2);
        const std::string_view trimmedLine = line.substr(0, line.find_last_not_of(" \t") + 1);
        for (std::size_t i = 0; i < labels.size(); ++i) {
            used[i] = used[i] || labels[i] == line || labels[i] == trimmedLine;
        }
    });
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        if (used[i]) {
            places.push_back(i);
        }
    }
    return places;
}

ExactBoundary withExactBoundary(std::string_view content, std::string_view label) {
    constexpr int kMostTries = 8;
    ExactBoundary result;
    std::string fresh = "exact";
    for (int i = 0; content.find(fresh) != std::string_view::npos; ++i) {
        if (i == kMostTries) {
            return result;
        }
        fresh += "=" + std::to_string(i);
    }
    const std::string delimiter = std::string("--").append(label);
    std::size_t copied = 0;
    eachDashLine(content, [&](std::size_t begin, std::string_view line) {
        const bool close = line.size() == delimiter.size() + 2 && line.ends_with("--");
        if (line.starts_with(delimiter) && (line.size() == delimiter.size() || close)) {
            result.content.append(content.substr(copied, begin - copied)).append("--").append(fresh);
            result.content.append(close ? "--" : "");
            copied = begin + line.size();
        }
    });
    result.content.append(content.substr(copied));
    result.label = std::move(fresh);
    return result;
}

BoundaryReadings boundaryReadings(std::string_view parameters) {
    std::string value;
    value.reserve(parameters.size());
    std::copy_if(parameters.begin(), parameters.end(), std::back_inserter(value),
                 [](char c) { return c != '\r' && c != '\n'; });
    Collector collector;
    for (const ParameterReading reading : parameterReadings(value)) {
        eachParameter(value, reading, [&](const ParameterSpan& parameter) { collector.take(parameter); });
        collector.finishSections();
    }
    return collector.result();
}

} // namespace quzo::platform
