// One message of `quzo apply`, from its bytes to what is told of it.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "host/cli/apply/apply_options.h"
#include "host/cli/apply/message_report.h"
#include "host/cli/console/interrupt.h"
#include "host/cli/files/inputs.h"
#include "host/cli/files/output_directory.h"
#include "host/gateway/message_line.h"
#include "host/gateway/message_pipeline.h"
#include "platform/queue/queues.h"
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
    std::vector<platform::QueuedEntry> queued;

    // The message itself is to go to standard output.
    std::optional<MessageResult> deliver;
};

// Immutable but for the stop mark: threads share one.
class MessageProcessor {
public:
    enum class Show { Nothing, Message, Json, Text, Diff };

    // All of it is the caller's and outlives the processor. `queues` may be null: there are none; so may
    // `output`: nothing is stored; and `log`: it is told nowhere.
    MessageProcessor(const Snapshot& snapshot, platform::Queues* queues, const ApplyOptions& options,
                     const TokenMap<ScanToken>& tokens, OutputDirectory* output,
                     const InterruptWatch& interrupt, Show show, bool colours,
                     const MessageLog* log = nullptr);

    // Never throws: a message for which memory runs out is deferred.
    Processed process(Input input) const noexcept;

    // Whether a fault has shown that further outputs cannot be written either, or a signal has asked for the
    // end. From then on process() leaves messages alone.
    bool stopping() const { return stopping_ || interrupt_.signal() != 0; }

private:
    Processed processMessage(Input input) const;
    void finish(MessageReport report, Processed& done) const;
    MessageReport unreadable(const Input& input, Processed& done) const;
    Processed outOfMemory(const std::string& file, bool isMessage) const;
    void sayUnseen(const MessageReport& report, Processed& done) const;
    void store(const Input& input, MessageReport& report, Processed& done) const;

    const Snapshot& snapshot_;
    platform::Queues* queues_;
    const ApplyOptions& options_;
    const TokenMap<ScanToken>& tokens_;
    OutputDirectory* output_;
    const InterruptWatch& interrupt_;
    Show show_;
    bool colours_;
    const MessageLog* log_;
    mutable std::atomic<bool> stopping_ = false;
};

} // namespace quzo::host
