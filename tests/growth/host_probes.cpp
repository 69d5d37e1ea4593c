// Globs, and the addresses of an envelope.
#include "host/policy/glob.h"
#include "host/scan/envelope.h"
#include "tests/growth/probe.h"

namespace quzo::test {

std::vector<Probe> hostProbes() {
    std::vector<Probe> probes = {{"a glob of many runs", 20000,
                                  [](std::size_t count) { return std::string(count, 'a') + "b"; },
                                  [](const std::string& text) {
                                      static const host::Glob glob("*a*a*a*a*a*a*a*a*a*a*ab*c");
                                      return !glob.matches(text) && glob.matches(text + "c");
                                  }}};
    for (const char* entry : {"a ,", "a@b, ", "a:", "(", "N <a@b>,", "\"a\" ", "<a:", "\\\"(a",
                              "<@a,@b:", "(a) b c,", "a\r\n ,"}) {
        probes.push_back({std::string("addresses in ") + entry, 2000,
                          [entry](std::size_t count) { return repeated(entry, count); },
                          [](const std::string& list) {
                              return host::eachAddress(list, [](const std::string&) { return true; });
                          }});
    }
    return probes;
}

} // namespace quzo::test
