// What GMime is expected to make of a message where it differs from the structure scan.
//
// Every answer comes from the text of the message and from what the scan found in it, never from GMime's
// result, so that a difference can explain nothing by accident.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/structure/structure.h"
#include "tests/message/gmime_compare.h"

namespace quzo::platform::test {

class GmimePrediction {
public:
    // Both must outlive this object.
    GmimePrediction(std::string_view text, const Structure& structure) : text_(text), structure_(structure) {}

    // Why GMime goes another way from some place on, so that the trees cannot be compared, if it does.
    std::optional<Difference> partsWays() const;

    // Why GMime sees no message at all, if so.
    std::optional<Difference> seesNothing() const;

    // Why GMime goes by another type or boundary for this entity, if so.
    std::optional<Difference> readsOtherwise(std::size_t i) const;

    // Whether the data ends, without a line break, inside of what may be a name in this header as GMime looks
    // for its end (a boundary line without a line break is one): GMime drops the part then.
    bool endsInName(std::size_t i) const;

    // Whether a close delimiter stands in front of the first part of a multipart.
    bool closesEarly(std::size_t i) const;

    // GMime's offset of the first field of a header block.
    std::size_t blockBegin(std::size_t i) const;

    // Where a body that begins at `begin` ends for GMime; `bodyEnd` is where it ends for the scan.
    std::size_t bodyEnd(std::size_t begin, std::size_t bodyEnd) const;

    // The same range as the text of a preamble or an epilogue.
    std::string face(std::size_t begin, std::size_t bodyEnd) const;

private:
    const EntitySpan& entity(std::size_t i) const { return structure_.entities[i]; }

    std::optional<Difference> leavesScanAt(std::size_t i) const;
    std::optional<Difference> startsOddly() const;
    bool namesOuterBoundary(std::size_t i) const;
    bool isOpenAround(std::size_t i, const std::string& label) const;
    std::optional<Difference> hidesOuterBoundary(std::size_t i) const;
    bool swallowsBoundary(std::size_t i) const;
    bool fillsBufferInJunk(std::size_t i) const;
    bool hasLongName(std::size_t i) const;
    bool hasLoneReturn(const HeaderSpan& header) const;
    bool hasEmptyLine(std::size_t begin, std::size_t end) const;
    bool endsAtOwnBoundary(std::size_t i) const;
    bool closesEarly(std::size_t i, const std::string& label) const;
    std::vector<std::string> labels(std::size_t i) const;
    std::size_t headerStop(std::size_t i) const;
    std::size_t scanStop(std::size_t i) const;
    std::size_t boundaryBehind(std::size_t bodyEnd) const;
    std::size_t taken(std::size_t boundary) const;

    std::string_view text_;
    const Structure& structure_;
};

} // namespace quzo::platform::test
