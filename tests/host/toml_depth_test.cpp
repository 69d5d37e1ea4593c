// Keys nested too deeply for the parser of TOML are found before it sees them.
#include "host/policy/toml_depth.h"

#include <gtest/gtest.h>

#include <string>

#include "host/admin/object_file.h"

namespace quzo::host {
namespace {

TEST(TomlDepth, OnlyKeysCount) {
    const struct {
        std::string text;
        unsigned line;
    } rows[] = {
        {"a.b.c = 1\n", 0},
        {"a.b.c.d = 1\n", 1},
        {"x = 1\n[ a . \"b.b.b.b\" . 'c' .d]\n", 2},
        {"# a.b.c.d\nx = \"a.b.c.d.e\\\".f\"\ny = 'a.b.c.d'\n", 0},
        {"x = \"\"\"\na.b.c.d\n\\\"\"\"\n\"\"\"\na.b.c.d = 1", 5},
        {"x = '''\na.b.c.d\n'''\n", 0},
        {"x = [1.5, 2.5, 3.5, 4.5]\n", 0},
        {"x = \"open\na.b.c.d = 1\n", 2},
        {"x = \"\"\"open a.b.c.d", 0},
        {"", 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(tooDeepLine(row.text, 3), row.line) << row.text;
    }
    std::string deep;
    for (int part = 0; part < 1000000; ++part) {
        deep += "a.";
    }
    EXPECT_EQ(readObjectFile(deep + "a = 1\n").findings.size(), 1U) << "and the program goes on";
}

} // namespace
} // namespace quzo::host
