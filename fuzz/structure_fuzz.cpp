// The structure scan against GMime: the same tree, fields and offsets, or a difference that has a name.
#include <gmime/gmime.h>

#include "fuzz_input.h"
#include "tests/message/gmime_compare.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool ready = [] {
        setenv("G_SLICE", "always-malloc", 1);
        g_mime_init();
        return true;
    }();
    quzo::fuzz::require(ready, "start-up");
    const auto comparison = quzo::platform::test::compareWithGmime(quzo::fuzz::textOf(data, size));
    if (!comparison.unexplained.empty()) {
        quzo::fuzz::finding(comparison.unexplained.front().c_str());
    }
    return 0;
}
