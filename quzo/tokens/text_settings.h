// The process-wide settings of texts, shared by the files of this room.
#pragma once

#include <string>

namespace quzo {

// Written by ActionUtils::init, then only read.
struct TextSettings {
    std::string defaultDstCharset = "us-ascii";
    std::string localCharset = "us-ascii";
    bool useMailCharset = false;
    bool preferUtf8ForStamps = false;
    std::string japaneseTime = "no"; // exactly "yes" switches the Japanese date on
    std::string timeFormat;          // a strftime pattern
};

TextSettings& textSettings();

} // namespace quzo
