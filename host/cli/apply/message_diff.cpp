// A changed message is written as ranges of the received bytes with new text between them, so the changes
// need not be searched for: a piece that lies inside the received bytes was kept, everything else is new.
// Each change is widened to whole lines, and what both sides share at its ends is taken off again.
#include "host/cli/apply/message_diff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

constexpr std::size_t kContext = 3;
constexpr std::size_t kMaxShown = 500; // bytes of one line

// Received bytes [begin, end) gave way to `text`.
struct Change {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string text;
};

std::vector<Change> changesOf(const platform::MailMessage& msg) {
    const std::string_view old = msg.original();
    std::vector<Change> changes;
    std::size_t kept = 0; // received bytes accounted for
    std::string added;
    const auto close = [&](std::size_t next) {
        if (next != kept || !added.empty()) {
            changes.push_back({kept, next, std::exchange(added, {})});
        }
    };
    const std::less_equal<> before;
    msg.write([&](std::string_view piece) {
        const char* const end = old.data() + old.size();
        if (!piece.empty() && before(old.data() + kept, piece.data()) &&
            before(piece.data() + piece.size(), end)) {
            const auto begin = static_cast<std::size_t>(piece.data() - old.data());
            close(begin);
            kept = begin + piece.size();
        } else {
            added += piece;
        }
        return true;
    });
    close(old.size());
    return changes;
}

std::size_t lineStart(std::string_view text, std::size_t at) {
    const std::size_t lineBreak = at == 0 ? std::string_view::npos : text.rfind('\n', at - 1);
    return lineBreak == std::string_view::npos ? 0 : lineBreak + 1;
}

std::size_t lineEnd(std::string_view text, std::size_t at) {
    const std::size_t lineBreak = text.find('\n', at);
    return lineBreak == std::string_view::npos ? text.size() : lineBreak + 1;
}

// Makes the change one of whole lines.
void widen(std::string_view old, Change& change) {
    const std::size_t begin = lineStart(old, change.begin);
    change.text.insert(0, old.substr(begin, change.begin - begin));
    change.begin = begin;
    const bool newEndsLine = change.text.empty() || change.text.back() == '\n';
    const bool oldEndsLine = change.end == begin || old[change.end - 1] == '\n';
    if (!newEndsLine || !oldEndsLine) {
        const std::size_t end = lineEnd(old, change.end);
        change.text += old.substr(change.end, end - change.end);
        change.end = end;
    }
}

// Widens all changes and joins those that share a line.
std::vector<Change> wholeLines(std::string_view old, std::vector<Change> changes) {
    std::vector<Change> joined;
    for (Change& change : changes) {
        Change* last = joined.empty() ? nullptr : &joined.back();
        if (last != nullptr && lineStart(old, change.begin) < last->end) {
            // The last change reaches beyond this one's begin: put this one in its place in that text.
            const std::size_t tail = last->end - change.begin;
            last->text.resize(last->text.size() - std::min(tail, last->text.size()));
            last->text += change.text;
            last->end = change.end;
            widen(old, *last);
        } else {
            widen(old, change);
            joined.push_back(std::move(change));
        }
    }
    return joined;
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        lines.push_back(text.substr(0, lineEnd(text, 0)));
        text.remove_prefix(lines.back().size());
    }
    return lines;
}

// Writes the hunks; keeps count of the lines on both sides.
class DiffWriter {
public:
    DiffWriter(std::string_view old, bool colours)
        : old_(old), colours_(colours), crlf_(lineBreakIsCrlf(old)) {}

    void add(const Change& change) {
        std::vector<std::string_view> before = linesOf(old_.substr(change.begin, change.end - change.begin));
        std::vector<std::string_view> after = linesOf(change.text);
        const auto [b, a] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
        const std::size_t same = static_cast<std::size_t>(b - before.begin());
        std::size_t tail = 0;
        while (tail < before.size() - same && tail < after.size() - same &&
               before[before.size() - 1 - tail] == after[after.size() - 1 - tail]) {
            ++tail;
        }
        std::size_t begin = change.begin;
        for (std::size_t at = 0; at < same; ++at) {
            begin += before[at].size();
        }
        before = {b, before.end() - static_cast<std::ptrdiff_t>(tail)};
        after = {a, after.end() - static_cast<std::ptrdiff_t>(tail)};
        if (!before.empty() || !after.empty()) {
            hunk(begin, before, after);
        }
    }

    std::string take() {
        closeHunk();
        return std::move(out_);
    }

private:
    static bool lineBreakIsCrlf(std::string_view text) {
        const std::size_t lineBreak = text.find('\n');
        return lineBreak != std::string_view::npos && lineBreak > 0 && text[lineBreak - 1] == '\r';
    }

    void hunk(std::size_t begin, const std::vector<std::string_view>& before,
              const std::vector<std::string_view>& after) {
        std::size_t contextBegin = begin;
        for (std::size_t count = 0; count < kContext && contextBegin > position_; ++count) {
            contextBegin = std::max(position_, lineStart(old_, contextBegin - 1));
        }
        if (!open_ || contextBegin > contextEnd()) {
            closeHunk();
            pass(contextBegin);
            openHunk();
        }
        while (position_ < begin) {
            show(' ', nextLine());
        }
        for (const std::string_view line : before) {
            position_ += line.size();
            show('-', line);
        }
        for (const std::string_view line : after) {
            show('+', line);
        }
    }

    // Where the context behind the open hunk would end.
    std::size_t contextEnd() const {
        std::size_t end = position_;
        for (std::size_t count = 0; count < kContext && end < old_.size(); ++count) {
            end = lineEnd(old_, end);
        }
        return end;
    }

    std::string_view nextLine() {
        const std::string_view line = old_.substr(position_, lineEnd(old_, position_) - position_);
        position_ += line.size();
        return line;
    }

    void pass(std::size_t until) {
        const auto count = std::count(old_.begin() + static_cast<std::ptrdiff_t>(position_),
                                      old_.begin() + static_cast<std::ptrdiff_t>(until), '\n');
        oldLine_ += static_cast<std::size_t>(count);
        newLine_ += static_cast<std::size_t>(count);
        position_ = until;
    }

    void openHunk() {
        open_ = true;
        oldCount_ = newCount_ = 0;
        body_.clear();
    }

    void closeHunk() {
        if (!open_) {
            return;
        }
        for (std::size_t count = 0; count < kContext && position_ < old_.size(); ++count) {
            show(' ', nextLine());
        }
        const std::string head = fmt::format("@@ -{},{} +{},{} @@", oldLine_, oldCount_, newLine_, newCount_);
        out_ += (colours_ ? "\x1b[36m" + head + "\x1b[0m" : head) + "\n" + body_;
        oldLine_ += oldCount_;
        newLine_ += newCount_;
        open_ = false;
    }

    void show(char sign, std::string_view line) {
        oldCount_ += sign != '+' ? 1 : 0;
        newCount_ += sign != '-' ? 1 : 0;
        const std::string_view usual = crlf_ ? "\r\n" : "\n";
        const bool hasUsual = line.ends_with(usual) && (crlf_ || !line.ends_with("\r\n"));
        line.remove_suffix(hasUsual ? usual.size() : 0);
        std::string text = sign + platform::visibleText(line.substr(0, kMaxShown));
        if (line.size() > kMaxShown) {
            text += fmt::format(" ... ({} bytes more)", line.size() - kMaxShown);
        }
        const char* colour = sign == '-' ? "\x1b[31m" : "\x1b[32m";
        body_ += (colours_ && sign != ' ' ? colour + text + "\x1b[0m" : text) + "\n";
    }

    std::string_view old_;
    bool colours_;
    bool crlf_;
    std::string out_;
    std::string body_;         // of the open hunk
    std::size_t position_ = 0; // in old_: what has been shown or passed over
    std::size_t oldLine_ = 1;
    std::size_t newLine_ = 1;
    std::size_t oldCount_ = 0;
    std::size_t newCount_ = 0;
    bool open_ = false;
};

} // namespace

std::string messageDiff(const platform::MailMessage& msg, std::string_view file, bool colours) {
    if (!msg.changed()) {
        return {};
    }
    DiffWriter writer(msg.original(), colours);
    for (const Change& change : wholeLines(msg.original(), changesOf(msg))) {
        writer.add(change);
    }
    const std::string hunks = writer.take();
    const std::string name = platform::visibleText(file);
    return hunks.empty() ? hunks : fmt::format("--- {}\n+++ {}\n{}", name, name, hunks);
}

} // namespace quzo::host
