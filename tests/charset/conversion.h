// A conversion and what came of it, to be compared.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <string>

#include "platform/charset/converter.h"

struct Result {
    int error = 0;
    std::string out;
};

inline std::ostream& operator<<(std::ostream& stream, const Result& result) {
    return stream << "error " << result.error << " " << testing::PrintToString(result.out);
}

inline bool operator==(const Result& a, const Result& b) { return a.error == b.error && a.out == b.out; }

inline Result run(const std::string& in, const char* from, const char* to,
                  quzo::platform::Unmappable mode = quzo::platform::Unmappable::Fail,
                  std::size_t maxBytes = std::string::npos) {
    Result result;
    result.error = quzo::platform::convert(in, from, to, mode, '?', result.out, maxBytes);
    if (result.error != 0) {
        result.out.clear();
    }
    return result;
}
