// Bodies on their way in and out, larger than what goes at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "host/gateway/installation.h"
#include "host/milter/delivered_mail.h"
#include "host/milter/growing_text.h"
#include "tests/cli/program.h"

namespace quzo::host::test {
namespace {

TEST(GrowingText, GivesWhatItTook) {
    for (const std::size_t expected : {0, 100, 3 << 20}) {
        SCOPED_TRACE(expected);
        GrowingText text;
        text.reserve(expected);
        std::string wanted;
        for (const std::size_t size : {0, 1, 65535, 1 << 20, 5, 4 << 20, 0, 77}) {
            const std::string piece(size, static_cast<char>('a' + wanted.size() % 23));
            text.append(piece);
            wanted += piece;
            EXPECT_EQ(text.size(), wanted.size());
        }
        EXPECT_TRUE(text.take() == wanted);
    }
    EXPECT_EQ(GrowingText().take(), "");
}

class BodyEditor final : public MailEditor {
public:
    bool editHeader(const HeaderEdit& /*edit*/) override { return true; }
    bool replaceBody(std::string_view piece) override {
        pieces.emplace_back(piece);
        return pieces.size() != refused;
    }
    bool changeSender(const std::string& /*address*/) override { return true; }
    bool addRecipient(const std::string& /*address*/) override { return true; }
    bool removeRecipient(const std::string& /*received*/) override { return true; }

    std::vector<std::string> pieces;
    std::size_t refused = 0; // the call of this number
};

// A message whose policy has taken the parts out that are between the texts.
MessageResult stripped(const std::string& header, const std::string& body) {
    quzo::test::TemporaryDirectory dir;
    dir.write("p.toml",
              "[[rule]]\nid = 1\nname = \"n\"\nwhen = { always = true }\n"
              "actions = [{ type = \"delete-attachment\" , all = true }]\n");
    Installation installation;
    EXPECT_TRUE(installation.open({.iniFile = {}, .policyFile = dir.path("p.toml")}));
    MessageJob job;
    job.bytes = header + body;
    return passMessage(*installation.snapshot(), nullptr, std::move(job));
}

TEST(SendBody, TakesAsFewPiecesAsTheProtocolAllows) {
    constexpr std::size_t kMost = 65535;
    const std::string header = "Subject: s\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n";
    const std::string file = "--b\r\nContent-Disposition: attachment; filename=f\r\n\r\nABC\r\n";
    for (const std::size_t lines : {1U, 3000U, 30000U}) {
        SCOPED_TRACE(lines);
        std::string body;
        for (int part = 0; part < 4; ++part) {
            body += "--b\r\n\r\n";
            for (std::size_t line = 0; line < lines; ++line) {
                body += "line " + std::to_string(line) + "\r\n";
            }
            body += file;
        }
        const MessageResult result = stripped(header, body + "--b--\r\n");
        std::string wanted;
        result.write([&](std::string_view piece) {
            wanted += piece;
            return true;
        });
        ASSERT_LT(wanted.size(), header.size() + body.size());
        wanted.erase(0, header.size());
        BodyEditor editor;
        EXPECT_TRUE(sendBody(result, header.size(), editor));
        std::string got;
        for (const std::string& piece : editor.pieces) {
            EXPECT_LE(piece.size(), kMost);
            got += piece;
        }
        EXPECT_TRUE(got == wanted);
        EXPECT_EQ(editor.pieces.size(), (wanted.size() + kMost - 1) / kMost);
        for (const std::size_t call : {std::size_t{1}, editor.pieces.size()}) {
            BodyEditor refusing;
            refusing.refused = call;
            EXPECT_FALSE(sendBody(result, header.size(), refusing));
            EXPECT_EQ(refusing.pieces.size(), call) << "nothing is sent after a refusal";
        }
    }
}

} // namespace
} // namespace quzo::host::test
