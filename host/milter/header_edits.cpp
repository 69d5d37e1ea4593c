// Which fields stay is found as `diff` finds it, by the shortest way from one list to the other. Policies
// change a handful of fields, so the way is short; of lists that have nearly nothing in common all is
// replaced.
#include "host/milter/header_edits.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "platform/base/ascii.h"

namespace quzo::host {
namespace {

using Fields = std::vector<MailField>;

// Fields that are the same in both lists: places, ascending.
using Pairs = std::vector<std::pair<std::size_t, std::size_t>>;

constexpr std::ptrdiff_t kLongestWay = 500; // differences; memory is its square

// Places in the middle of the lists, what they begin and end with alike being left out.
struct Middle {
    const Fields& before;
    const Fields& after;
    std::size_t first = 0;
    std::size_t endBefore = 0;
    std::size_t endAfter = 0;

    bool same(std::ptrdiff_t x, std::ptrdiff_t y) const {
        return before[first + static_cast<std::size_t>(x)] == after[first + static_cast<std::size_t>(y)];
    }
};

Middle middleOf(const Fields& before, const Fields& after) {
    Middle middle{before, after, 0, before.size(), after.size()};
    const std::size_t shorter = std::min(before.size(), after.size());
    while (middle.first < shorter && before[middle.first] == after[middle.first]) {
        ++middle.first;
    }
    while (middle.endBefore > middle.first && middle.endAfter > middle.first &&
           before[middle.endBefore - 1] == after[middle.endAfter - 1]) {
        --middle.endBefore;
        --middle.endAfter;
    }
    return middle;
}

// How far each diagonal has been followed after so many differences, from -d to d.
using Reach = std::vector<std::ptrdiff_t>;

std::ptrdiff_t startOf(const Reach& reach, std::ptrdiff_t d, std::ptrdiff_t k) {
    const auto at = [&](std::ptrdiff_t diagonal) {
        return reach[static_cast<std::size_t>(diagonal + d - 1)];
    };
    if (d == 0) {
        return 0;
    }
    return k == -d || (k != d && at(k - 1) < at(k + 1)) ? at(k + 1) : at(k - 1) + 1;
}

// The reaches of 0, 1, 2... differences, up to the way through; none when it is too long.
std::vector<Reach> reachesOf(const Middle& middle) {
    const auto width = static_cast<std::ptrdiff_t>(middle.endBefore - middle.first);
    const auto height = static_cast<std::ptrdiff_t>(middle.endAfter - middle.first);
    std::vector<Reach> reaches;
    for (std::ptrdiff_t d = 0; d <= std::min(width + height, kLongestWay); ++d) {
        Reach reach(static_cast<std::size_t>(2 * d + 1), 0);
        for (std::ptrdiff_t k = -d; k <= d; k += 2) {
            std::ptrdiff_t x = startOf(d == 0 ? reach : reaches.back(), d, k);
            while (x < width && x - k < height && x >= k && middle.same(x, x - k)) {
                ++x;
            }
            reach[static_cast<std::size_t>(k + d)] = x;
            if (k == width - height && x >= width) {
                reaches.push_back(std::move(reach));
                return reaches;
            }
        }
        reaches.push_back(std::move(reach));
    }
    return {};
}

Pairs pairsOf(const Middle& middle) {
    Pairs pairs;
    const std::vector<Reach> reaches = reachesOf(middle);
    auto x = static_cast<std::ptrdiff_t>(middle.endBefore - middle.first);
    auto y = static_cast<std::ptrdiff_t>(middle.endAfter - middle.first);
    for (auto d = static_cast<std::ptrdiff_t>(reaches.size()) - 1; d >= 0; --d) {
        const std::ptrdiff_t k = x - y;
        static const Reach kNone = {0};
        const Reach& former = d == 0 ? kNone : reaches[static_cast<std::size_t>(d - 1)];
        const std::ptrdiff_t start = startOf(former, d, k);
        for (; x > start; --x, --y) {
            pairs.emplace_back(middle.first + static_cast<std::size_t>(x - 1),
                               middle.first + static_cast<std::size_t>(y - 1));
        }
        if (d > 0) {
            const bool inserted = k == -d || (k != d && former[static_cast<std::size_t>(k - 1 + d - 1)] <
                                                            former[static_cast<std::size_t>(k + 1 + d - 1)]);
            (inserted ? y : x) -= 1;
        }
    }
    std::reverse(pairs.begin(), pairs.end());
    return pairs;
}

// Writes the edits of one list into another, from its end to its beginning.
class EditWriter {
public:
    EditWriter(const Fields& before, const Fields& after) : before_(before), after_(after) {
        std::map<std::string, std::size_t> counts;
        for (const MailField& field : before) {
            numbers_.push_back(++counts[platform::lowered(field.name)]);
        }
    }

    // Everything between two fields that stay: those of `before` in [x, endX) become those of `after` in
    // [y, endY). A field that goes and one that comes under the same name are one that changes.
    void block(std::size_t x, std::size_t endX, std::size_t y, std::size_t endY) {
        std::vector<std::optional<std::size_t>> partners;
        std::size_t next = x;
        for (std::size_t j = y; j < endY; ++j) {
            std::size_t i = next;
            while (i < endX && before_[i].name != after_[j].name) {
                ++i;
            }
            partners.push_back(i < endX ? std::optional(i) : std::nullopt);
            next = i < endX ? i + 1 : next;
        }
        std::size_t place = endX;
        for (std::size_t j = endY; j > y; --j) {
            const std::optional<std::size_t> partner = partners[j - 1 - y];
            if (partner) {
                remove(*partner + 1, place);
                place = *partner;
                edits_.push_back({HeaderEdit::Kind::Change, numbers_[place], &after_[j - 1]});
            } else if (place == before_.size()) {
                appended_.push_back({HeaderEdit::Kind::Append, 0, &after_[j - 1]});
            } else {
                edits_.push_back({HeaderEdit::Kind::Insert, place, &after_[j - 1]});
            }
        }
        remove(x, place);
    }

    std::vector<HeaderEdit> take() {
        edits_.insert(edits_.begin(), appended_.rbegin(), appended_.rend());
        return std::move(edits_);
    }

private:
    void remove(std::size_t first, std::size_t end) {
        for (; end > first; --end) {
            edits_.push_back({HeaderEdit::Kind::Remove, numbers_[end - 1], &before_[end - 1]});
        }
    }

    const Fields& before_;
    const Fields& after_;
    std::vector<std::size_t> numbers_; // of each field among those of its name
    std::vector<HeaderEdit> edits_;
    std::vector<HeaderEdit> appended_; // the last one first
};

} // namespace

std::vector<HeaderEdit> headerEdits(const Fields& before, const Fields& after) {
    const Middle middle = middleOf(before, after);
    Pairs pairs = pairsOf(middle);
    EditWriter writer(before, after);
    std::size_t endX = middle.endBefore;
    std::size_t endY = middle.endAfter;
    for (; !pairs.empty(); pairs.pop_back()) {
        const auto [x, y] = pairs.back();
        writer.block(x + 1, endX, y + 1, endY);
        endX = x;
        endY = y;
    }
    writer.block(middle.first, endX, middle.first, endY);
    return writer.take();
}

Fields fieldsOf(std::string_view header) {
    Fields fields;
    while (!header.empty()) {
        const std::size_t end = std::min(header.find('\n'), header.size());
        std::string_view line = header.substr(0, end);
        header.remove_prefix(std::min(end + 1, header.size()));
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        if (line.starts_with(' ') || line.starts_with('\t')) {
            if (!fields.empty()) {
                fields.back().value.append("\n").append(line);
            }
        } else if (const std::size_t colon = line.find(':'); colon != std::string_view::npos) {
            fields.push_back({std::string(line.substr(0, colon)), std::string(line.substr(colon + 1))});
        }
    }
    return fields;
}

} // namespace quzo::host
