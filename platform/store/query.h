// One statement with its parameters and columns bound, sent in one go. Values never become part of the text.
#pragma once

#include <soci/soci.h>

#include <deque>
#include <string>

namespace quzo::platform {

// Parameters are bound in the order of their place in the text, each under a name of its own. What use() and
// into() are given must outlive the query. Throws what SOCI throws.
class Query {
public:
    Query(soci::session& session, std::string text) : statement_(session), text_(std::move(text)) {}
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    Query& use(const std::string& value) {
        statement_.exchange(soci::use(value));
        return *this;
    }
    Query& use(std::string&&) = delete;
    Query& use(long long value) {
        numbers_.push_back(value);
        statement_.exchange(soci::use(numbers_.back()));
        return *this;
    }

    template <typename T>
    Query& into(T& column) {
        statement_.exchange(soci::into(column));
        hasColumns_ = true;
        return *this;
    }

    Query& run() {
        statement_.alloc();
        statement_.prepare(text_, soci::details::st_one_time_query);
        statement_.define_and_bind();
        statement_.execute(!hasColumns_); // rows are fetched one by one; without any, there is only this
        return *this;
    }

    // Fills the columns with the next row; false when there is none left. Not without columns.
    bool next() { return statement_.fetch(); }

    // Runs a statement for what it does; a row that it returns is put into the columns.
    void change() {
        run();
        while (hasColumns_ && next()) {
        }
    }

private:
    std::deque<long long> numbers_; // stays in place while it grows
    soci::statement statement_;
    std::string text_;
    bool hasColumns_ = false;
};

} // namespace quzo::platform
