// Reading the text form of figures.
#pragma once

#include <map>
#include <set>
#include <sstream>
#include <string>

namespace quzo::host::test {

struct FiguresText {
    std::map<std::string, std::string> kinds; // by name
    std::map<std::string, double> values;     // by name with labels, as they stand in the text
    bool sound = true;                        // each line is one of the form, and none comes twice

    explicit FiguresText(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string mark;
            std::string what;
            std::string name;
            std::string kind;
            if (line.starts_with("# TYPE ")) {
                words >> mark >> what >> name >> kind;
                sound = sound && kinds.emplace(name, kind).second;
            } else if (!line.starts_with("# HELP ")) {
                const std::size_t end = line.rfind(' ');
                std::size_t read = 0;
                const std::string number = end == std::string::npos ? "x" : line.substr(end + 1);
                try {
                    sound = values.emplace(line.substr(0, end), std::stod(number, &read)).second && sound;
                } catch (const std::exception&) {
                    sound = false;
                }
                sound = sound && read == number.size();
            }
        }
        sound = sound && text.ends_with('\n');
    }

    // The value there; -1 when there is none.
    double of(const std::string& name) const {
        const auto found = values.find(name);
        return found != values.end() ? found->second : -1;
    }
};

} // namespace quzo::host::test
