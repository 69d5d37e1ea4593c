// Somewhere to keep one store: a file, or a schema of the private PostgreSQL server. And what the tests
// share.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "platform/store/connection_target.h"
#include "platform/store/object_store.h"

namespace quzo::test {

// A folder that goes with its owner; open for other users.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

// An empty place; nothing is there until a store is opened.
class StorePlace {
public:
    static std::unique_ptr<StorePlace> make(platform::Backend backend);
    virtual ~StorePlace() = default;

    virtual std::string connection() const = 0;
    // Runs statements beside the store; returns the first column of the last row. Throws std::runtime_error.
    virtual std::string execute(const std::string& statements) = 0;
    // Takes the lock of writers, until the result dies.
    virtual std::shared_ptr<void> lockOut() = 0;

    platform::StoreSettings settings(const std::string& author = "ada") const {
        return {connection(), author, 5};
    }
    platform::ObjectStore open(const std::string& author = "ada") const;
};

// Runs statements on a SQLite file; returns the first column of the last row. Throws std::runtime_error.
std::string executeOnFile(const std::string& file, const std::string& statements);

// Starts `work` in a child process, which ends with its result as exit code, with 99 when it throws, and with
// this process at the latest. The child makes no use of what the parent has open.
pid_t startChild(const std::function<int()>& work);

// Runs `work` in a child process and returns its exit code.
int inChild(const std::function<int()>& work);

// Runs `work` in several child processes at once; true when all return 0.
bool inChildren(int count, const std::function<int()>& work);

// The value of a result; a fault fails the test.
template <typename T>
T must(platform::StoreResult<T> result) {
    if (!result) {
        throw std::runtime_error("unexpected fault: " + result.fault().text);
    }
    return std::move(*result);
}

// Expects a fault of that kind whose text holds all of `parts` and is one printable line.
template <typename T>
void expectFault(const platform::StoreResult<T>& result, platform::StoreTrouble trouble,
                 std::initializer_list<const char*> parts = {}) {
    ASSERT_FALSE(result.ok());
    EXPECT_EQ(static_cast<int>(result.fault().trouble), static_cast<int>(trouble)) << result.fault().text;
    EXPECT_NE(result.fault().code(), kErrorNone);
    for (const char* part : parts) {
        EXPECT_NE(result.fault().text.find(part), std::string::npos)
            << result.fault().text << " lacks " << part;
    }
    EXPECT_EQ(result.fault().text.find_first_of("\n\r\t\x01"), std::string::npos);
    for (const char* statement : {"select ", "insert ", "update quzo", "quzo_"}) {
        EXPECT_EQ(result.fault().text.find(statement), std::string::npos) << result.fault().text;
    }
}

// The tests that hold for both databases.
class StoreTest : public ::testing::TestWithParam<platform::Backend> {
protected:
    void SetUp() override;

    std::unique_ptr<StorePlace> place;
};

std::string backendName(const ::testing::TestParamInfo<platform::Backend>& info);

#define QUZO_FOR_BOTH_DATABASES(suite)                                                                    \
    INSTANTIATE_TEST_SUITE_P(                                                                             \
        On, suite, ::testing::Values(quzo::platform::Backend::Sqlite, quzo::platform::Backend::Postgres), \
        quzo::test::backendName)

} // namespace quzo::test
