// See complete.h.
#include "host/cli/complete/complete.h"

#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <string>
#include <string_view>

#include "host/base/exit_code.h"
#include "host/cli/complete/bash_words.h"
#include "host/cli/complete/candidates.h"

namespace quzo::host {
namespace {

constexpr time_t kPatience = 1; // seconds

// A store or a disk that does not answer must not hold up somebody who types.
void endInTime() {
    struct sigaction end {};
    end.sa_handler = [](int) { ::_exit(kExitOk); };
    sigaction(SIGALRM, &end, nullptr);
    const itimerval patience{.it_interval = {}, .it_value = {.tv_sec = kPatience, .tv_usec = 0}};
    ::setitimer(ITIMER_REAL, &patience, nullptr);
}

void answer(const Candidates& candidates, Console& console) {
    for (const Candidate& word : candidates.words) {
        console.out.write(word.text + "\t" + word.description + "\n");
    }
    if (candidates.files || candidates.folders) {
        console.out.write(candidates.files ? "\tfiles\n" : "\tfolders\n");
    }
}

void answerBash(const std::vector<DescribedCommand>& commands, const std::string& tail,
                const std::string& typed, Console& console) {
    const BashLine line(typed);
    if (line.isRedirection() || line.words().size() < 2 || !typed.ends_with(tail)) {
        answer({.words = {}, .files = line.isRedirection()}, console);
        return;
    }
    Candidates candidates =
        candidatesFor(commands, readTypedLine(commands, {line.words().begin() + 1, line.words().end()}));
    for (Candidate& word : candidates.words) {
        word.text = tail + line.continued(std::string_view(word.text).substr(line.words().back().size()));
    }
    answer(candidates, console);
}

} // namespace

bool isCompletionCall(int argc, const char* const* argv) {
    return argc > 1 && argv[1] == std::string_view("complete");
}

int runCompletion(const std::vector<DescribedCommand>& commands, int argc, const char* const* argv,
                  Console& console) {
    endInTime();
    const std::vector<std::string> words(argv + 2, argv + argc);
    try {
        if (words.size() == 4 && words[0] == "--bash" && words[2] == "--") {
            answerBash(commands, words[1], words[3], console);
        } else if (words.size() > 1 && words[0] == "--") {
            answer(candidatesFor(commands, readTypedLine(commands, {words.begin() + 1, words.end()})),
                   console);
        }
    } catch (const std::exception&) {
        return kExitOk; // with what has been found
    }
    return kExitOk;
}

} // namespace quzo::host
