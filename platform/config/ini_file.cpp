// The reader of sections and keys. It is our own: the readers at hand cut a value at " ;" or unescape it
// (C:\new), take the last of two keys without a word, or cannot say which line is at fault.
#include "platform/config/ini_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/base/ascii.h"

namespace quzo::platform {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Reads line by line into the sections.
class Parser {
public:
    Parser(IniFile::Sections& sections, Findings& problems) : sections_(sections), problems_(problems) {}

    void readLine(std::string_view line) {
        ++line_;
        if (line.size() > IniFile::kMaxLine) {
            report("the line has more than " + std::to_string(IniFile::kMaxLine) + " bytes", "shorten it");
            return;
        }
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (hasControlsButTabs(line)) {
            report("the line has a control character or NUL in it", "take it out");
            return;
        }
        line = trimmed(line);
        if (line.empty() || line.front() == '#' || line.front() == ';') {
            return;
        }
        if (line.front() == '[') {
            openSection(line);
        } else {
            readEntry(line);
        }
    }

    void report(std::string message, std::string advice) {
        if (problems_.size() < IniFile::kMaxProblems) {
            problems_.push_back(
                {.line = line_, .where = {}, .problem = std::move(message), .remedy = std::move(advice)});
        }
    }

private:
    enum class Place : std::uint8_t {
        Outside, // before the first section
        Inside,
        Lost, // below a section header that could not be read, which has been reported
    };

    void openSection(std::string_view line) {
        place_ = Place::Lost;
        const std::string_view name = trimmed(line.substr(1, line.size() - 2));
        if (line.back() != ']' || name.empty() || name.find_first_of("[]") != std::string_view::npos) {
            report("the section header is not complete", "write [name] and nothing else");
            return;
        }
        auto& opened = sections_[std::string(name)];
        if (opened.line == 0) {
            opened.line = line_;
        }
        section_ = &opened.entries;
        place_ = Place::Inside;
    }

    void readEntry(std::string_view line) {
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            report("this line is neither a section, nor a key with a value, nor a comment",
                   "write key = value, or begin the line with #");
            return;
        }
        const std::string_view key = trimmed(line.substr(0, equals));
        if (key.empty()) {
            report("there is no key before the '='", "write key = value");
            return;
        }
        if (place_ == Place::Outside) {
            report("the key" + faultName(key) + " stands before any section", "write [section] above it");
        }
        if (place_ != Place::Inside) {
            return;
        }
        const auto [entry, added] = section_->emplace(
            std::string(key), IniFile::Entry{std::string(trimmed(line.substr(equals + 1))), line_});
        if (!added) {
            report("the key" + faultName(key) + " is given again in its section",
                   "keep this line or line " + std::to_string(entry->second.line));
        }
    }

    IniFile::Sections& sections_;
    Findings& problems_;
    std::size_t line_ = 0;
    Place place_ = Place::Outside;
    IniFile::Section* section_ = nullptr; // when inside one
};

struct CloseFile {
    void operator()(std::FILE* file) const noexcept {
        std::fclose(file); // NOLINT(cppcoreguidelines-owning-memory): this is the owner; only read from
    }
};

} // namespace

std::string faultName(std::string_view name) {
    constexpr std::size_t kMost = 64; // bytes
    const bool plain = std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
               c == '-' || c == '.';
    });
    return plain && !name.empty() && name.size() <= kMost ? " '" + std::string(name) + "'" : "";
}

bool IniFile::parse(std::string_view text, Findings& problems) {
    sections_.clear();
    problems.clear();
    Parser parser(sections_, problems);
    if (text.size() > kMaxBytes) {
        parser.report("the file has more than " + std::to_string(kMaxBytes) + " bytes", "shorten it");
        return false;
    }
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        text.remove_prefix(kByteOrderMark.size());
    }
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        parser.readLine(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return problems.empty();
}

bool IniFile::load(const std::string& path, Findings& problems) {
    sections_.clear();
    problems.clear();
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rbe"));
    std::string text;
    if (file != nullptr) {
        // Piece by piece: files are short, and room for the longest would cost more than all the rest.
        std::array<char, 16384> piece; // NOLINT(cppcoreguidelines-pro-type-member-init): fread fills it
        for (std::size_t got = 1; got != 0 && text.size() <= kMaxBytes;) {
            got =
                std::fread(piece.data(), 1, std::min(piece.size(), kMaxBytes + 1 - text.size()), file.get());
            text.append(piece.data(), got);
        }
    }
    if (file == nullptr || std::ferror(file.get()) != 0) {
        const int number = errno;
        std::string reason(std::strerror(number)); // NOLINT(concurrency-mt-unsafe): glibc's is per thread
        problems.push_back({.where = {},
                            .problem = "the file cannot be read (" + reason + ")",
                            .remedy = "check its name and permissions"});
        return false;
    }
    return parse(text, problems);
}

const IniFile::Entry* IniFile::find(std::string_view section, std::string_view key) const {
    const auto inSection = sections_.find(section);
    if (inSection == sections_.end()) {
        return nullptr;
    }
    const auto entry = inSection->second.entries.find(key);
    return entry == inSection->second.entries.end() ? nullptr : &entry->second;
}

} // namespace quzo::platform
