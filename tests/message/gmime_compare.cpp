// The comparison with GMime. See gmime_compare.h.
#include "tests/message/gmime_compare.h"

#include <algorithm>
#include <sstream>

#include "platform/message/structure/content_type.h"
#include "platform/message/structure/structure.h"
#include "platform/message/structure/structure_lines.h"
#include "quzo/core/message.h"
#include "tests/message/gmime_prediction.h"
#include "tests/message/gmime_tree.h"

namespace quzo::platform::test {

namespace {

class Comparer {
public:
    explicit Comparer(std::string_view text)
        : text_(text),
          structure_(scanStructure(text, scanHeader(text, 0, text.size(), kLimits), kLimits)),
          expected_(text_, structure_),
          gmime_(text),
          gmimeChildren_(gmime_.nodes().size()) {
        for (std::size_t i = 1; i < gmime_.nodes().size(); ++i) {
            gmimeChildren_[node(i).parent].push_back(i);
        }
    }

    Comparison run();

private:
    static constexpr Limits kLimits{};
    struct Pair {
        std::size_t entity;
        std::size_t node;
    };

    const EntitySpan& entity(std::size_t i) const { return structure_.entities[i]; }
    const GmimeNode& node(std::size_t i) const { return gmime_.nodes()[i]; }

    void compare(Pair pair);
    bool compareHeader(Pair pair);
    void compareLeaf(Pair pair);
    void compareMultipart(Pair pair);
    void compareChildren(Pair pair);
    void note(Difference difference) { ++result_.differences[static_cast<std::size_t>(difference)]; }
    template <typename Ours, typename Theirs>
    void same(std::size_t i, const char* what, const Ours& ours, const Theirs& theirs);

    std::string_view text_;
    Structure structure_;
    GmimePrediction expected_;
    GmimeTree gmime_;
    std::vector<std::vector<std::size_t>> gmimeChildren_;
    std::vector<Pair> pending_;
    Comparison result_;
};

template <typename Ours, typename Theirs>
void Comparer::same(std::size_t i, const char* what, const Ours& ours, const Theirs& theirs) {
    if (!(ours == theirs)) {
        std::ostringstream line;
        line << "entity " << i << ", " << what << ": scan '" << ours << "', GMime '" << theirs << "'";
        result_.unexplained.push_back(line.str().substr(0, 500));
    }
}

bool Comparer::compareHeader(Pair pair) {
    const EntitySpan& span = entity(pair.entity);
    std::vector<GmimeField> fields = node(pair.node).fields;
    const bool namelessFirst = !fields.empty() && fields.front().name.empty();
    if (std::erase_if(fields, [](const GmimeField& field) { return field.name.empty(); }) != 0) {
        note(Difference::namelessField);
    }
    same(pair.entity, "fields", span.header.fields.size(), fields.size());
    if (span.header.fields.size() != fields.size()) {
        return false;
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const FieldSpan& field = span.header.fields[i];
        const bool first = i == 0 && !namelessFirst;
        const std::size_t offset = first ? expected_.blockBegin(pair.entity) : field.begin;
        if (offset != field.begin) {
            note(Difference::mboxLine);
        }
        const std::string_view value = text_.substr(field.valueBegin, field.end - field.valueBegin);
        same(pair.entity, "offset of a field", offset, fields[i].offset);
        same(pair.entity, "name of a field", fieldName(text_, field), fields[i].name);
        same(pair.entity, "value of a field", value.substr(0, value.find('\0')), fields[i].rawValue);
    }
    return true;
}

void Comparer::compareLeaf(Pair pair) {
    const EntitySpan& span = entity(pair.entity);
    const GmimeNode& theirs = node(pair.node);
    const std::size_t size = span.bodyEnd - span.header.bodyBegin;
    if (theirs.kind == GmimeNode::Kind::multipart) {
        note(Difference::noParts);
        same(pair.entity, "is a multipart", governingContentType(text_, span.header).is("multipart"), true);
        same(pair.entity, "children", 0U, gmimeChildren_[pair.node].size());
        return;
    }
    if (theirs.kind == GmimeNode::Kind::message) {
        note(Difference::emptyMessage);
        same(pair.entity, "bytes of an empty message", 0U, size);
        return;
    }
    if (!theirs.body) {
        same(pair.entity, "bytes of a body that GMime does not have", 0U, size);
        return;
    }
    const std::size_t end = expected_.bodyEnd(span.header.bodyBegin, span.bodyEnd);
    if (end != span.bodyEnd) {
        note(Difference::otherLineBreak);
    }
    same(pair.entity, "start of the body", span.header.bodyBegin, theirs.body->first);
    same(pair.entity, "end of the body", end, theirs.body->second);
}

void Comparer::compareMultipart(Pair pair) {
    const EntitySpan& span = entity(pair.entity);
    const GmimeNode& theirs = node(pair.node);
    const std::size_t begin = span.header.bodyBegin;
    same(pair.entity, "multipart", true, theirs.kind == GmimeNode::Kind::multipart);
    if (expected_.closesEarly(pair.entity)) {
        note(Difference::earlyClose);
        return;
    }
    const std::size_t preambleEnd = std::max(begin, beforeLineBreak(text_, span.firstBoundary));
    same(pair.entity, "preamble", expected_.face(begin, preambleEnd), theirs.preamble);
    std::string epilogue;
    if (span.closed) {
        const std::size_t behind = findLineEnd(text_, span.closeDelimiter, text_.size());
        epilogue = expected_.face(behind, std::max(behind, span.bodyEnd));
    }
    same(pair.entity, "epilogue", epilogue, theirs.epilogue);
    compareChildren(pair);
}

void Comparer::compareChildren(Pair pair) {
    const std::vector<std::size_t>& theirs = gmimeChildren_[pair.node];
    std::size_t count = 0;
    for (std::size_t child = pair.entity + 1; child != EntitySpan::kNone; child = entity(child).nextSibling) {
        if (expected_.endsInName(child)) {
            note(Difference::endsInName);
            continue;
        }
        if (count < theirs.size()) {
            pending_.push_back({child, theirs[count]});
        }
        ++count;
    }
    same(pair.entity, "children", count, theirs.size());
}

void Comparer::compare(Pair pair) {
    const EntitySpan& span = entity(pair.entity);
    if (!compareHeader(pair)) {
        return;
    }
    if (const auto difference = expected_.readsOtherwise(pair.entity)) {
        note(*difference);
    } else if (!span.header.readable) {
        note(Difference::junkHeader);
    } else if (span.type == kEntityMultipart) {
        compareMultipart(pair);
    } else if (span.type == kEntityLeaf) {
        compareLeaf(pair);
    } else {
        same(pair.entity, "message", true, node(pair.node).kind == GmimeNode::Kind::message);
        compareChildren(pair);
    }
}

Comparison Comparer::run() {
    if (const auto difference = expected_.partsWays()) {
        note(*difference);
        return result_;
    }
    const auto nothing = expected_.seesNothing();
    if (nothing) {
        note(*nothing);
    }
    same(0, "message", !nothing.has_value(), gmime_.message());
    if (!nothing && gmime_.message()) {
        pending_.push_back({0, 0});
    }
    while (!pending_.empty()) {
        const Pair pair = pending_.back();
        pending_.pop_back();
        compare(pair);
    }
    return result_;
}

} // namespace

Comparison compareWithGmime(std::string_view text) { return Comparer(text).run(); }

} // namespace quzo::platform::test
