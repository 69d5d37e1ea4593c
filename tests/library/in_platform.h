// Telling what the recording platform allocates for itself from what the library allocates.
#pragma once

namespace quzo::test {

// Alive while the thread is inside an operation of the recording platform.
class InPlatform {
public:
    InPlatform() { ++depth(); }
    ~InPlatform() { --depth(); }
    InPlatform(const InPlatform&) = delete;
    InPlatform& operator=(const InPlatform&) = delete;

    static bool here() { return depth() != 0; }

private:
    static int& depth() {
        thread_local int value = 0;
        return value;
    }
};

} // namespace quzo::test
