// Messages for the tests of this area: writing them out, and the corpus.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/mail_message.h"
#include "quzo/core/msgu.h"
#include "tests/places.h"

namespace quzo::platform::test {

inline std::unique_ptr<MailMessage> parsed(std::string bytes, RawValues rawValues = RawValues::WithCharset) {
    return MailMessage::parse(std::move(bytes), Limits(), rawValues);
}

inline std::string written(const MailMessage& message) {
    std::string out;
    message.write([&out](std::string_view piece) {
        out.append(piece);
        return true;
    });
    return out;
}

// The same, with the first boundary of our own as "NEW".
inline std::string writtenWithNew(const MailMessage& message) {
    std::string out = written(message);
    const std::size_t first = out.find("=_");
    if (first != std::string::npos) {
        const std::string boundary = out.substr(first, out.find('"', first) - first);
        for (std::size_t at = first; at != std::string::npos; at = out.find(boundary, at)) {
            out.replace(at, boundary.size(), "NEW");
        }
    }
    return out;
}

// The messages of the corpus, in a fixed order; empty where there is none.
inline std::vector<std::string> corpusMessages() {
    const std::filesystem::path dir = std::filesystem::path(quzo::tests::corpusDir()) / "mail";
    std::vector<std::filesystem::path> paths;
    if (std::filesystem::is_directory(dir)) {
        for (const auto& entry : std::filesystem::directory_iterator(dir)) {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> messages;
    for (const auto& path : paths) {
        std::ifstream file(path, std::ios::binary);
        messages.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return messages;
}

} // namespace quzo::platform::test
