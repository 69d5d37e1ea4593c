// The converter under arbitrary bytes and several threads; tests/growth has long texts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "conversion.h"
#include "platform/base/utf8.h"
#include "platform/charset/converter.h"

namespace {

using quzo::platform::decodeLeniently;
using quzo::platform::isUtf8;
using quzo::platform::Unmappable;

// Any bytes at all, at any limit: an error, or text of the target charset within the limit.
TEST(Converter, SurvivesAnyBytes) {
    const std::vector<const char*> names = {
        "utf-8",       "utf-16",      "utf-16be", "utf-32",    "utf-7",           "iso-2022-jp",
        "iso-2022-kr", "iso-2022-cn", "hz",       "shift_jis", "euc-jp",          "big5",
        "big5-hkscs",  "gb2312",      "gbk",      "gb18030",   "euc-kr",          "iso-8859-11",
        "iso-8859-1",  "scsu",        "ibm037",   "us-ascii",  "iso-10646-ucs-2", "ibm850"};
    std::mt19937 random(11);
    std::size_t converted = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string bytes;
        for (auto length = random() % 40; length > 0; --length) {
            // Mostly what shift sequences are made of.
            bytes +=
                random() % 3 == 0 ? "\x1B$()~{}+-BJI@"[random() % 13] : static_cast<char>(random() % 256);
        }
        const char* from = names[random() % names.size()];
        const char* to = names[random() % names.size()];
        const std::size_t limit = random() % 2 == 0 ? random() % 60 : std::string::npos;
        const auto mode = random() % 2 == 0 ? Unmappable::Fail : Unmappable::Substitute;
        const Result there = run(bytes, from, to, mode, limit);
        ASSERT_LE(there.out.size(), limit) << from << " to " << to;
        if (there.error == 0) {
            ++converted;
            ASSERT_EQ(run(there.out, to, "utf-8").error, 0)
                << testing::PrintToString(bytes) << " " << from << " to " << to << " at " << limit;
        }
        std::string out;
        ASSERT_EQ(decodeLeniently(bytes, from, out, limit), 0);
        ASSERT_TRUE(isUtf8(out) && out.size() <= limit) << from;
    }
    EXPECT_GT(converted, 2000U);
}

// More names than a thread keeps converters for, on several threads at once.
TEST(Converter, KeepsItsConvertersPerThread) {
    const std::vector<const char*> names = {
        "iso-8859-2",   "iso-8859-3",   "iso-8859-4",   "iso-8859-5",   "iso-8859-6",   "iso-8859-7",
        "iso-8859-8",   "iso-8859-9",   "iso-8859-10",  "iso-8859-13",  "iso-8859-14",  "iso-8859-15",
        "windows-1250", "windows-1251", "windows-1252", "windows-1253", "windows-1254", "windows-1255",
        "windows-1256", "windows-1257", "windows-1258", "koi8-r",       "koi8-u",       "ibm850",
        "ibm852",       "ibm855",       "ibm866",       "big5",         "big5-hkscs",   "euc-jp",
        "euc-kr",       "gb2312",       "gbk",          "gb18030",      "shift_jis",    "iso-2022-jp",
        "iso-2022-kr",  "utf-16",       "utf-7",        "tis-620"};
    std::vector<int> failures(4);
    std::vector<std::thread> threads;
    threads.reserve(failures.size());
    for (std::size_t t = 0; t < failures.size(); ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t i = 0; i < 400; ++i) {
                const char* name = names[(i * (t + 3)) % names.size()];
                const Result there = run("quick x12", "utf-8", name);
                failures[t] += there.error != 0 || run(there.out, name, "utf-8").out != "quick x12" ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(failures, testing::Each(0));
}

} // namespace
