// A notification as a program on GMime makes it: a text, and the message that it tells of behind it.
#pragma once

#include <gmime/gmime.h>

#include <memory>
#include <string>
#include <string_view>

#include "bench/gmime_message.h"
#include "bench/read_notice.h"

namespace quzo::bench {

class GMimeNotice {
public:
    // How the attached message is given to GMime: as it was parsed before, or as bytes. Those that are said
    // to be binary it writes as they are; all others go through its filter of line ends.
    enum class Attached { Parsed, Bytes, BinaryBytes };

    // Parses the attached message. The notice is the caller's and outlives this.
    GMimeNotice(const Notice& notice, Attached way);

    // Makes the mail and writes it; valid until the next call.
    std::string_view compose();

private:
    struct FreeArray {
        void operator()(GByteArray* array) const { g_byte_array_unref(array); }
    };
    using Array = std::unique_ptr<GByteArray, FreeArray>;

    static Array arrayOf(const std::string& bytes);
    GObjectOwner<GMimeMessage> makeHeader() const;
    GObjectOwner<GMimeObject> makeText() const;
    GObjectOwner<GMimeObject> makeAttached() const;

    const Notice& notice_;
    const Attached way_;
    const GObjectOwner<GMimeMessage> parsed_;
    const Array attached_;
    const Array text_;
    const Array out_; // keeps its room from one mail to the next
};

} // namespace quzo::bench
