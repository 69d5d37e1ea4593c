// One message of `quzo apply`, from its bytes to what is told of it.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "host/cli/apply/message_report.h"
#include "host/cli/console/interrupt.h"
#include "host/cli/files/inputs.h"
#include "host/cli/files/output_directory.h"
#include "host/cli/options.h"
#include "host/scan/scanner.h"
#include "platform/log/log_subject.h"
#include "platform/message/mail_message.h"
#include "platform/queue/queues.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

// What is left to do for the thread that writes, in input order.
struct Processed {
    bool tried = false;    // false: left alone because the run was stopping
    bool isMessage = true; // false: a fault about something else, such as an empty folder
    Outcome outcome = Outcome::Failed;
    int exitCode = 0;
    std::vector<std::string> complaints; // lines for standard error
    std::string text;                    // for standard output: JSON, a report, a diff
    std::vector<QueuedEntry> queued;

    // The message itself is to go to standard output.
    std::unique_ptr<platform::MailMessage> deliver;
};

// Immutable but for the stop mark: threads share one.
class MessageProcessor {
public:
    enum class Show { Nothing, Message, Json, Text, Diff };

    // What actions may ask for beside the message. Threads share both.
    struct Surroundings {
        const NamedObjMgrForScanner* namedObjects = nullptr; // null: there are none
        platform::Queues* queues = nullptr;                  // null: there are none
        std::string hostname;                                // of what is sent
    };

    // All of it is the caller's and outlives the processor, but for `surroundings`, whose pointers do.
    // `output` may be null: nothing is stored.
    MessageProcessor(const Scanner& scanner, const ScannerOptions& scannerOptions,
                     const ApplyOptions& options, const TokenMap<ScanToken>& tokens,
                     Surroundings surroundings, OutputDirectory* output, const InterruptWatch& interrupt,
                     Show show, bool colours);

    // Never throws: a message for which memory runs out is deferred.
    Processed process(Input input) const noexcept;

    // Whether a fault has shown that further outputs cannot be written either, or a signal has asked for the
    // end. From then on process() leaves messages alone.
    bool stopping() const { return stopping_ || interrupt_.signal() != 0; }

private:
    Processed processMessage(Input input, platform::LogSubject& subject) const;
    void finish(const MessageReport& report, const platform::MailMessage* msg, Processed& done) const;
    MessageReport unreadable(const Input& input, Processed& done) const;
    Processed outOfMemory(const std::string& file, bool isMessage) const;
    void sayUnseen(const MessageReport& report, Processed& done) const;
    void store(const platform::MailMessage& msg, const Input& input, MessageReport& report,
               Processed& done) const;

    const Scanner& scanner_;
    const ScannerOptions& scannerOptions_;
    const ApplyOptions& options_;
    const TokenMap<ScanToken>& tokens_;
    const Surroundings surroundings_;
    OutputDirectory* output_;
    const InterruptWatch& interrupt_;
    Show show_;
    bool colours_;
    mutable std::atomic<bool> stopping_ = false;
};

} // namespace quzo::host
