// Names of hosts: those of mail servers, and our own.
#include "platform/base/host_name.h"

#include <gtest/gtest.h>

namespace quzo::platform {
namespace {

TEST(HostName, TakesNamesAndAddresses) {
    std::string plain;
    for (const char* host :
         {"mx1.example.com", "localhost", "a_b.example", "10.0.0.1", "mx.example.com.", "::1"}) {
        EXPECT_TRUE(readHostName(host, plain)) << host;
        EXPECT_EQ(plain, host);
    }
    EXPECT_TRUE(readHostName("[2001:db8::1]", plain));
    EXPECT_EQ(plain, "2001:db8::1");
    EXPECT_FALSE(readHostName(std::string(64, 'a'), plain));
    EXPECT_FALSE(readHostName(std::string("a\0b", 3), plain));
    EXPECT_FALSE(readHostName(".", plain));
}

TEST(HostName, TheConfiguredOneGoesBeforeTheSystems) {
    EXPECT_EQ(ownHostName("gw.example.com"), "gw.example.com");
    EXPECT_FALSE(ownHostName({}).empty());
}

} // namespace
} // namespace quzo::platform
