// See figures.h. A counter of the library is an atomic number, and a histogram is locked for as long as it
// takes to add to one or to copy it.
#include "host/figures/figures.h"

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include <array>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "host/policy/action_type.h"
#include "host/runner/queue_runner.h"
#include "quzo/core/error_text.h"
#include "quzo/core/version.h"

namespace quzo::host {
namespace {

using prometheus::Counter;
using prometheus::Gauge;
using prometheus::Histogram;
template <typename Metric>
using Family = prometheus::Family<Metric>;

enum class Reason : std::uint8_t { Limit, Unparseable, Fault, Changes, Memory };

constexpr std::array kOutcomes = {Outcome::Unchanged, Outcome::Modified, Outcome::Consumed, Outcome::Deferred,
                                  Outcome::Failed};
constexpr std::array kReasons = {"limit", "unparseable", "fault", "changes", "memory"};
constexpr std::array kWork = {"done", "later", "failed", "trouble"}; // by WorkDone::Kind
constexpr std::array kSeconds = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25,
                                 0.5,   1.0,    2.5,   5.0,  10.0,  30.0, 60.0};

template <std::size_t kSize>
using Counters = std::array<Counter*, kSize>;

template <typename Values, typename NameOf>
auto countersOf(Family<Counter>& family, const char* label, const Values& values, NameOf&& nameOf) {
    Counters<std::tuple_size_v<Values>> counters{};
    for (std::size_t i = 0; i < counters.size(); ++i) {
        counters[i] = &family.Add({{label, nameOf(values[i])}});
    }
    return counters;
}

const char* itself(const char* name) { return name; }

// Of a message that the server is told to refuse; also of one whose verdict is good and whose changes it did
// not take.
Reason reasonOf(const ScanResult& scan) {
    if (scan.goesOn()) {
        return Reason::Changes;
    }
    switch (scan.error ? scan.error->code : int{kErrorNone}) {
        case kErrorLimit:
            return Reason::Limit;
        case kErrorMalformedEntity:
            return Reason::Unparseable;
        case kErrorNoMemory:
            return Reason::Memory;
        default:
            return Reason::Fault;
    }
}

} // namespace

struct Figures::Registry {
    Family<Counter>& counters(const char* name, const char* help) {
        return prometheus::BuildCounter().Name(name).Help(help).Register(registry);
    }
    Family<Gauge>& gauges(const char* name, const char* help) {
        return prometheus::BuildGauge().Name(name).Help(help).Register(registry);
    }

    struct OfAction {
        Counter* done = nullptr;
        Counter* failed = nullptr;
    };

    void addTables();
    void countActions(const ScanResult& scan) const;
    void refuse(Reason reason) const { refusals[static_cast<std::size_t>(reason)]->Increment(); }

    prometheus::Registry registry;
    Counters<kOutcomes.size()> messages = countersOf(
        counters("quzo_messages_total", "Messages of the mail server that came to their end, by outcome"),
        "outcome", kOutcomes, outcomeName);
    Counters<kOutcomes.size()> rescans =
        countersOf(counters("quzo_rescans_total", "Messages that passed the policy again, by outcome"),
                   "outcome", kOutcomes, outcomeName);
    Counters<kReasons.size()> refusals = countersOf(
        counters("quzo_refusals_total", "Messages that the mail server was told to refuse, by reason"),
        "reason", kReasons, itself);
    Counter& bytes = counters("quzo_received_bytes_total", "Bytes of the mail server's messages").Add({});
    Histogram& seconds = prometheus::BuildHistogram()
                             .Name("quzo_message_seconds")
                             .Help("From the end of a message's data to the verdict")
                             .Register(registry)
                             .Add({}, Histogram::BucketBoundaries(kSeconds.begin(), kSeconds.end()));
    std::map<std::string_view, OfAction> actions; // by the policy's names, which are static; all of them
    std::map<platform::QueueKind, Counters<kWork.size()>> work;
    Family<Counter>& reloads =
        counters("quzo_reloads_total", "Times that policy and objects were loaded anew");
    Counter& goodReloads = reloads.Add({{"result", "done"}});
    Counter& badReloads = reloads.Add({{"result", "failed"}});
    Gauge& loaded =
        gauges("quzo_loaded_time_seconds", "When policy and objects in force were loaded").Add({});
    Gauge& connections = gauges("quzo_connections", "Connections of mail servers").Add({});
    Gauge& healthy = gauges("quzo_healthy", "1 when nothing is wrong").Add({});
    Family<Gauge>& entries = gauges("quzo_queue_entries", "Messages in a queue");
    Family<Gauge>& queueBytes = gauges("quzo_queue_bytes", "Bytes of the messages in a queue");
    Family<Gauge>& oldest = gauges("quzo_queue_oldest_seconds", "Age of the oldest message in a queue");
    Gauge& counted = gauges("quzo_queues_time_seconds", "When the queues were counted").Add({});

    std::mutex mutex; // of what follows
    std::vector<QueueStatus> queues;
};

void Figures::Registry::addTables() {
    Family<Counter>& family = counters("quzo_actions_total", "Actions that were run, by type and result");
    for (const PolicyActionType& type : policyActionTypes()) {
        actions[type.name] = {&family.Add({{"type", type.name}, {"result", "done"}}),
                              &family.Add({{"type", type.name}, {"result", "failed"}})};
    }
    Family<Counter>& works = counters("quzo_queue_work_total", "What came of the entries that were due");
    for (const platform::QueueKind queue : QueueRunner::queues()) {
        for (std::size_t i = 0; i < kWork.size(); ++i) {
            work[queue][i] = &works.Add({{"queue", platform::queueName(queue)}, {"result", kWork[i]}});
        }
    }
}

void Figures::Registry::countActions(const ScanResult& scan) const {
    for (const RuleResult& rule : scan.rules) {
        for (const ActionResult& action : rule.actions) {
            const auto found = actions.find(action.type);
            if (found != actions.end() && !action.skipped) {
                (action.ok ? found->second.done : found->second.failed)->Increment();
            }
        }
    }
}

Figures::Figures(std::int64_t now) : all_(std::make_unique<Registry>()) {
    all_->addTables();
    all_->gauges("quzo_build_info", "1; which build this is").Add({{"version", GetQuzoVersionStr()}}).Set(1);
    all_->gauges("quzo_start_time_seconds", "When this process began").Add({}).Set(static_cast<double>(now));
    all_->loaded.Set(static_cast<double>(now));
}

Figures::~Figures() = default;

void Figures::judged(const MessageResult& result, const MilterVerdict& verdict,
                     std::chrono::nanoseconds taken) noexcept {
    all_->messages[static_cast<std::size_t>(result.scan.outcome)]->Increment();
    all_->countActions(result.scan);
    if (verdict.kind == MilterVerdict::Kind::Later || verdict.kind == MilterVerdict::Kind::Refuse) {
        all_->refuse(reasonOf(result.scan));
    }
    if (result.message != nullptr) {
        all_->bytes.Increment(static_cast<double>(result.message->original().size()));
    }
    all_->seconds.Observe(std::chrono::duration<double>(taken).count());
}

void Figures::outOfMemory() noexcept { all_->refuse(Reason::Memory); }

void Figures::scanned(const MessageResult& result) noexcept {
    all_->rescans[static_cast<std::size_t>(result.scan.outcome)]->Increment();
    all_->countActions(result.scan);
}

void Figures::workedOn(platform::QueueKind queue, WorkDone::Kind kind) noexcept {
    if (const auto found = all_->work.find(queue); found != all_->work.end()) {
        found->second[static_cast<std::size_t>(kind)]->Increment();
    }
}

void Figures::reloaded(bool good, std::int64_t now) noexcept {
    (good ? all_->goodReloads : all_->badReloads).Increment();
    if (good) {
        all_->loaded.Set(static_cast<double>(now));
    }
}

void Figures::setQueues(std::vector<QueueStatus> queues, std::int64_t now) {
    const std::scoped_lock lock(all_->mutex);
    all_->queues = std::move(queues);
    all_->counted.Set(static_cast<double>(now));
}

std::string Figures::text(const Moment& moment) {
    {
        const std::scoped_lock lock(all_->mutex);
        for (const QueueStatus& status : all_->queues) {
            const prometheus::Labels queue = {{"queue", platform::queueName(status.queue)}};
            all_->entries.Add(queue).Set(static_cast<double>(status.entries));
            all_->queueBytes.Add(queue).Set(static_cast<double>(status.bytes));
            all_->oldest.Add(queue).Set(static_cast<double>(status.oldest ? moment.now - *status.oldest : 0));
        }
    }
    all_->connections.Set(moment.connections);
    all_->healthy.Set(moment.healthy ? 1 : 0);
    return prometheus::TextSerializer().Serialize(all_->registry.Collect());
}

} // namespace quzo::host
