// Reading goes through the same form as the command line, so that a file can do nothing that options cannot.
#include "host/admin/object_file.h"

#include <toml++/toml.h>

#include <algorithm>
#include <optional>

#include "host/admin/object_form.h"
#include "host/admin/toml_text.h"
#include "host/policy/stamp_html.h"
#include "host/policy/toml_depth.h"
#include "host/policy/toml_reading.h"
#include "platform/base/nearest.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

using platform::ObjectKind;

constexpr std::size_t kMostShown = 1024; // bytes: any name that the store takes
constexpr std::string_view kStoredKey = "stored";
constexpr unsigned kMaxKeyDepth = 8; // kind, name and field need three
constexpr std::string_view kKindNames[] = {"notify", "stamp", "quarantine", "archive"};

std::string valueText(const ObjectValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return tomlString(*text);
    }
    if (const auto* flag = std::get_if<bool>(&value)) {
        return *flag ? "true" : "false";
    }
    return std::to_string(std::get<std::uint32_t>(value));
}

// The keys that a table of this kind may have.
std::vector<std::string_view> knownKeys(ObjectKind kind) {
    std::vector<std::string_view> names;
    for (const ObjectField& field : objectFields(kind)) {
        names.emplace_back(field.name);
    }
    names.push_back(kStoredKey);
    return names;
}

class FileReader {
public:
    FileReader(ObjectFile& file, FaultList& faults) : file_(file), faults_(faults) {}

    void read(const toml::table& top) {
        for (const auto& [key, node] : top) {
            const auto kind = platform::objectKindNamed(key.str());
            const toml::table* objects = node.as_table();
            if (!kind) {
                faults_.error(lineOf(key), std::string(key.str()), "there is no such kind of object",
                              platform::suggestion(key.str(), kKindNames));
            } else if (objects == nullptr) {
                faults_.error(lineOf(key), std::string(key.str()), "it is " + kindOf(node),
                              "begin each object with [" + std::string(key.str()) + ".NAME]");
            } else {
                readKind(*kind, *objects);
            }
        }
        const auto byLine = [](const auto& a, const auto& b) { return a.line < b.line; };
        std::stable_sort(file_.objects.begin(), file_.objects.end(), byLine);
    }

private:
    void readKind(ObjectKind kind, const toml::table& objects) {
        const std::string kindName = platform::objectKindName(kind);
        for (const auto& [key, node] : objects) {
            if (const toml::table* table = node.as_table()) {
                readObject(kind, std::string(key.str()), *table, lineOf(key));
            } else {
                faults_.error(lineOf(key), joined(kindName, key.str()), "it is " + kindOf(node),
                              "begin each object with [" + kindName + ".NAME]");
            }
        }
    }

    void readObject(ObjectKind kind, const std::string& name, const toml::table& table, unsigned line) {
        const TableAt at{table, shownObject(kind, name)};
        reportUnknownKeys(at, knownKeys(kind), faults_);
        FileObject object{kind, name, {}, line};
        const bool done = table.contains(kStoredKey) ? readStored(at, object) : readFields(at, object);
        if (done) {
            file_.objects.push_back(std::move(object));
        }
    }

    bool readStored(const TableAt& at, FileObject& object) {
        const toml::node& node = *at.table.get(kStoredKey);
        const std::optional<std::string> text = readText(at, kStoredKey, faults_);
        if (!text) {
            return false;
        }
        const std::string where = joined(at.where, kStoredKey);
        if (at.table.size() > 1) {
            faults_.error(lineOf(node), where, "fields are given as well", "give one or the other");
            return false;
        }
        const std::optional<ObjectForm> form =
            text->find('\0') == std::string::npos ? ObjectForm::read(object.kind, *text) : std::nullopt;
        if (!form) {
            faults_.error(lineOf(node), where, "this stored text cannot be read",
                          "give the fields in its place");
            return false;
        }
        const std::optional<std::string> html = htmlOfStamp(form->object());
        if (const auto fault = html ? faultOfStampHtml(*html) : std::nullopt) {
            faults_.error(lineOf(node), where, "its html: " + fault->problem, fault->remedy);
            return false;
        }
        object.content = *text;
        return true;
    }

    bool readFields(const TableAt& at, FileObject& object) {
        ObjectValues values;
        bool good = true;
        for (const ObjectField& field : objectFields(object.kind)) {
            if (at.table.contains(field.name)) {
                std::optional<ObjectValue> value = readField(at, field);
                good = good && value;
                if (value) {
                    values.emplace_back(field.name, *std::move(value));
                }
            }
        }
        ObjectForm form(object.kind);
        std::optional<platform::Finding> fault = good ? form.set(values) : std::nullopt;
        if (good && !fault) {
            fault = form.write(object.content);
        }
        if (fault) {
            const toml::node* node = at.table.get(fault->where);
            faults_.error(lineOf(node != nullptr ? *node : at.table), joined(at.where, fault->where),
                          fault->problem, fault->remedy);
        }
        return good && !fault;
    }

    std::optional<ObjectValue> readField(const TableAt& at, const ObjectField& field) {
        const auto wrap = [](auto value) {
            return value ? std::optional<ObjectValue>(*std::move(value)) : std::nullopt;
        };
        switch (field.type) {
            case ObjectField::Type::Flag:
                return wrap(readFlag(at, field.name, faults_));
            case ObjectField::Type::Number:
                break;
            default:
                return wrap(readText(at, field.name, faults_));
        }
        const std::optional<std::int64_t> number = readNumber(at, field.name, faults_);
        if (!number) {
            return std::nullopt;
        }
        platform::Finding fault;
        std::optional<ObjectValue> value = parseObjectValue(field, std::to_string(*number), fault);
        if (!value) {
            faults_.error(lineOf(*at.table.get(field.name)), joined(at.where, field.name), fault.problem,
                          fault.remedy);
        }
        return value;
    }

    ObjectFile& file_;
    FaultList& faults_;
};

void parse(std::string_view text, ObjectFile& file, FaultList& faults) {
    if (text.size() > kMaxObjectFile) {
        faults.error(0, "", "the file is larger than " + std::to_string(kMaxObjectFile >> 20U) + " MiB",
                     "split it");
        return;
    }
    if (const unsigned line = tooDeepLine(text, kMaxKeyDepth); line != 0) {
        faults.error(line, "", "a key has too many parts", "begin each object with [KIND.NAME]");
        return;
    }
    try {
        FileReader(file, faults).read(toml::parse(text));
    } catch (const toml::parse_error& error) {
        faults.error(error.source().begin.line, "", std::string(error.description()), "correct the text");
    }
}

} // namespace

std::string shownObject(ObjectKind kind, std::string_view name) {
    return std::string(platform::objectKindName(kind)) + " " + platform::quotedText(name, kMostShown);
}

std::string objectFileHead() { return "# Named objects of quzo: read in by quzo object import.\n"; }

std::string objectTable(ObjectKind kind, const std::string& name, const std::string& content,
                        bool& readable) {
    std::string text = std::string("\n[") + platform::objectKindName(kind) + "." + tomlKey(name) + "]\n";
    const std::optional<ObjectForm> form = ObjectForm::read(kind, content);
    readable = form.has_value();
    if (!saidByFields(kind, content)) {
        return text + std::string(kStoredKey) + " = " + tomlString(content) + "\n";
    }
    for (const ObjectField& field : objectFields(kind)) {
        const ObjectValue value = form->value(field);
        if (!field.optional || value != ObjectValue(std::string())) {
            text += std::string(field.name) + " = " + valueText(value) + "\n";
        }
    }
    return text;
}

ObjectFile readObjectFile(std::string_view text) {
    ObjectFile file;
    FaultList faults(file.findings);
    parse(text, file, faults);
    std::stable_sort(file.findings.begin(), file.findings.end(),
                     [](const platform::Finding& a, const platform::Finding& b) { return a.line < b.line; });
    return file;
}

} // namespace quzo::host
