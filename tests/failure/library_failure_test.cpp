// Memory runs out in what all actions share: tokens and their replacement, start-up, the gateway to the
// store.
#include <utility>

#include "library_stage.h"
#include "quzo/core/create_action.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/name_object_access.h"
#include "quzo/tokens/action_utils.h"
#include "quzo/tokens/text_settings.h"

namespace quzo::test {
namespace {

struct IdList : QuzoActionN {
    IdList() : QuzoActionN(ActionType::Stamp, false) {}
};

void prepareTokens(LibraryStage& stage) {
    stage.settings.values["MessageModule/UseMailCharsetAsDestinationCharset"] = "1";
    stage.settings.values["General-Notification/PreferredCharset"] = "x-a-charset-with-a-long-name";
    stage.settings.values["general/locale"] = "ja";
    stage.settings.values["general/useQUZOLocaleForNotificationTime"] = "yes";
    stage.restart();
    fake().subject = kLong;
    fake().headers = kLong;
    fake().charset = "x-a-charset-of-the-message";
    fake().xMailId = "an-identifier-that-is-rather-long";
    stage.tokens.set(ScanToken::QuarantineArea, "an area");
    stage.tokens.set(ScanToken::ActionCodes, "1;2;3;4;5;7;8;9;10;11;12;16;18");
    stage.tokens.set(ScanToken::RuleActionCodes, "1;2;3;4;5;7;8;9;10;11;12;16;18");
    stage.tokens.set(ScanToken::Sender, kLong);
}

// Every token that is computed, and a stored one: its value, and a text that has it.
void addTokens(std::vector<LibraryRow>& rows) {
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        if (entry->fill == nullptr && entry->token != ScanToken::Sender) {
            continue;
        }
        const std::string number = std::to_string(static_cast<int>(entry->token));
        const TokenFill fill = entry->fill;
        const ScanToken code = entry->token;
        LibraryRow value{"Token" + number, prepareTokens, [entry](LibraryStage& stage) {
                             const char* found =
                                 ActionUtils::getTokenValue(stage.tokens, entry->name, stage.message);
                             return found != nullptr && *found != '\0';
                         }};
        value.allocates = fill != nullptr;
        value.afterFailure = [code](LibraryStage& stage) { EXPECT_EQ(stage.token(code), "(none)"); };
        rows.push_back(value);
        if (fill != nullptr) {
            LibraryRow row{"Fill" + number, prepareTokens, [fill](LibraryStage& stage) {
                               std::string filled;
                               return fill(stage.tokens, stage.message, filled) && !filled.empty();
                           }};
            // These hand the platform's text on.
            row.allocates =
                code != ScanToken::Headers && code != ScanToken::Action && code != ScanToken::RuleAction;
            rows.push_back(row);
        }
        rows.push_back({"Replace" + number,
                        [entry](LibraryStage& stage) {
                            prepareTokens(stage);
                            stage.text = kLong;
                            stage.text.append(entry->name).append(kLong);
                        },
                        [](LibraryStage& stage) {
                            std::string out;
                            return ActionUtils::replaceTokens(stage.tokens, stage.text, stage.message, out);
                        }});
    }
}

void addStart(std::vector<LibraryRow>& rows) {
    rows.push_back(
        {"CreateAction", [](LibraryStage&) {},
         [](LibraryStage&) { return createAction(QuzoAction::ActionType::TagSubject) != nullptr; }});
    LibraryRow start{"InitActionLib",
                     [](LibraryStage& stage) {
                         prepareTokens(stage);
                         fake().bundle["AU_NOTIFY_TIMEFORMAT"] = kLong;
                         TextSettings fresh;
                         std::swap(textSettings(), fresh);
                     },
                     [](LibraryStage& stage) {
                         if (!InitActionLib(stage.settings, stage.log)) {
                             stage.fault = "false";
                         }
                         return textSettings().timeFormat == kLong &&
                                ActionUtils::getTokenValue(stage.tokens, "%SENDER%", stage.message) == kLong;
                     }};
    start.mayWork = true; // such as with the quarantine's directory missing
    rows.push_back(start);
    LibraryRow tables{"TokenTables", [](LibraryStage&) {},
                      [](LibraryStage& stage) {
                          stage.log.lines.clear();
                          ActionUtils::_build_token_string_table();
                          return stage.hasLine(3);
                      }};
    tables.afterFailure = [](LibraryStage& stage) {
        // The former tables stay.
        EXPECT_NE(ActionUtils::getTokenValue(stage.tokens, "%SUSPICIOUS_URL%", stage.message), nullptr);
    };
    rows.push_back(tables);
    LibraryRow line{"LogLine", [](LibraryStage& stage) { stage.text.assign(5000, 'x'); },
                    [](LibraryStage& stage) {
                        ActionLog::L1("%s", stage.text.c_str());
                        return true;
                    }};
    line.allocates = false;
    rows.push_back(line);
}

using Access = NameObjectAccess;

LibraryRow accessRow(const char* name, std::uint32_t onFailure,
                     std::uint32_t (*call)(Access&, LibraryStage&)) {
    return {name,
            [](LibraryStage& stage) {
                stage.make<IdList>().namedObjIds = {1, 2, 3};
                for (unsigned id = 1; id <= 3; ++id) {
                    fake().stored[id] = {kLong, kLong};
                }
            },
            [=](LibraryStage& stage) {
                Access access(QuzoNamedObj::NaObjType::StampArea);
                const std::uint32_t result = call(access, stage);
                if (result != 0 && result != onFailure) {
                    stage.fault = "another code";
                }
                return result == 0;
            }};
}

void addAccess(std::vector<LibraryRow>& rows) {
    rows.push_back(accessRow("GetList", Access::kNotListed, [](Access& access, LibraryStage& stage) {
        std::vector<NameObjectSummary> list;
        const std::uint32_t result = access.getList(0, list);
        if (list.empty() != (result != 0)) {
            stage.fault = "part of a list";
        }
        return result;
    }));
    LibraryRow bind = accessRow("Bind", Access::kNotRead, [](Access& access, LibraryStage& stage) {
        static const std::vector<unsigned> kFour = {1, 2, 3, 1};
        return access.bind(stage.object<IdList>(), kFour);
    });
    bind.afterFailure = [](LibraryStage& stage) {
        EXPECT_EQ(stage.object<IdList>().namedObjIds, (std::vector<unsigned>{1, 2, 3}));
    };
    rows.push_back(bind);
    rows.push_back(
        accessRow("GetBindings", Access::kMissingArgument, [](Access& access, LibraryStage& stage) {
            std::vector<unsigned> ids;
            return access.getBindings(stage.object<IdList>(), ids);
        }));
}

std::vector<LibraryRow> libraryRows() {
    std::vector<LibraryRow> rows;
    addTokens(rows);
    addStart(rows);
    addAccess(rows);
    return rows;
}

class LibraryWithoutMemory : public ::testing::TestWithParam<LibraryRow> {};

TEST_P(LibraryWithoutMemory, FailsCleanly) { runRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Rows, LibraryWithoutMemory, ::testing::ValuesIn(libraryRows()),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace quzo::test
