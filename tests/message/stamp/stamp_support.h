// Messages and stamps for the tests of this area.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"
#include "tests/message/messages.h"

namespace quzo::platform::test {

struct Ask {
    int position = 2;
    const char* charset = "utf-8";
    bool once = false;
};

inline int stamp(MailMessage& message, const std::string& text, const Ask& ask = {}) {
    const LocatorHandle locator(KvMsg_CreateResourceLocator(text.data(), 1, text.size(), text.size(), 1));
    message.setStampOnce(ask.once);
    return message.insertStamp(ask.position, locator.get(), 20, "utf-8", ask.charset);
}

// With our own boundary as "NEW".
inline std::string stamped(const std::string& bytes, const std::string& text, const Ask& ask = {}) {
    const auto message = parsed(bytes);
    EXPECT_EQ(stamp(*message, text, ask), kErrorNone);
    return writtenWithNew(*message);
}

inline constexpr Ask kFirst{1, "utf-8", false};
inline constexpr Ask kAny{2, nullptr, false};

inline std::string text(const std::string& type, const std::string& body, const std::string& encoding = "") {
    return "Subject: s\nMIME-Version: 1.0\nContent-Type: " + type + "\n" +
           (encoding.empty() ? "" : "Content-Transfer-Encoding: " + encoding + "\n") + "\n" + body;
}

struct Row {
    const char* what;
    std::string bytes;
    std::string stamp;
    Ask ask;
    std::string wanted;
};

inline void expectRows(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(stamped(row.bytes, row.stamp, row.ask), row.wanted);
    }
}
inline const std::string kHead = "Subject: s\nMIME-Version: 1.0\n";

inline std::string multi(const std::string& type, const std::string& boundary,
                         const std::vector<std::string>& parts) {
    std::string out = "Content-Type: multipart/" + type + "; boundary=" + boundary + "\n\n";
    for (const std::string& part : parts) {
        out.append("--").append(boundary).append("\n").append(part).append("\n");
    }
    return out + "--" + boundary + "--\n";
}

} // namespace quzo::platform::test
