// The path of one message: read, scanned, stored, told. Everything here runs on a working thread; what must
// happen in input order is left in the result.
#include "host/cli/apply/message_processor.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <exception>
#include <string_view>
#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/apply/message_diff.h"
#include "host/scan/envelope.h"
#include "platform/mta/file_adapter.h"
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
    for (const RuleResult& rule : report.scan.rules) {
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
    for (const std::string& warning : report.scan.warnings) {
        if (report.scan.error && report.scan.error->text == warning) {
            continue; // said below, with what to do
        }
        done.complaints.push_back(Fault{0, report.file, "warning", warning}.line());
    }
    if (report.scan.error) {
        const bool deferred = report.scan.outcome == Outcome::Deferred;
        const bool kept = deferred || report.scan.outcome == Outcome::Failed;
        std::string advice = report.scan.error->advice;
        if (kept) {
            advice += advice.empty() ? "it stays where it is" : "; it stays where it is";
        }
        if (deferred && report.scan.error->advice.empty()) {
            advice += ", run it again";
        }
        done.complaints.push_back(Fault{0, report.file, report.scan.error->text, std::move(advice)}.line());
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

MessageProcessor::MessageProcessor(const Scanner& scanner, const ScannerOptions& scannerOptions,
                                   const ApplyOptions& options, const TokenMap<ScanToken>& tokens,
                                   Surroundings surroundings, OutputDirectory* output,
                                   const InterruptWatch& interrupt, Show show, bool colours)
    : scanner_(scanner),
      scannerOptions_(scannerOptions),
      options_(options),
      tokens_(tokens),
      surroundings_(std::move(surroundings)),
      output_(output),
      interrupt_(interrupt),
      show_(show),
      colours_(colours) {}

Processed MessageProcessor::process(Input input) const noexcept {
    const std::string file = input.file;
    const bool isMessage = input.isMessage;
    try {
        platform::LogSubject subject(file);
        return stopping() ? Processed{} : processMessage(std::move(input), subject);
    } catch (const std::exception&) { // the standard library's, of what needs memory
        return outOfMemory(file, isMessage);
    }
}

Processed MessageProcessor::processMessage(Input input, platform::LogSubject& subject) const {
    Processed done;
    done.tried = true;
    done.isMessage = input.isMessage;
    if (input.fault) {
        finish(unreadable(input, done), nullptr, done);
        return done;
    }
    auto msg = platform::MailMessage::parse(std::move(input.bytes), scannerOptions_.limits,
                                            scannerOptions_.rawValues);
    subject.add(msg->getIdentifier());
    Envelope envelope = envelopeOf(*msg, scannerOptions_.limits, options_.from, options_.to);
    msg->setEnvelope(envelope.sender, envelope.recipients);
    envelope.recipients = std::vector<std::string>(); // the message has them now

    MessageReport report;
    TokenMap<ScanToken> tokens = tokens_;
    platform::FileAdapter adapter(
        {surroundings_.queues, &tokens, surroundings_.hostname, options_.dryRun || options_.diff});
    report.scan = scanner_.scan(
        *msg,
        ScanJob{adapter, tokens, surroundings_.namedObjects, {}, {}, false, std::move(envelope.beyondLimit)});
    report.file = input.file;
    report.id = msg->getIdentifier();
    report.envelope = {msg->sender(), msg->recipients()};
    report.queued = adapter.queued();
    done.exitCode = exitCodeOf(report.scan);
    complain(report, done);
    if (output_ != nullptr && report.scan.goesOn()) {
        store(*msg, input, report, done);
    }
    if (report.scan.goesOn()) {
        sayUnseen(report, done);
    }
    finish(report, msg.get(), done);
    if (show_ == Show::Message && report.scan.goesOn()) {
        done.deliver = std::move(msg);
    }
    return done;
}

MessageReport MessageProcessor::unreadable(const Input& input, Processed& done) const {
    MessageReport report;
    report.file = input.file;
    report.scan.outcome = Outcome::Failed;
    done.exitCode = input.fault->exitCode;
    const bool limit = input.errorNumber == kErrorLimit && scannerOptions_.onLimit == OnLimit::Defer;
    if (limit || input.errorNumber == kErrorNoMemory) {
        report.scan.outcome = Outcome::Deferred;
        done.exitCode = kExitTryAgain;
    }
    report.scan.error = ScanError{input.errorNumber, input.fault->what};
    done.complaints.push_back(input.fault->line());
    return report;
}

Processed MessageProcessor::outOfMemory(const std::string& file, bool isMessage) const {
    Processed done;
    done.tried = true;
    done.isMessage = isMessage;
    MessageReport report;
    report.file = file;
    report.scan.outcome = Outcome::Deferred;
    report.scan.error = ScanError{kErrorNoMemory, "there is not enough memory for it"};
    done.exitCode = kExitTryAgain;
    done.complaints.push_back(Fault{0, file, report.scan.error->text, "run it again with more"}.line());
    finish(report, nullptr, done);
    return done;
}

// What the policy did that the message's bytes cannot show. JSON and the reports of a dry run have it.
void MessageProcessor::sayUnseen(const MessageReport& report, Processed& done) const {
    if (show_ != Show::Nothing && show_ != Show::Message) {
        return;
    }
    constexpr const char* kAdvice = "deliver it so; --json says it for programs";
    if (report.scan.envelopeChanged) {
        const std::string what =
            fmt::format("its envelope was changed and is not in the message, from <{}> to {}",
                        report.envelope.sender, addressList(report.envelope.recipients));
        done.complaints.push_back(Fault{0, report.file, what, kAdvice}.line());
    }
    if (!report.scan.marks.empty() && scanner_.policy().defaults.markHeader.empty()) {
        const std::string what =
            fmt::format("is marked {} and nothing shows it", fmt::join(report.scan.marks, ", "));
        done.complaints.push_back(
            Fault{0, report.file, what, "set mark_header in [defaults] of the policy, or use --json"}.line());
    }
}

void MessageProcessor::store(const platform::MailMessage& msg, const Input& input, MessageReport& report,
                             Processed& done) const {
    const OutputDirectory::Target target{input.name, msg.size(), input.mode};
    const MaybeFault fault = output_->store(target, [&](const OutputDirectory::Sink& sink) {
        if (report.scan.outcome == Outcome::Unchanged) {
            sink(msg.original());
        } else {
            msg.write(sink);
        }
    });
    if (!fault) {
        report.output = output_->pathOf(input.name);
        return;
    }
    report.scan.outcome = Outcome::Failed;
    report.scan.error = ScanError{errorNumber(*fault), fault->what};
    done.exitCode = fault->exitCode;
    done.complaints.push_back(fault->line());
    if (fault->forAll) {
        stopping_ = true;
    }
}

void MessageProcessor::finish(const MessageReport& report, const platform::MailMessage* msg,
                              Processed& done) const {
    done.outcome = report.scan.outcome;
    done.queued = report.queued;
    if (show_ == Show::Json && done.isMessage) {
        done.text = jsonLine(report);
    } else if ((show_ == Show::Text || show_ == Show::Diff) && msg != nullptr) {
        done.text = reportText(report);
        if (show_ == Show::Diff && report.scan.outcome == Outcome::Modified) {
            done.text += messageDiff(*msg, report.file, colours_);
        }
    } else if (show_ == Show::Message && report.scan.outcome == Outcome::Consumed) {
        done.complaints.push_back(consumedLine(report));
    }
}

} // namespace quzo::host
