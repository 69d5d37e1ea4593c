// What is told of an entry of a queue.
#pragma once

#include <cstdint>
#include <string>

#include "platform/queue/queue_admin.h"

namespace quzo::host {

// The head of the table of a queue and one line of it, with their line breaks: rules and areas of what people
// decide on, attempts and answers of what is on its way. `now` is in seconds since 1970.
std::string tableHead(platform::QueueKind queue);
std::string tableLine(platform::QueueKind queue, const platform::ListedEntry& entry, std::int64_t now);

// One JSON object in plain ASCII with a line break; the message's own header is in it when `header` is not
// null. Bytes that are no UTF-8 become U+FFFD.
std::string entryJson(const char* queue, const platform::ListedEntry& entry, std::int64_t now,
                      const std::string* header = nullptr);

// What became of a release, as one JSON object with a line break.
std::string releaseJson(const char* queue, const std::string& id, const platform::QueuedEntry& released,
                        bool dryRun);

// Everything that is known of it, one line a fact; local time.
std::string entryText(const char* queue, const platform::ListedEntry& entry, std::int64_t now);

// A header block as it stands in a message, its lines kept and everything in them visible.
std::string headerText(std::string_view header);

// What an error number means for an entry: never null, static storage.
const char* entryErrorText(int error);

// "812", "4.9K", "20M": bytes in a column of six.
std::string sizeText(std::uint64_t size);

// "2026-03-01T08:15:00Z".
std::string utcText(std::int64_t time);

// "3d", "12h", "5m", "7s": whole units of the largest that fits. Negative ages, of clocks that differ, are
// "0s".
std::string ageText(std::int64_t seconds);

} // namespace quzo::host
