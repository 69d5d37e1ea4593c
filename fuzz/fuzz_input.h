// What the fuzz targets share: the signature that libFuzzer calls, and a text whose end is guarded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "quzo/core/log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace quzo::fuzz {

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// A copy of exactly its size on the heap, without a NUL behind it: AddressSanitizer sees a read past it.
class ExactCopy {
public:
    explicit ExactCopy(std::string_view text) : size_(text.size()), bytes_(new char[size_ + (size_ == 0)]) {
        text.copy(bytes_.get(), size_);
    }
    const char* data() const { return bytes_.get(); }
    unsigned size() const { return static_cast<unsigned>(size_); }

private:
    std::size_t size_;
    std::unique_ptr<char[]> bytes_;
};

// Ends the program with a message: what libFuzzer takes for a finding.
[[noreturn]] inline void finding(const char* what) {
    std::fprintf(stderr, "finding: %s\n", what);
    std::abort();
}

// Sees to it that the library's log lines are formatted, settings in them included, and drops them.
class LogLines : public ActionLog {
public:
    static void areFormatted() {
        static Dropping log;
        setLogger(&log);
    }

private:
    class Dropping : public LogMsg {
    public:
        Dropping() { level = 3; }
        void write(int, const char*, ...) override {}
    };
};

inline void require(bool holds, const char* what) {
    if (!holds) {
        finding(what);
    }
}

} // namespace quzo::fuzz
