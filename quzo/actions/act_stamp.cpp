// The stamp's text and charset are made here; where it goes in the message is the platform's to know.
#include "quzo/actions/act_stamp.h"

#include <algorithm>
#include <iterator>
#include <list>

#include "quzo/actions/stamp_line_limit.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"
#include "quzo/core/handles.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/settings/stamp_forms.h"
#include "quzo/tokens/action_utils.h"

namespace quzo {
namespace {

constexpr char kStoredLineEnd = '\x03';
constexpr const char* kLineBreak = "\r\n";
constexpr int kDefaultLineLimit = 990;
constexpr int kMaxLineLimit = 998;
constexpr unsigned kStampProtected = 2; // of uiStampArea::signedTnefMode

// Set by init, then only read.
struct StampSettings {
    bool ignoreInsertError = false;
    int lineLimit = kDefaultLineLimit;
    int blankLines = 0;
    bool preferUtf8 = false;
};
StampSettings s_settings;

// Content types whose presence forbids stamping.
constexpr const char* g_forbidden_types[] = {"ms-tnef"};

// Leaves `value` as it is when the key cannot be read.
void read_int(GlobalSetting& settings, const char* key, const char* section, int& value) {
    int read = 0;
    if (settings.getIntValue(key, read, section, 0) == 0) {
        value = read;
    }
}

void prepare_text(std::string& text) {
    std::string prepared;
    for (int i = 0; i < s_settings.blankLines; ++i) {
        prepared += kLineBreak;
    }
    for (const char c : text) {
        if (c == kStoredLineEnd) {
            prepared += kLineBreak;
        } else {
            prepared += c;
        }
    }
    text.swap(prepared);
}

bool is_protected(KvMsgMailMessage* msg) {
    std::list<KvMsgEntity*> found;
    for (const char* name : g_forbidden_types) {
        if (!msgu::findContentType(msg, name, found, true)) {
            ActionLog::L1("Failed to gather content type ('%s') information.", name);
            continue;
        }
        if (!found.empty()) {
            return true;
        }
    }
    return msg->isSigned() || msg->isEncrypted();
}

std::string destination_charset(const KvMsgMailMessage* msg) {
    std::string charset;
    const bool useMailCharset = ActionUtils::getUseMailCharsetFlag();
    if (useMailCharset) {
        const char* ofMessage = msgu::getCharset(msg);
        charset = ofMessage == nullptr ? "" : ofMessage;
    }
    if (charset.empty()) {
        charset = ActionUtils::getUseUTF8AsPreferForStampActionFlag() ? "utf-8"
                                                                      : ActionUtils::getDefaultDstCharset();
    }
    if (s_settings.preferUtf8 && !useMailCharset) {
        charset = "utf-8";
    }
    ActionLog::L3("PreferCharset has been set to %s", charset.c_str());
    return charset;
}

// The text with its tokens replaced. Only a divider of the stored text makes HTML of what follows: values of
// tokens, which may come from the message, lose theirs.
bool replace_tokens(TokenMap<ScanToken>& tokens, const std::string& stored, const KvMsgMailMessage& msg,
                    std::string& out) {
    const std::size_t divider = stored.find(kStampHtmlBegins);
    const auto append = [&](const std::string& form) {
        std::string replaced;
        const bool done = ActionUtils::replaceTokens(tokens, form, msg, replaced);
        std::remove_copy(replaced.begin(), replaced.end(), std::back_inserter(out), kStampHtmlBegins);
        return done;
    };
    if (divider == std::string::npos) {
        return append(stored);
    }
    const bool done = append(stored.substr(0, divider));
    out += kStampHtmlBegins;
    return append(stored.substr(divider + 1)) && done;
}

bool insert(KvMsgMailMessage* msg, int position, const std::string& text, const std::string& charset,
            unsigned mode) {
    const std::size_t length = text.size();
    const LocatorHandle locator(KvMsg_CreateResourceLocator(text.data(), 1, length, length, 1));
    if (locator == nullptr) {
        ActionLog::L1(
            "Failed to create in-memory resource locator (length %u bytes) for disclaimer insertion.",
            static_cast<unsigned>(length));
        return false;
    }
    constexpr int kKind = 20;
    const int error = msg->insertStamp(position, locator.get(), kKind, "utf-8",
                                       charset.empty() ? nullptr : charset.c_str());
    if (error == 0) {
        return true;
    }
    const char* what = KVMSGERR::I2A(error);
    const auto number = static_cast<unsigned>(error);
    const unsigned modify = mode != 1 ? 1 : 0;
    if (s_settings.ignoreInsertError) {
        ActionLog::L2(
            "Stamp insertion failure is ignored. Error: %s (%u), modify signed/tnef: %u, dst charset: %s",
            what, number, modify, charset.c_str());
        return true;
    }
    ActionLog::L1(
        "Failed to insert stamp into message. Error: %s (%u), modify signed/tnef: %u, dst charset: %s", what,
        number, modify, charset.c_str());
    return false;
}

} // namespace

bool ActStamp::init(GlobalSetting& settings, LogMsg& /*log*/) {
    return guarded("ActStamp::init", true, [&] {
        s_settings = {};
        int ignore = 0;
        read_int(settings, "IgnoreInsertError", "MessageModule", ignore);
        s_settings.ignoreInsertError = ignore != 0;
        if (s_settings.ignoreInsertError) {
            ActionLog::L2("Ignore stamp insertion failure");
        }
        read_int(settings, "DisclaimerLineLimit", "MessageModule", s_settings.lineLimit);
        s_settings.lineLimit = std::min(s_settings.lineLimit, kMaxLineLimit);
        read_int(settings, "NumOfBlankLineBeforeStampMessage", "general", s_settings.blankLines);
        s_settings.blankLines = std::max(s_settings.blankLines, 0);
        ActionLog::L3("NumOfBlankLineBeforeStampMessage:%d", s_settings.blankLines);
        int attach = 0;
        read_int(settings, "InsertStampAsAttachment", "MessageModule", attach);
        if (attach >= 1) {
            KvMsg_SetDisclaimerAttachmentAsDefault(1);
        }
        int prefer = 0;
        read_int(settings, "PreferCharsetAsUTF8", "MessageModule", prefer);
        s_settings.preferUtf8 = prefer != 0;
        return true;
    });
}

bool ActStamp::modifyIfHasLimitLine(std::string& text, const char* charset) {
    return guarded("ActStamp::modifyIfHasLimitLine", false,
                   [&] { return divideLongLines(text, charset, s_settings.lineLimit); });
}

bool ActStamp::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                          bool& /*msgConsumed*/, TokenMap<ScanToken>& tokens, KvIsAdapter& /*adapter*/,
                          const NamedObjMgrForScanner& namedObjects) {
    return guarded("ActStamp::takeAction", false, [&] {
        if (namedObjIds.empty()) {
            return false;
        }
        const unsigned id = namedObjIds.front();
        QuzoNamedObj* object = namedObjects.find(id);
        if (object == nullptr) {
            ActionLog::L1("Invalid name object type reference. id=%u", id);
            return false;
        }
        auto* area = dynamic_cast<uiStampArea*>(object);
        if (object->getType() != QuzoNamedObj::NaObjType::StampArea || area == nullptr) {
            ActionLog::L1("Incorrect name object type reference. type=%u",
                          static_cast<unsigned>(object->getType()));
            return false;
        }
        return msg != nullptr && takeAction(msg, tokens, area);
    });
}

bool ActStamp::takeAction(KvMsgMailMessage* msg, TokenMap<ScanToken>& tokens, uiStampArea* area) {
    return guarded("ActStamp::takeAction", false, [&] {
        prepare_text(area->stampText);
        const int position = area->position == 1 ? 1 : 2;
        if (area->signedTnefMode != kStampProtected && is_protected(msg)) {
            return true;
        }
        const std::string charset = destination_charset(msg);
        std::string text;
        if (!replace_tokens(tokens, area->stampText, *msg, text)) {
            return false;
        }
        if (!charset.empty()) {
            modifyIfHasLimitLine(text, charset.c_str());
        }
        return text.empty() || insert(msg, position, text, charset, area->signedTnefMode);
    });
}

} // namespace quzo
