// What operations of the library are run on: the library, started, on the recording platform.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "quzo/settings/ui_quarantine_area.h"
#include "rows.h"
#include "tests/library/fake_platform.h"

namespace quzo::test {

// Longer than what a string keeps inside itself, so that each copy of it is an allocation.
inline const std::string kLong = "a text that is longer than small strings are"; // NOLINT(cert-err58-cpp)

// A started library and what an action is handed.
struct LibraryStage {
    LibraryStage();

    void restart(); // InitActionLib with `settings`

    void forget(); // lines and calls
    bool said() const { return hasLine(1); }
    bool hasLine(int level) const;           // allocates nothing
    std::string header() const;              // of the message, as "Name=value|Name=value"
    std::string token(ScanToken code) const; // "(none)" when it is absent
    bool called(const char* begin) const;    // whether the platform was called so; allocates nothing

    // Makes the object that the row works on.
    template <typename T>
    T& make() {
        auto object = std::make_shared<T>();
        object_ = object;
        return *object;
    }
    template <typename T>
    T& object() {
        return *static_cast<T*>(object_.get());
    }

    FakeSettings settings;
    RecordingLog log;
    TokenMap<ScanToken> tokens;
    FakeMessage message;
    FakeAdapter adapter;
    FakeNamedObjects namedObjects;
    std::string text; // the row's own
    bool consumed = false;
    const char* fault = nullptr; // set by the operation: what it must never do

private:
    std::shared_ptr<void> object_;
};

using LibraryRow = Row<LibraryStage>;

} // namespace quzo::test
