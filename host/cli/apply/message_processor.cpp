// The path of one message: read, scanned, stored, told. Everything here runs on a working thread; what must
// happen in input order is left in the result.
#include "host/cli/apply/message_processor.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <chrono>
#include <exception>
#include <string_view>
#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/apply/message_diff.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

// The platform's number for a fault of an output.
int errorNumber(const Fault& fault) {
    if (fault.forAll) {
        return kErrorNoSpace;
    }
    return fault.exitCode == kExitCannotCreate ? kErrorExists : kErrorInputOutput;
}

int exitCodeOf(const ScanResult& scan) {
    switch (scan.outcome) {
        case Outcome::Deferred:
            return kExitTryAgain;
        case Outcome::Failed:
            return scan.error && scan.error->code == kErrorInputOutput ? kExitInputOutput : kExitData;
        default:
            return kExitOk;
    }
}

// Why nothing comes out of a filter.
std::string consumedLine(const MessageReport& report) {
    for (const RuleResult& rule : report.result.scan.rules) {
        for (const ActionResult& action : rule.actions) {
            if (action.consumed) {
                return Fault{0,
                             report.file,
                             fmt::format("consumed by rule {} {} ({}), nothing is delivered", rule.id,
                                         rule.name, action.type),
                             {}}
                    .line();
            }
        }
    }
    return Fault{0, report.file, "consumed, nothing is delivered", {}}.line();
}

void complain(const MessageReport& report, Processed& done) {
    for (const std::string& warning : report.result.scan.warnings) {
        if (report.result.scan.error && report.result.scan.error->text == warning) {
            continue; // said below, with what to do
        }
        done.complaints.push_back(Fault{0, report.file, "warning", warning}.line());
    }
    if (report.result.scan.error) {
        const bool deferred = report.result.scan.outcome == Outcome::Deferred;
        const bool kept = deferred || report.result.scan.outcome == Outcome::Failed;
        std::string advice = report.result.scan.error->advice;
        if (kept) {
            advice += advice.empty() ? "it stays where it is" : "; it stays where it is";
        }
        if (deferred && report.result.scan.error->advice.empty()) {
            advice += ", run it again";
        }
        done.complaints.push_back(
            Fault{0, report.file, report.result.scan.error->text, std::move(advice)}.line());
    }
}

// "<a@x>, <b@y>", of a long list the first ones.
std::string addressList(const std::vector<std::string>& addresses) {
    constexpr std::size_t kShown = 20;
    std::string text;
    for (std::size_t i = 0; i < addresses.size() && i < kShown; ++i) {
        text += fmt::format("{}<{}>", i == 0 ? "" : ", ", addresses[i]);
    }
    if (addresses.size() > kShown) {
        text += fmt::format(" and {} others", addresses.size() - kShown);
    }
    return text.empty() ? "nobody" : text;
}

} // namespace

MessageProcessor::MessageProcessor(const Snapshot& snapshot, platform::Queues* queues,
                                   const ApplyOptions& options, const TokenMap<ScanToken>& tokens,
                                   OutputDirectory* output, const InterruptWatch& interrupt, Show show,
                                   bool colours, const MessageLog* log)
    : snapshot_(snapshot),
      queues_(queues),
      options_(options),
      tokens_(tokens),
      output_(output),
      interrupt_(interrupt),
      show_(show),
      colours_(colours),
      log_(log) {}

Processed MessageProcessor::process(Input input) const noexcept {
    const std::string file = input.file;
    const bool isMessage = input.isMessage;
    try {
        return stopping() ? Processed{} : processMessage(std::move(input));
    } catch (const std::exception&) { // the standard library's, of what needs memory
        return outOfMemory(file, isMessage);
    }
}

Processed MessageProcessor::processMessage(Input input) const {
    Processed done;
    done.tried = true;
    done.isMessage = input.isMessage;
    if (input.fault) {
        finish(unreadable(input, done), done);
        return done;
    }
    MessageJob job;
    job.name = input.file;
    job.bytes = std::move(input.bytes);
    job.sender = options_.from;
    job.recipients = options_.to;
    job.tokens = tokens_;
    job.dryRun = options_.dryRun || options_.diff;
    const auto start = std::chrono::steady_clock::now();
    MessageReport report{input.file, {}, passMessage(snapshot_, queues_, std::move(job))};
    done.exitCode = exitCodeOf(report.result.scan);
    complain(report, done);
    if (output_ != nullptr && report.result.scan.goesOn()) {
        store(input, report, done);
    }
    if (report.result.scan.goesOn()) {
        sayUnseen(report, done);
    }
    report.taken = std::chrono::steady_clock::now() - start;
    finish(std::move(report), done);
    return done;
}

MessageReport MessageProcessor::unreadable(const Input& input, Processed& done) const {
    MessageReport report;
    report.file = input.file;
    report.result.scan.outcome = Outcome::Failed;
    done.exitCode = input.fault->exitCode;
    const bool limit = input.errorNumber == kErrorLimit && snapshot_.options().onLimit == OnLimit::Defer;
    if (limit || input.errorNumber == kErrorNoMemory) {
        report.result.scan.outcome = Outcome::Deferred;
        done.exitCode = kExitTryAgain;
    }
    report.result.scan.error = ScanError{input.errorNumber, input.fault->what};
    done.complaints.push_back(input.fault->line());
    return report;
}

Processed MessageProcessor::outOfMemory(const std::string& file, bool isMessage) const {
    Processed done;
    done.tried = true;
    done.isMessage = isMessage;
    MessageReport report;
    report.file = file;
    report.result.scan.outcome = Outcome::Deferred;
    report.result.scan.error = ScanError{kErrorNoMemory, "there is not enough memory for it"};
    done.exitCode = kExitTryAgain;
    done.complaints.push_back(
        Fault{0, file, report.result.scan.error->text, "run it again with more"}.line());
    finish(std::move(report), done);
    return done;
}

// What the policy did that the message's bytes cannot show. JSON and the reports of a dry run have it.
void MessageProcessor::sayUnseen(const MessageReport& report, Processed& done) const {
    if (show_ != Show::Nothing && show_ != Show::Message) {
        return;
    }
    constexpr const char* kAdvice = "deliver it so; --json says it for programs";
    if (report.result.scan.envelopeChanged) {
        const std::string what =
            fmt::format("its envelope was changed and is not in the message, from <{}> to {}",
                        report.result.envelope.sender, addressList(report.result.envelope.recipients));
        done.complaints.push_back(Fault{0, report.file, what, kAdvice}.line());
    }
    if (!report.result.scan.marks.empty() && snapshot_.policy().defaults.markHeader.empty()) {
        const std::string what =
            fmt::format("is marked {} and nothing shows it", fmt::join(report.result.scan.marks, ", "));
        done.complaints.push_back(
            Fault{0, report.file, what, "set mark_header in [defaults] of the policy, or use --json"}.line());
    }
}

void MessageProcessor::store(const Input& input, MessageReport& report, Processed& done) const {
    const OutputDirectory::Target target{input.name, report.result.size(), input.mode};
    const MaybeFault fault =
        output_->store(target, [&](const OutputDirectory::Sink& sink) { report.result.write(sink); });
    if (!fault) {
        report.output = output_->pathOf(input.name);
        return;
    }
    report.result.scan.outcome = Outcome::Failed;
    report.result.scan.error = ScanError{errorNumber(*fault), fault->what};
    done.exitCode = fault->exitCode;
    done.complaints.push_back(fault->line());
    if (fault->forAll) {
        stopping_ = true;
    }
}

void MessageProcessor::finish(MessageReport report, Processed& done) const {
    MessageResult& result = report.result;
    done.outcome = result.scan.outcome;
    done.queued = result.queued;
    if (log_ != nullptr && done.isMessage) {
        log_->tell(result, {.name = report.file, .taken = report.taken});
    }
    if (show_ == Show::Json && done.isMessage) {
        done.text = jsonLine(report);
    } else if ((show_ == Show::Text || show_ == Show::Diff) && result.message != nullptr) {
        done.text = reportText(report);
        if (show_ == Show::Diff && result.scan.outcome == Outcome::Modified) {
            done.text += messageDiff(*result.message, report.file, colours_);
        }
    } else if (show_ == Show::Message && result.scan.outcome == Outcome::Consumed) {
        done.complaints.push_back(consumedLine(report));
    } else if (show_ == Show::Message && result.scan.goesOn()) {
        done.deliver = std::move(result);
    }
}

} // namespace quzo::host
