// Places in both databases, and processes beside the test's.
#include "store_place.h"

#include <libpq-fe.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

#include "private_postgres.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using platform::Backend;

std::shared_ptr<sqlite3> openFile(const std::string& file) {
    sqlite3* database = nullptr;
    const int result = sqlite3_open(file.c_str(), &database);
    std::shared_ptr<sqlite3> owner(database, &sqlite3_close);
    if (result != SQLITE_OK) {
        throw std::runtime_error("cannot open " + file);
    }
    return owner;
}

class SqlitePlace : public StorePlace {
public:
    std::string connection() const override { return "sqlite3://" + file(); }

    std::string execute(const std::string& statements) override { return executeOnFile(file(), statements); }

    std::shared_ptr<void> lockOut() override {
        std::shared_ptr<sqlite3> database = openFile(file());
        sqlite3_exec(database.get(), "begin exclusive", nullptr, nullptr, nullptr);
        return database;
    }

private:
    std::string file() const { return (folder_.path() / "store.db").string(); }

    TemporaryFolder folder_;
};

class PostgresPlace : public StorePlace {
public:
    explicit PostgresPlace(PrivatePostgres& server) : server_(server) {
        static int count = 0;
        schema_ = "place" + std::to_string(++count);
        server_.execute("create schema " + schema_);
    }
    ~PostgresPlace() override {
        try {
            server_.execute("drop schema " + schema_ + " cascade",
                            "options='-c client_min_messages=warning'");
        } catch (const std::runtime_error& problem) {
            ADD_FAILURE() << problem.what();
        }
    }

    std::string connection() const override { return server_.connection() + " " + options(); }
    std::string execute(const std::string& statements) override {
        return server_.execute(statements, options());
    }

    std::shared_ptr<void> lockOut() override {
        std::shared_ptr<PGconn> session(PQconnectdb(connection().c_str()), &PQfinish);
        PQclear(PQexec(session.get(), "begin; lock table quzo_object in access exclusive mode"));
        return session;
    }

private:
    std::string options() const { return "options=-csearch_path=" + schema_; }

    PrivatePostgres& server_;
    std::string schema_;
};

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::string pattern = fs::temp_directory_path() / "quzo-store-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make " + pattern);
    }
    path_ = pattern;
    fs::permissions(path_, fs::perms(0777));
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::unique_ptr<StorePlace> StorePlace::make(Backend backend) {
    if (backend == Backend::Sqlite) {
        return std::make_unique<SqlitePlace>();
    }
    PrivatePostgres* server = PrivatePostgres::instance();
    return server == nullptr ? nullptr : std::make_unique<PostgresPlace>(*server);
}

platform::ObjectStore StorePlace::open(const std::string& author) const {
    return must(platform::ObjectStore::open(settings(author)));
}

std::string executeOnFile(const std::string& file, const std::string& statements) {
    std::string value;
    const auto keep = [](void* out, int columns, char** values, char**) {
        *static_cast<std::string*>(out) = columns > 0 && values[0] != nullptr ? values[0] : "";
        return 0;
    };
    const std::shared_ptr<sqlite3> database = openFile(file);
    if (sqlite3_exec(database.get(), statements.c_str(), keep, &value, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(database.get()));
    }
    return value;
}

pid_t startChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        _exit(work());
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "child: %s\n", problem.what());
    }
    _exit(99);
}

int inChild(const std::function<int()>& work) {
    int status = 0;
    waitpid(startChild(work), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool inChildren(int count, const std::function<int()>& work) {
    int gate[2];
    if (pipe(gate) != 0) {
        return false;
    }
    std::vector<pid_t> children;
    children.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index) {
        children.push_back(startChild([&] {
            char byte = 0;
            close(gate[1]);
            const bool opened = read(gate[0], &byte, 1) == 0; // the parent has closed its end
            return opened ? work() : 1;
        }));
    }
    close(gate[0]);
    close(gate[1]);
    bool all = true;
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        all = all && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    return all;
}

void StoreTest::SetUp() {
    place = StorePlace::make(GetParam());
    if (!place) {
        GTEST_SKIP() << "the programs of a PostgreSQL server are not installed (package postgresql-15)";
    }
}

std::string backendName(const ::testing::TestParamInfo<Backend>& info) {
    return info.param == Backend::Sqlite ? "Sqlite" : "Postgres";
}

} // namespace quzo::test
