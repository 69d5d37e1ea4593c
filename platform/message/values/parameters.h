// The parameters of a structured field ("; name=value") where they stand in its raw value.
//
// Reading and replacing in place: everything else of the field keeps its bytes. Nothing is decoded here
// beyond quotes; file names, with all their encodings, are read by file_names.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

struct ParameterSpan {
    std::size_t begin = 0;  // the ';' before it
    std::size_t end = 0;    // behind it: the next ';', or the end of the value
    std::string_view name;  // as spelled, with the '*' forms of continued and encoded parameters
    std::string_view value; // as spelled, quotes included
};

// Calls `take` with each parameter in order; views into `rawValue`. A quote that is not closed reaches to the
// end. Keeps nothing: there may be hundreds of thousands.
void eachParameter(std::string_view rawValue, const std::function<void(const ParameterSpan&)>& take);

// How a reader may take a value apart. What one of them shows as a file name another overlooks.
enum class ParameterReading : std::uint8_t {
    Standard,       // a comment or a quote that is not closed reaches to the end
    NoComments,     // parentheses are characters like others
    SemicolonsOnly, // quotes too: every semicolon ends a parameter
};

// The readings that may find something in `rawValue`, Standard first. The others are there when the value has
// what they read otherwise: a comment, a quote that is not closed.
std::vector<ParameterReading> parameterReadings(std::string_view rawValue);

// As above, in one reading, and as those read who look for parameters: one may also stand where the type
// belongs, in front of the first semicolon, and of a name with blanks in it (a semicolon was forgotten) the
// last word counts.
void eachParameter(std::string_view rawValue, ParameterReading reading,
                   const std::function<void(const ParameterSpan&)>& take);

// The name in front of the '*' of a continued or encoded parameter, or the whole name.
std::string_view baseName(std::string_view name);

// `rawValue` with the parameter set: replaced where it first stands, whatever its form, further ones
// of the name dropped, or added at the end, on a line of its own when the last one would grow beyond 76.
// `column` is how much of the first line stands before the value. Non-ASCII values, which must be UTF-8,
// are written in the encoded form. The final line break of `rawValue`, if any, is not in the result.
// Empty when `name` is no token.
std::string replaceParameter(std::string_view rawValue, std::string_view name, std::string_view value,
                             std::size_t column, std::string_view lineBreak);

} // namespace quzo::platform
