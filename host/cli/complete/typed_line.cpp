// See typed_line.h.
#include "host/cli/complete/typed_line.h"

#include <algorithm>

namespace quzo::host {
namespace {

const DescribedOption* findOption(const DescribedCommand& command, std::string_view name) {
    for (const DescribedOption& option : command.options) {
        if (std::find(option.names.begin(), option.names.end(), name) != option.names.end()) {
            return &option;
        }
    }
    return nullptr;
}

class Reader {
public:
    Reader(const std::vector<DescribedCommand>& commands, TypedLine& line)
        : commands_(commands), line_(line) {
        line_.command = &commands.front();
    }

    void finished(const std::string& word) {
        if (open_ != nullptr) {
            line_.options.emplace_back(open_, word);
            open_ = nullptr;
        } else if (!line_.onlyArguments && word == "--") {
            line_.onlyArguments = true;
        } else if (!line_.onlyArguments && word.size() > 1 && word.front() == '-') {
            option(word);
        } else if (line_.onlyArguments || !enter(word)) {
            line_.arguments.push_back(word);
        }
    }

    void unfinished(const std::string& word) {
        line_.valueOf = open_;
        line_.unfinished = word;
        const std::size_t sign = word.find('=');
        if (open_ == nullptr && !line_.onlyArguments && word.starts_with("--") && sign != std::string::npos) {
            line_.valueOf = findOption(*line_.command, word.substr(0, sign));
            line_.before = word.substr(0, sign + 1);
            line_.unfinished = word.substr(sign + 1);
        }
    }

private:
    // "--name", "--name=value", "-n", "-nvalue".
    void option(const std::string& word) {
        const bool isLong = word.starts_with("--");
        const std::size_t end = std::min(isLong ? word.find('=') : 2, word.size());
        const DescribedOption* found = findOption(*line_.command, word.substr(0, end));
        if (found == nullptr) {
            return;
        }
        if (found->value.empty() || end < word.size()) {
            line_.options.emplace_back(found, word.substr(std::min(end + (isLong ? 1 : 0), word.size())));
        } else {
            open_ = found;
        }
    }

    // Goes on to the command of that name below.
    bool enter(const std::string& word) {
        if (!line_.arguments.empty()) {
            return false;
        }
        for (const DescribedCommand* below : commandsBelow(commands_, line_.command->name)) {
            if (lastWordOf(*below) == word) {
                line_.command = below;
                return true;
            }
        }
        return false;
    }

    const std::vector<DescribedCommand>& commands_;
    TypedLine& line_;
    const DescribedOption* open_ = nullptr; // waits for its value
};

} // namespace

std::string TypedLine::value(std::string_view name) const {
    std::string found;
    for (const auto& [option, value] : options) {
        if (std::find(option->names.begin(), option->names.end(), name) != option->names.end()) {
            found = value;
        }
    }
    return found;
}

const DescribedArgument* TypedLine::argument() const {
    const std::vector<DescribedArgument>& known = command->arguments;
    if (arguments.size() < known.size()) {
        return &known[arguments.size()];
    }
    return known.empty() || !known.back().many ? nullptr : &known.back();
}

TypedLine readTypedLine(const std::vector<DescribedCommand>& commands,
                        const std::vector<std::string>& words) {
    TypedLine line;
    Reader reader(commands, line);
    for (std::size_t at = 0; at + 1 < words.size(); ++at) {
        reader.finished(words[at]);
    }
    reader.unfinished(words.back());
    return line;
}

std::vector<const DescribedCommand*> commandsBelow(const std::vector<DescribedCommand>& commands,
                                                   std::string_view name) {
    std::vector<const DescribedCommand*> below;
    for (const DescribedCommand& command : commands) {
        const std::string_view last = lastWordOf(command);
        const std::size_t prefix = command.name.size() - last.size(); // with the blank
        if (!last.empty() && std::string_view(command.name).substr(0, prefix == 0 ? 0 : prefix - 1) == name) {
            below.push_back(&command);
        }
    }
    return below;
}

std::string_view lastWordOf(const DescribedCommand& command) {
    const std::string_view name = command.name;
    return name.substr(name.rfind(' ') + 1); // all of it without a blank
}

} // namespace quzo::host
