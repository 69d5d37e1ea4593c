// PostgreSQL's parameters are parsed by libpq itself and written again as a URI in which everything but
// letters and digits is percent-encoded: SOCI takes a string apart at blanks and quotation marks before libpq
// sees it, and loses escaped ones.
#include "platform/store/connection_target.h"

#include <map>
#include <memory>
#include <string_view>

#include "platform/base/utf8.h"
#include "platform/base/visible_text.h"
#include "platform/store/postgres_library.h"
#include "platform/store/store_fault.h"

namespace quzo::platform {
namespace {

using Parameters = std::map<std::string, std::string>;

constexpr std::string_view kSqlitePrefix = "sqlite3://";

[[noreturn]] void refuse(const std::string& why) {
    throw StoreFailure(StoreTrouble::BadConnection, "the connection string of the store " + why);
}

ConnectionTarget sqliteTarget(std::string path) {
    if (path.empty()) {
        refuse("names no file: write sqlite3://PATH");
    }
    if (path.find(' ') != std::string::npos && path.find('"') != std::string::npos) {
        refuse("has both blanks and quotation marks in its path: use another file name");
    }
    if (path.front() != '/') {
        path.insert(0, "./"); // "file:x" and ":memory:" are file names like others
    }
    const bool quoted = path.find(' ') != std::string::npos;
    std::string connection = quoted ? "db=\"" + path + "\"" : "db=" + path;
    // Someone who names a server by this prefix has put a password into the path.
    const std::size_t colon = path.find(':');
    const bool mayTell = colon == std::string::npos || path.find('@', colon) == std::string::npos;
    std::string label = mayTell ? visibleText(path) : "of the settings";
    return {Backend::Sqlite, std::move(path), std::move(connection), std::move(label)};
}

Parameters parsePostgres(const std::string& text) {
    char* message = nullptr; // may quote the password: not shown
    const PostgresLibrary& postgres = postgresLibrary();
    const std::unique_ptr<PQconninfoOption, decltype(postgres.conninfoFree)> options(
        postgres.conninfoParse(text.c_str(), &message), postgres.conninfoFree);
    const std::unique_ptr<char, decltype(postgres.freemem)> messageOwner(message, postgres.freemem);
    if (!options) {
        refuse(
            "is not one that PostgreSQL reads: check its form, its parameters and what must be "
            "percent-encoded");
    }
    Parameters parameters;
    for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
        if (option->val != nullptr) {
            parameters[option->keyword] = option->val;
        }
    }
    return parameters;
}

void appendEncoded(std::string& uri, std::string_view value) {
    constexpr std::string_view kHex = "0123456789ABCDEF";
    for (const char letter : value) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
                           (byte >= 'A' && byte <= 'Z') || byte == '.' || byte == '_' || byte == '-';
        if (plain) {
            uri += letter;
        } else {
            uri += '%';
            uri += kHex[byte >> 4U];
            uri += kHex[byte & 15U];
        }
    }
}

// A part of the label. One that looks like more than a name may be a piece of a password that was not
// encoded.
std::string shownPart(const std::string& value) {
    const bool telling = value.find_first_of(" '\"\\&?#%;") != std::string::npos;
    return telling ? "(not shown)" : visibleText(value);
}

// libpq itself looks at ports only when it connects.
void checkPorts(const Parameters& parameters) {
    const auto port = parameters.find("port");
    if (port != parameters.end() && port->second.find_first_not_of("0123456789,") != std::string::npos) {
        refuse("has a port that is no number");
    }
}

ConnectionTarget postgresTarget(const std::string& text) {
    Parameters parameters = parsePostgres(text);
    if (parameters["dbname"].find_first_of("=@") != std::string::npos) {
        refuse("has a database name that looks like another connection string");
    }
    if (parameters["host"].find('@') != std::string::npos) {
        refuse("has an '@' in its host: in a user or password write it as %40");
    }
    checkPorts(parameters);
    static constexpr std::pair<const char*, const char*> kDefaults[] = {
        {"connect_timeout", "10"},     // seconds
        {"tcp_user_timeout", "30000"}, // milliseconds
        {"keepalives_idle", "30"},     // seconds, as the next
        {"keepalives_interval", "10"}, {"keepalives_count", "3"}, {"fallback_application_name", "quzo"},
    };
    for (const auto& [key, value] : kDefaults) {
        parameters.try_emplace(key, value);
    }
    parameters["client_encoding"] = "UTF8";
    std::string uri = "postgresql:///";
    char separator = '?';
    for (const auto& [key, value] : parameters) {
        uri += separator;
        uri.append(key).append("=");
        appendEncoded(uri, value);
        separator = '&';
    }
    std::string label = "PostgreSQL database";
    const std::pair<const char*, const char*> parts[] = {
        {"dbname", " "}, {"host", " at "}, {"port", " port "}};
    for (const auto& [key, before] : parts) {
        if (const auto entry = parameters.find(key); entry != parameters.end() && !entry->second.empty()) {
            label.append(before).append(shownPart(entry->second));
        }
    }
    return {Backend::Postgres, {}, std::move(uri), std::move(label)};
}

} // namespace

ConnectionTarget parseConnection(const std::string& text) {
    if (text.empty()) {
        refuse("is not set: give store in section [platform], such as sqlite3:///var/lib/quzo/store.db");
    }
    if (!isUtf8(text)) {
        refuse("is not UTF-8");
    }
    for (const char letter : text) {
        if (static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F) {
            refuse("has a control character");
        }
    }
    if (text.starts_with(kSqlitePrefix)) {
        return sqliteTarget(text.substr(kSqlitePrefix.size()));
    }
    const bool uri = text.starts_with("postgresql://") || text.starts_with("postgres://");
    if (!uri && (text.find("://") < text.find('=') || text.find('=') == std::string::npos)) {
        refuse("is of no known kind: write sqlite3://PATH or postgresql://USER@HOST/DATABASE");
    }
    return postgresTarget(text);
}

} // namespace quzo::platform
