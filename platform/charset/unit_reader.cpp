// Reading bytes as UTF-16. ICU's own handlers for what cannot be read lose the difference that matters here:
// a code that nobody assigned, against bytes that are no text at all. So there is one of ours.
#include "platform/charset/unit_reader.h"

#include <unicode/ucnv_cb.h>
#include <unicode/ucnv_err.h>

#include <algorithm>

#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

// ICU's IBM tables exchange three control characters; see Charset::ibmControls.
char16_t restoreControl(char16_t unit) {
    switch (unit) {
        case 0x1C:
            return 0x1A;
        case 0x7F:
            return 0x1C;
        case 0x1A:
            return 0x7F;
        default:
            return unit;
    }
}

} // namespace

UnitReader::UnitReader(Charset& charset, OnUnreadable onUnreadable, char16_t substitute)
    : charset_(charset), onUnreadable_(onUnreadable), substitute_(substitute) {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_resetToUnicode(charset_.decoder.get());
    ucnv_setToUCallBack(charset_.decoder.get(), &UnitReader::unreadable, this, nullptr, nullptr, &status);
}

UnitReader::~UnitReader() {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(charset_.decoder.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
}

void UnitReader::unreadable(const void* context, UConverterToUnicodeArgs* args, const char* /*bytes*/,
                            std::int32_t /*length*/, UConverterCallbackReason reason, UErrorCode* status) {
    if (reason > UCNV_IRREGULAR) {
        return; // the converter is being reset, copied or closed
    }
    if (reason == UCNV_IRREGULAR && *status == U_ILLEGAL_ESCAPE_SEQUENCE) {
        *status = U_ZERO_ERROR; // a shift sequence with nothing behind it, as joined encoded words have
        return;
    }
    const auto& reader = *static_cast<const UnitReader*>(context);
    if (reader.onUnreadable_ == OnUnreadable::ReplaceAll) {
        *status = U_ZERO_ERROR;
        ucnv_cbToUWriteUChars(args, &reader.substitute_, 1, 0, status);
    }
}

std::size_t UnitReader::read(std::string_view& in, char16_t* buffer, std::size_t capacity,
                             std::int32_t* offsets) {
    const char* source = in.data();
    char16_t* target = buffer;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_toUnicode(charset_.decoder.get(), &target, buffer + capacity, &source, in.data() + in.size(),
                   offsets, static_cast<UBool>(true), &status);
    in.remove_prefix(static_cast<std::size_t>(source - in.data()));
    if (status != U_BUFFER_OVERFLOW_ERROR) {
        done_ = true;
        error_ = U_FAILURE(status) ? static_cast<int>(kErrorMalformedText) : 0;
    }
    if (charset_.ibmControls) {
        std::transform(buffer, target, buffer, restoreControl);
    }
    return static_cast<std::size_t>(target - buffer);
}

} // namespace quzo::platform
