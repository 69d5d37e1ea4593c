// Finds charsets by name. Mail's names differ from ICU's in two ways: some labels stand for a wider charset
// than they say, and some are not known to ICU. The table below settles those; every other name is ICU's
// business. Opening a converter costs microseconds and a lock inside ICU, so each thread keeps what it used.
#include "platform/charset/charset.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

namespace quzo::platform {

namespace {

// A label that ICU does not know, or does not read as mail means it.
struct Label {
    std::string_view folded;
    const char* icuName; // reads and writes it
    Narrow narrow = Narrow::None;
    const char* writerName = nullptr; // when another converter writes
};

constexpr std::array kLabels = {
    Label{"ascii", "US-ASCII"},
    Label{"ansix341968", "US-ASCII"},
    Label{"ansix341986", "US-ASCII"},
    Label{"iso646irv1991", "US-ASCII"},
    Label{"unicode11utf8", "UTF-8"},
    Label{"utf8mb4", "UTF-8"},
    Label{"cp65001", "UTF-8"},
    Label{"gb2312", "gb18030", Narrow::Gb2312},
    Label{"csgb2312", "gb18030", Narrow::Gb2312},
    Label{"gb231280", "gb18030", Narrow::Gb2312},
    Label{"gb23121980", "gb18030", Narrow::Gb2312},
    Label{"csiso58gb231280", "gb18030", Narrow::Gb2312},
    Label{"isoir58", "gb18030", Narrow::Gb2312},
    Label{"chinese", "gb18030", Narrow::Gb2312},
    Label{"euccn", "gb18030", Narrow::Gb2312},
    Label{"gbk", "gb18030", Narrow::Gbk},
    Label{"xgbk", "gb18030", Narrow::Gbk},
    Label{"cp936", "gb18030", Narrow::Gbk},
    Label{"ms936", "gb18030", Narrow::Gbk},
    Label{"windows936", "gb18030", Narrow::Gbk},
    Label{"euckr", "windows-949-2000", Narrow::EucKr},
    Label{"cseuckr", "windows-949-2000", Narrow::EucKr},
    Label{"ksc5601", "windows-949-2000", Narrow::EucKr},
    Label{"ksc56011987", "windows-949-2000", Narrow::EucKr},
    Label{"ksc56011989", "windows-949-2000", Narrow::EucKr},
    Label{"csksc56011987", "windows-949-2000", Narrow::EucKr},
    Label{"isoir149", "windows-949-2000", Narrow::EucKr},
    Label{"korean", "windows-949-2000", Narrow::EucKr},
    Label{"iso885911", "windows-874-2000", Narrow::Iso885911},
    Label{"iso8859112001", "windows-874-2000", Narrow::Iso885911},
    Label{"tis620", "windows-874-2000", Narrow::Tis620},
    Label{"tis6202533", "windows-874-2000", Narrow::Tis620},
    Label{"cstis620", "windows-874-2000", Narrow::Tis620},
    Label{"hz", "HZ", Narrow::Hz},
    Label{"hzgb2312", "HZ", Narrow::Hz},
    Label{"iso2022jpms", "iso-2022-jp"},
    Label{"cp50220", "iso-2022-jp"},
    Label{"cp50221", "iso-2022-jp"},
    Label{"cp50222", "iso-2022-jp"},
    Label{"eucjpms", "euc-jp"},
    Label{"eucjpwin", "euc-jp"},
    Label{"cp51932", "euc-jp"},
    // Read with or without a byte order mark, written without one.
    Label{"iso10646ucs2", "UTF-16", Narrow::None, "UTF-16BE"},
    Label{"ucs2", "UTF-16", Narrow::None, "UTF-16BE"},
};

std::string foldName(std::string_view name) {
    std::string folded;
    folded.reserve(name.size());
    for (const char c : name) {
        if (c >= 'A' && c <= 'Z') {
            folded += static_cast<char>(c - 'A' + 'a');
        } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
            folded += c;
        }
    }
    return folded;
}

ConverterHandle openConverter(const char* icuName) {
    UErrorCode status = U_ZERO_ERROR;
    ConverterHandle converter(ucnv_open(icuName, &status));
    return U_FAILURE(status) ? nullptr : std::move(converter);
}

bool isStatefulType(UConverterType type) {
    switch (type) {
        case UCNV_EBCDIC_STATEFUL:
        case UCNV_ISO_2022:
        case UCNV_HZ:
        case UCNV_SCSU:
        case UCNV_ISCII:
        case UCNV_UTF7:
        case UCNV_BOCU1:
        case UCNV_UTF16:
        case UCNV_UTF32:
        case UCNV_IMAP_MAILBOX:
        case UCNV_COMPOUND_TEXT:
            return true;
        default:
            return type >= UCNV_LMBCS_1 && type <= UCNV_LMBCS_LAST;
    }
}

// Decodes the 128 ASCII bytes one after the other: what they mean settles asciiCompatible and ibmControls.
void examineAscii(Charset& charset) {
    std::array<char, 128> bytes{};
    std::array<char16_t, 256> units{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i);
    }
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t count =
        ucnv_toUChars(charset.decoder.get(), units.data(), static_cast<std::int32_t>(units.size()),
                      bytes.data(), static_cast<std::int32_t>(bytes.size()), &status);
    if (U_FAILURE(status) || count != static_cast<std::int32_t>(bytes.size())) {
        return;
    }
    charset.ibmControls = units[0x1A] == 0x1C && units[0x1C] == 0x7F && units[0x7F] == 0x1A;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const bool permuted = charset.ibmControls && (i == 0x1A || i == 0x1C || i == 0x7F);
        if (units[i] != i && !permuted) {
            return;
        }
    }
    charset.asciiCompatible = true;
}

// Whether printable ASCII stands for itself as long as nothing was shifted.
bool holdsPrintableAscii(UConverter& decoder) {
    std::string bytes;
    for (char c = ' '; c <= '~'; ++c) {
        bytes += c;
    }
    std::u16string units(2 * bytes.size(), u'\0');
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t count = ucnv_toUChars(&decoder, units.data(), static_cast<std::int32_t>(units.size()),
                                             bytes.data(), static_cast<std::int32_t>(bytes.size()), &status);
    return U_SUCCESS(status) &&
           std::equal(bytes.begin(), bytes.end(), units.begin(), units.begin() + count,
                      [](char byte, char16_t unit) { return unit == static_cast<char16_t>(byte); });
}

std::string findMimeName(const UConverter& converter) {
    UErrorCode status = U_ZERO_ERROR;
    const char* icuName = ucnv_getName(&converter, &status);
    if (U_FAILURE(status) || icuName == nullptr) {
        return {};
    }
    const char* mime = ucnv_getStandardName(icuName, "MIME", &status);
    return U_FAILURE(status) || mime == nullptr ? std::string() : std::string(mime);
}

// The name that may stand in an encoded word for a label of our table.
std::string wordName(const Label& label) {
    switch (label.narrow) {
        case Narrow::Gb2312:
            return "gb2312";
        case Narrow::Gbk:
            return "gbk";
        case Narrow::EucKr:
            return "euc-kr";
        case Narrow::Iso885911:
            return "iso-8859-11";
        case Narrow::Tis620:
            return "tis-620";
        case Narrow::Hz: // never used in words
        case Narrow::None:
            break;
    }
    return {};
}

const Label* findLabel(std::string_view folded) {
    for (const Label& label : kLabels) {
        if (label.folded == folded) {
            return &label;
        }
    }
    return nullptr;
}

std::shared_ptr<Charset> open(std::string_view name, std::string folded) {
    auto charset = std::make_shared<Charset>();
    const Label* label = findLabel(folded);
    const std::string reader(label != nullptr ? label->icuName : name);
    const std::string writer(label != nullptr && label->writerName != nullptr ? label->writerName : reader);
    charset->decoder = openConverter(reader.c_str());
    charset->encoder = openConverter(writer.c_str());
    if (charset->decoder == nullptr || charset->encoder == nullptr) {
        return nullptr;
    }
    const UConverterType type = ucnv_getType(charset->decoder.get());
    charset->wide = ucnv_getMinCharSize(charset->decoder.get()) > 1;
    charset->stateful = isStatefulType(type);
    charset->orderByMark = type == UCNV_UTF16;
    charset->maxCharBytes = static_cast<unsigned>(ucnv_getMaxCharSize(charset->encoder.get()));
    charset->basicPlaneOnly = label != nullptr && label->writerName != nullptr;
    charset->mimeName = findMimeName(*charset->decoder);
    if (label != nullptr && label->narrow != Narrow::None) {
        charset->narrow = label->narrow;
        charset->mimeName = wordName(*label);
    }
    if (type == UCNV_UTF8) {
        charset->kind = Charset::Kind::Utf8;
    } else if (charset->mimeName == "ISO-2022-JP") {
        charset->kind = Charset::Kind::Iso2022Jp;
    }
    if (!charset->stateful && !charset->wide) {
        examineAscii(*charset);
    }
    // Of the stateful ones those that begin in ASCII (ICU has a Won sign in Korean text for the backslash);
    // the others use ASCII bytes and NUL for characters of theirs.
    charset->holdsAscii =
        charset->stateful ? type == UCNV_ISO_2022 : !charset->wide && holdsPrintableAscii(*charset->decoder);
    charset->folded = std::move(folded);
    return charset;
}

// The charsets that a thread used last, the latest first.
class Cache {
public:
    std::shared_ptr<Charset> find(std::string_view name) {
        std::string folded = foldName(name);
        const auto found = std::find_if(kept_.begin(), kept_.end(),
                                        [&](const auto& charset) { return charset->folded == folded; });
        if (found != kept_.end()) {
            std::rotate(kept_.begin(), found, found + 1);
            return kept_.front();
        }
        auto charset = open(name, std::move(folded));
        if (charset != nullptr) {
            if (kept_.size() == kCharsetsKeptByThread) {
                kept_.pop_back();
            }
            kept_.insert(kept_.begin(), charset);
        }
        return charset;
    }

private:
    std::vector<std::shared_ptr<Charset>> kept_;
};

} // namespace

bool isCharsetName(std::string_view name) {
    if (name.empty() || name.size() > kMaxCharsetName) {
        return false;
    }
    // No comma, which begins ICU's converter options, and no slash.
    constexpr std::string_view kPunctuation = "-_.:+()";
    bool visible = false;
    for (const char c : name) {
        const bool alphanumeric = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        if (!alphanumeric && kPunctuation.find(c) == std::string_view::npos) {
            return false;
        }
        visible = visible || alphanumeric;
    }
    return visible;
}

std::shared_ptr<Charset> findCharset(std::string_view name) {
    if (!isCharsetName(name)) {
        return nullptr;
    }
    thread_local Cache cache;
    return cache.find(name);
}

std::shared_ptr<Charset> findCharset(const char* name) {
    // strnlen: a hostile name need not be read to its end to be refused.
    return name == nullptr ? nullptr
                           : findCharset(std::string_view(name, strnlen(name, kMaxCharsetName + 1)));
}

bool isSameCharset(const Charset& a, const Charset& b) {
    if (a.folded == b.folded) {
        return true;
    }
    UErrorCode status = U_ZERO_ERROR;
    const char* nameA = ucnv_getName(a.decoder.get(), &status);
    const char* nameB = ucnv_getName(b.decoder.get(), &status);
    return U_SUCCESS(status) && std::strcmp(nameA, nameB) == 0 && a.narrow == b.narrow &&
           a.basicPlaneOnly == b.basicPlaneOnly;
}

} // namespace quzo::platform
