// quzo apply: messages in, policy, messages out. Checks everything that can be checked before the first
// message is touched, then streams.
#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <deque>
#include <string>
#include <thread>
#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/apply/apply_command.h"
#include "host/cli/apply/apply_results.h"
#include "host/cli/apply/message_processor.h"
#include "host/cli/apply/ordered_run.h"
#include "host/cli/console/interrupt.h"
#include "host/cli/files/inputs.h"
#include "host/cli/files/output_directory.h"
#include "host/gateway/installation.h"
#include "host/scan/token_argument.h"
#include "platform/base/visible_text.h"
#include "platform/message/values/mailbox.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

using Show = MessageProcessor::Show;

// Messages that wait for their turn at most take this much memory, beside the ones that are worked on.
constexpr std::size_t kMaxWaitingBytes = std::size_t{128} << 20U;

MaybeFault checkOptions(const ApplyOptions& options) {
    const auto usage = [](std::string where, std::string what, std::string advice) {
        return Fault{kExitUsage, std::move(where), std::move(what), std::move(advice)};
    };
    if (options.policyFile.empty()) {
        return usage("apply", "there is no policy",
                     "name one with -p FILE" +
                         (options.iniFile.empty() ? "" : ", and the settings with -c " + options.iniFile));
    }
    if (options.diff && options.json) {
        return usage("--diff", "cannot be shown in JSON", "leave out --diff or --json");
    }
    if (std::count(options.paths.begin(), options.paths.end(), "-") > 1) {
        return usage("-", "standard input can be read once only", "name it once");
    }
    if (options.from && !options.from->empty() && !platform::validAddress(*options.from)) {
        return usage("--from", platform::quotedText(*options.from) + " is no address",
                     "write local@domain, or '' for none");
    }
    for (const std::string& recipient : options.to) {
        if (!platform::validAddress(recipient)) {
            return usage("--to", platform::quotedText(recipient) + " is no address", "write local@domain");
        }
    }
    return std::nullopt;
}

MaybeFault readTokens(const std::vector<std::string>& arguments, TokenMap<ScanToken>& tokens) {
    for (const std::string& argument : arguments) {
        if (std::string fault = applyTokenArgument(argument, tokens); !fault.empty()) {
            return Fault{kExitUsage, "--token", std::move(fault), {}};
        }
    }
    return std::nullopt;
}

Show whatToShow(const ApplyOptions& options) {
    if (options.json) {
        return Show::Json;
    }
    if (options.diff || options.dryRun) {
        return options.diff ? Show::Diff : Show::Text;
    }
    return options.outputDir.empty() ? Show::Message : Show::Nothing;
}

// The inputs, with the first ones looked at ahead.
class LookAhead {
public:
    explicit LookAhead(InputReader& reader) : reader_(reader) {}

    // Whether there is more than one; reads two at most.
    bool several() {
        while (ahead_.size() < 2) {
            Input input;
            if (!reader_.next(input)) {
                return false;
            }
            ahead_.push_back(std::move(input));
        }
        return true;
    }

    bool next(Input& input) {
        if (ahead_.empty()) {
            return reader_.next(input);
        }
        input = std::move(ahead_.front());
        ahead_.pop_front();
        return true;
    }

private:
    InputReader& reader_;
    std::deque<Input> ahead_;
};

unsigned threadsOf(const ApplyOptions& options) {
    return options.jobs != 0 ? options.jobs : std::max(1U, std::thread::hardware_concurrency());
}

void work(const ApplyOptions& options, LookAhead& inputs, const MessageProcessor& processor, Console& console,
          ApplyResults& results) {
    const unsigned threads = threadsOf(options);
    OrderedRun<Input, Processed> run(threads, std::size_t{8} * threads, kMaxWaitingBytes);
    run.run(
        [&](Input& input) { return !processor.stopping() && !console.out.failed() && inputs.next(input); },
        [](const Input& input) { return input.bytes.size(); },
        [&](Input input) { return processor.process(std::move(input)); },
        [&](const Processed& done) { results.take(done); });
}

void finishOutput(const OutputDirectory& directory, bool full, ApplyResults& results) {
    if (const MaybeFault fault = directory.sync()) {
        results.fault(*fault);
    }
    if (full) {
        results.fault({kExitInputOutput, directory.path(),
                       fmt::format("stopped after {} messages", results.messages()),
                       "the others have not been touched"});
    }
}

void sayIf(const MaybeFault& fault, Console& console) {
    if (fault) {
        console.err.say(*fault);
    }
}

} // namespace

int runApply(const ApplyOptions& options, Console& console) {
    TokenMap<ScanToken> tokens;
    for (const MaybeFault& fault : {checkOptions(options), readTokens(options.tokens, tokens)}) {
        if (fault) {
            return console.err.say(*fault);
        }
    }
    const InterruptWatch interrupt;
    Installation installation;
    const bool dry = options.dryRun || options.diff;
    const bool usable =
        installation.open({.iniFile = options.iniFile, .policyFile = options.policyFile, .make = !dry});
    const int exitCode = console.err.say(installation.findings());
    if (!usable) {
        return exitCode;
    }
    const std::shared_ptr<const Snapshot> snapshot = installation.snapshot();
    const Show show = whatToShow(options);
    if (!dry) {
        // A filter is called for each message: there it has to be worth it.
        sayIf(installation.recordReferences(show != Show::Message), console);
    }
    InputReader reader(
        options.paths, snapshot->options().mostBytes(),
        [&](const std::string& file, const char* why) {
            if (options.verbose) {
                console.err.say({0, file, why, "passed over"});
            }
        },
        interrupt.wakeUp());
    LookAhead inputs(reader);
    if (show == Show::Message && (options.paths.size() > 1 || inputs.several())) {
        return console.err.say({kExitUsage, "apply", "there are several messages and one standard output",
                                "add -o DIR or --json"});
    }
    OutputDirectory directory;
    const bool storing =
        !options.outputDir.empty() && show != Show::Text && show != Show::Diff && !options.dryRun;
    if (storing) {
        if (const MaybeFault fault = directory.open(options.outputDir, options.paths, options.syncEach)) {
            return console.err.say(*fault);
        }
    }
    if (!dry) {
        sayIf(installation.tidyQueuesIfDue(std::time(nullptr)), console);
    }
    const MessageProcessor processor(*snapshot, installation.queues(), options, tokens,
                                     storing ? &directory : nullptr, interrupt, show,
                                     StandardOutput::colours(), installation.messageLog());
    ApplyResults results(console);
    work(options, inputs, processor, console, results);
    if (storing) {
        finishOutput(directory, processor.stopping() && interrupt.signal() == 0, results);
    }
    results.sayQueues(dry);
    if (interrupt.signal() != 0) {
        results.sayInterrupted(interrupt.signal());
    } else if (results.messages() > 1 && (console.err.terminal() || options.verbose)) {
        results.saySummary();
    }
    results.sayPassedOver(reader.passedOver(), options.verbose);
    return interrupt.signal() != 0 ? kExitBySignal + interrupt.signal() : results.exitCode();
}

} // namespace quzo::host
