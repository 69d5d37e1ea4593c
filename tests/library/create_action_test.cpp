// Making actions by their type: each has the class of its code, and the answers of that class.
#include "quzo/core/create_action.h"

#include <map>
#include <utility>

#include "fake_platform.h"

namespace quzo::test {
namespace {

class CreateActionTest : public LibraryTest {};

TEST_F(CreateActionTest, EachCodeGivesItsClass) {
    start();
    // Whether it requires the message as received, and whether it has named objects.
    const std::map<unsigned, std::pair<bool, bool>> known = {
        {0, {true, true}},    {1, {false, false}},  {2, {false, true}},   {3, {false, false}},
        {4, {false, false}},  {5, {false, false}},  {7, {false, false}},  {8, {false, true}},
        {9, {false, false}},  {10, {true, true}},   {11, {false, false}}, {12, {false, false}},
        {16, {false, false}}, {18, {false, false}}, {20, {false, false}}, {21, {false, false}},
        {22, {false, false}},
    };
    for (unsigned code = 0; code < 300; ++code) {
        const auto type = static_cast<QuzoAction::ActionType>(code);
        const std::unique_ptr<QuzoAction> action = createAction(type);
        const auto row = known.find(code);
        ASSERT_EQ(action != nullptr, row != known.end()) << code;
        EXPECT_EQ(hasAction(type), action != nullptr) << code;
        if (action != nullptr) {
            EXPECT_EQ(action->getType(), type);
            EXPECT_EQ(action->requiresOriginalMsg(), row->second.first) << code;
            EXPECT_EQ(action->hasNamedObjects(), row->second.second) << code;
            EXPECT_NE(createAction(type), action) << "each is a new one";
        }
    }
}

} // namespace
} // namespace quzo::test
