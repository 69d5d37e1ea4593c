// The MIB file, read by Net-SNMP's snmptranslate.
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "tests/places.h"

namespace {

// What snmptranslate says with our MIB alone, faults included.
std::string translate(const std::string& arguments) {
    const std::string command = std::string("SNMPCONFPATH=/dev/null snmptranslate -Pw -m ") +
                                quzo::tests::sourceDir() + "/packaging/QUZO-MIB.txt " + arguments + " 2>&1";
    const std::unique_ptr<FILE, int (*)(FILE*)> output(::popen(command.c_str(), "r"), &::pclose);
    std::string text;
    char buffer[256];
    while (output != nullptr && ::fgets(buffer, sizeof buffer, output.get()) != nullptr) {
        text += buffer;
    }
    return text;
}

TEST(Mib, IsReadWithoutComplaintAndNamesWhatIsSent) {
    if (::access("/usr/bin/snmptranslate", X_OK) != 0) {
        GTEST_SKIP() << "snmptranslate is not installed";
    }
    EXPECT_EQ(translate("-On QUZO-MIB::quzoText.0"), ".1.3.6.1.4.1.8072.9999.9999.1.1.0\n");
    EXPECT_EQ(translate("-On QUZO-MIB::quzoNotifications.77"), ".1.3.6.1.4.1.8072.9999.9999.0.77\n");
    EXPECT_EQ(translate(".1.3.6.1.4.1.8072.9999.9999.0.6"), "QUZO-MIB::quzoNotifications.6\n");
}

} // namespace
