// The jobs of bench/compare.sh by a program on GMime: parse, edit, write, in memory.
#pragma once

#include <gmime/gmime.h>

#include <string>
#include <utility>

#include "bench/memory_job.h"

namespace quzo::bench {

// Tags the subject, adds a field, and puts a disclaimer behind the text of each alternative of the body:
// GMime decodes the text to UTF-8 and stores it again. Messages that are signed or encrypted get the field
// only.
class GMimeStamp final : public Job {
public:
    GMimeStamp(std::string text, std::string html) : text_(std::move(text)), html_(std::move(html)) {}
    void run(const std::string& bytes, const Result& result) override;

private:
    void putInto(GMimeTextPart& part) const;
    void stamp(GMimeMessage& message, const std::string& bytes) const;

    std::string text_;
    std::string html_;
};

// Removes every part that has a file name or is marked as an attachment, and every attached message.
class GMimeStrip final : public Job {
public:
    void run(const std::string& bytes, const Result& result) override;
};

} // namespace quzo::bench
