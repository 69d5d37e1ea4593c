// Which messages nobody should answer.
#include "host/scan/automatic_message.h"

#include <gtest/gtest.h>

#include <string>

namespace quzo::host {
namespace {

TEST(AutomaticMessage, IsToldByItsSenderAndHeader) {
    struct Row {
        const char* header;
        const char* sign;
        const char* sender = "a@x";
    };
    const Row rows[] = {
        {"Subject: hello", ""},
        {"Subject: hello", "its null sender", ""},
        {"Return-Path: <>", "Return-Path"},
        {"Return-Path:  < >\n ", "Return-Path"},
        {"Return-Path: <a@x>", ""},
        {"Auto-Submitted: no", ""},
        {"auto-submitted: NO (by hand)", ""},
        {"Auto-Submitted: no;x=y", ""},
        {"Auto-Submitted: auto-replied; owner-email=a@x", "Auto-Submitted"},
        {"Auto-Submitted:\n auto-generated", "Auto-Submitted"},
        {"Auto-Submitted: not-really", "Auto-Submitted"},
        {"Auto-Submitted: no\nAuto-Submitted: auto-generated", "Auto-Submitted"},
        {"Auto-Submitted:", "Auto-Submitted"},
        {"Precedence: bulk", "Precedence"},
        {"Precedence: Junk (sorry)", "Precedence"},
        {"Precedence: list", "Precedence"},
        {"Precedence: first-class", ""},
        {"Precedence: special-delivery bulk", ""},
        {"Subject: Precedence: bulk", ""},
        {"List-Id: <l.example.com>", "List-Id"},
        {"List-Unsubscribe: <mailto:u@x>", "List-Unsubscribe"},
        {"X-Auto-Response-Suppress: All", "X-Auto-Response-Suppress"},
        {"X-Auto-Response-Suppress: DR, OOF,\n autoreply", "X-Auto-Response-Suppress"},
        {"X-Auto-Response-Suppress: None", ""},
        {"X-Auto-Response-Suppress: DR, RN", ""},
    };
    for (const Row& row : rows) {
        const std::string message = std::string(row.header) + "\n\nAuto-Submitted: auto-replied\n";
        EXPECT_EQ(signOfAutomatic(row.sender, ReceivedHeader(message, {})), row.sign) << row.header;
    }
}

} // namespace
} // namespace quzo::host
