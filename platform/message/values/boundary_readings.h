// The boundaries that readers may take from the parameters of a multipart.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

struct BoundaryReadings {
    std::vector<std::string> labels; // each once; one that ends with blanks stands there without them as well
    bool more = false;               // there were more than kMax, and the rest is not among them

    static constexpr std::size_t kMax = 16;
};

// Reads every `boundary` among the parameters of a Content-Type in each way that somebody reads it: quotes
// and backslashes undone or left, cut at a comment or a blank or not, percent-encoded or not, in one piece or
// in sections. Readers differ in them, and whoever hides an attachment writes a boundary that one reads and
// another does not.
BoundaryReadings boundaryReadings(std::string_view parameters);

// Which of the labels, by their places in ascending order, stand in a boundary line of `content` that is no
// close delimiter. Of one that ends with blanks these count, of the others blanks at the end of a line do
// not. One pass over `content`.
std::vector<std::size_t> labelsInUse(std::string_view content, const std::vector<std::string>& labels);

// `content` for those who compare the blanks at the end of a boundary as well: the boundary lines with just
// these blanks have `label` in their place, and any other line is none. An empty label: there is none that
// `content` does not hold already.
struct ExactBoundary {
    std::string label;
    std::string content;
};
ExactBoundary withExactBoundary(std::string_view content, std::string_view label);

} // namespace quzo::platform
