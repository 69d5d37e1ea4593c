// What an SMTP server answers, taken out of the bytes that come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quzo::platform {

struct SmtpReply {
    int code = 0;     // 200 to 599
    std::string text; // "550 5.1.1 no such user": the code and the lines' texts, joined by blanks; may be cut

    bool positive() const { return code / 100 == 2; }
    bool permanent() const { return code / 100 == 5; }
};

// Nothing that a server sends takes more than kMaxReply bytes of memory. For one thread.
class ReplyReader {
public:
    static constexpr std::size_t kMaxReply = std::size_t{16} << 10U; // of one reply, with all its lines
    static constexpr std::size_t kMaxText = 1000;                    // of SmtpReply::text

    enum class State : std::uint8_t {
        More,   // there is no whole reply yet
        Whole,  // here is one
        Broken, // what came is no reply, and nothing that comes after it can be understood
    };

    void feed(std::string_view bytes) { bytes_.append(bytes); }

    // Takes the next reply. Lines may end in LF alone.
    State next(SmtpReply& out);

    // Whether bytes have come that no reply was made of yet.
    bool pending() const { return !bytes_.empty(); }

private:
    std::string bytes_;
};

} // namespace quzo::platform
