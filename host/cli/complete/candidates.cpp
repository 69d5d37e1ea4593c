// One table tells what each placeholder of an option or argument stands for.
#include "host/cli/complete/candidates.h"

#include <algorithm>
#include <string_view>

#include "host/admin/object_field.h"
#include "host/admin/queue_desk.h"
#include "host/cli/complete/stored_names.h"
#include "host/cli/help/topics.h"
#include "host/policy/action_type.h"
#include "platform/base/visible_text.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::host {
namespace {

void addFiles(const TypedLine& /*line*/, Candidates& out) { out.files = true; }
void addFolders(const TypedLine& /*line*/, Candidates& out) { out.folders = true; }

void addKinds(const TypedLine& /*line*/, Candidates& out) {
    for (const platform::ObjectKind kind : kObjectKinds) {
        out.add(platform::objectKindName(kind));
    }
}

void addObjects(const TypedLine& line, Candidates& out) {
    if (line.command->name != "object add") { // its name is a new one
        addObjectNames(line, out);
    }
}

void addQueues(const TypedLine& line, Candidates& out) {
    for (const platform::QueueKind kind : platform::kQueueKinds) {
        if (line.command->name != "queue run" || !checkRunnable(kind)) {
            out.add(platform::queueName(kind));
        }
    }
}

void addEntries(const TypedLine& line, Candidates& out) {
    if (const auto queue = platform::queueKind(line.arguments.empty() ? "" : line.arguments.front())) {
        addEntryIds(line, *queue, out);
    }
}

void addQueuesOrEntries(const TypedLine& line, Candidates& out) {
    if (line.arguments.empty()) {
        addQueues(line, out);
        addEntryIds(line, platform::QueueKind::Outgoing, out);
    } else {
        const auto queue = platform::queueKind(line.arguments.front());
        addEntryIds(line, queue.value_or(platform::QueueKind::Outgoing), out);
    }
}

void addTypes(const TypedLine& /*line*/, Candidates& out) {
    for (const PolicyActionType& type : policyActionTypes()) {
        out.add(type.name);
    }
}

void addFields(const TypedLine& line, Candidates& out) {
    const PolicyActionType* type = findActionType(line.arguments.front());
    for (const FieldType& field : type == nullptr ? std::span<const FieldType>() : type->fields) {
        const std::string key = field.key + std::string("=");
        if (field.kind == FieldType::Kind::Flag && line.unfinished.starts_with(key)) {
            out.add(key + "true");
            out.add(key + "false");
        } else if (field.kind != FieldType::Kind::Object) { // for which a store would be needed
            out.add(key);
        }
    }
}

void addTokens(const TypedLine& /*line*/, Candidates& out) {
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        std::string name = entry->name; // with percent signs, which need not be typed
        std::erase(name, '%');
        out.add(name + "=");
    }
}

struct Source {
    std::string_view placeholder;
    void (*add)(const TypedLine& line, Candidates& out);
};

constexpr Source kSources[] = {
    {"FILE", addFiles},        {"PATH", addFiles},
    {"MESSAGE", addFiles},     {"PROGRAM", addFiles},
    {"DIR", addFolders},       {"KIND", addKinds},
    {"NAME", addObjects},      {"QUEUE", addQueues},
    {"ID", addEntries},        {"QUEUE|ID", addQueuesOrEntries},
    {"TYPE", addTypes},        {"KEY=VALUE", addFields},
    {"NAME=VALUE", addTokens}, {"NUMBER|GLOB", addRules},
};

void addFrom(std::string_view placeholder, const TypedLine& line, Candidates& out) {
    for (const Source& source : kSources) {
        if (source.placeholder == placeholder) {
            source.add(line, out);
        }
    }
}

// Words in small letters stand for themselves.
void addValues(const DescribedOption& option, const TypedLine& line, Candidates& out) {
    const std::string_view value = option.value;
    if (std::none_of(value.begin(), value.end(), [](char c) { return c >= 'a' && c <= 'z'; })) {
        addFrom(value, line, out);
        return;
    }
    for (std::size_t at = 0, end = 0; end != std::string_view::npos; at = end + 1) {
        end = value.find('|', at);
        out.add(std::string(value.substr(at, end == std::string_view::npos ? end : end - at)));
    }
}

// Whether the option gives a field that only other kinds of objects have than the one on the line.
bool isOfOtherKind(const TypedLine& line, std::string_view name) {
    const auto kind = platform::objectKindNamed(line.arguments.empty() ? "" : line.arguments.front());
    if (!kind || !line.command->name.starts_with("object ") || !name.starts_with("--")) {
        return false;
    }
    name.remove_prefix(name.starts_with("--no-") ? 5 : 2);
    name.remove_suffix(name.ends_with("-file") ? 5 : 0);
    const auto isField = [name](platform::ObjectKind each) { return findObjectField(each, name) != nullptr; };
    return !isField(*kind) && std::any_of(std::begin(kObjectKinds), std::end(kObjectKinds), isField);
}

void addOptions(const TypedLine& line, Candidates& out) {
    for (const DescribedOption& option : line.command->options) {
        if (isOfOtherKind(line, option.names.back())) {
            continue;
        }
        const bool given = std::any_of(line.options.begin(), line.options.end(),
                                       [&](const auto& each) { return each.first == &option; });
        for (const std::string& name : option.names) {
            if (!given || option.repeatable) {
                out.add(name, option.text);
            }
        }
    }
}

void addCommands(const std::vector<DescribedCommand>& commands, std::string_view name, Candidates& out) {
    for (const DescribedCommand* below : commandsBelow(commands, name)) {
        out.add(std::string(lastWordOf(*below)), below->summary);
    }
}

void addHelpWords(const std::vector<DescribedCommand>& commands, const TypedLine& line, Candidates& out) {
    std::string name;
    for (const std::string& word : line.arguments) {
        name += (name.empty() ? "" : " ") + word;
    }
    addCommands(commands, name, out);
    for (const Topic& topic : name.empty() ? topics() : std::span<const Topic>()) {
        out.add(std::string(topic.name), std::string(topic.summary));
    }
}

void addAll(const std::vector<DescribedCommand>& commands, const TypedLine& line, Candidates& out) {
    if (line.valueOf != nullptr) {
        addValues(*line.valueOf, line, out);
    } else if (!line.onlyArguments && line.before.empty() && line.unfinished.starts_with('-')) {
        addOptions(line, out);
    } else if (line.command->name == "help") {
        addHelpWords(commands, line, out);
    } else if (const DescribedArgument* argument = line.argument()) {
        addFrom(argument->name, line, out);
    }
    if (line.valueOf == nullptr && line.arguments.empty() && !line.onlyArguments) {
        addCommands(commands, line.command->name, out);
    }
}

} // namespace

Candidates candidatesFor(const std::vector<DescribedCommand>& commands, const TypedLine& line) {
    Candidates out;
    addAll(commands, line, out);
    const bool nothingElse = line.valueOf == nullptr && line.argument() == nullptr && !line.onlyArguments;
    if (nothingElse && out.words.empty() && line.unfinished.empty()) {
        addOptions(line, out);
    }
    // What cannot be seen for what it is could do anything to a terminal.
    std::erase_if(out.words, [&](const Candidate& word) {
        return !word.text.starts_with(line.unfinished) || platform::visibleText(word.text) != word.text;
    });
    for (Candidate& word : out.words) {
        word.text.insert(0, line.before);
    }
    return out;
}

} // namespace quzo::host
