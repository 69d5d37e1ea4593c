// A folder with a policy, for tests of quzo apply.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/cli/program.h"

namespace quzo::test {

// Tags what goes to b.example, deletes what goes to gone.example, leaves the rest alone.
inline constexpr std::string_view kApplyPolicy = R"(
[[rule]]
id = 10
name = "Tag"
when = { recipient = "*@b.example" }
actions = [{ type = "tag-subject", tag = "[T] ", signed = true }, { type = "x-header", name = "X-T", value = "1" }]

[[rule]]
id = 20
name = "Gone"
when = { recipient = "*@gone.example" }
actions = [{ type = "delete" }]
)";

class ApplyFixture : public testing::Test {
protected:
    ApplyFixture() { dir_.write("p.toml", kApplyPolicy); }

    ProgramRun apply(std::vector<std::string> arguments, const Surroundings& surroundings = {}) const {
        std::vector<std::string> all = {"apply", "-p", "p.toml"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return dir_.quzo(all, surroundings);
    }

    TemporaryDirectory dir_;
};

} // namespace quzo::test
