// The texts that the library keeps as constants and passes as strings.

#include <gtest/gtest.h>

#include "backend/ConstantText.h"

namespace {

TEST(ConstantText, ReadsAsAStringOfTheSameCharacters)
{
    static constexpr ConstantText none("");
    static constexpr ConstantText longestShort("fifteen letters"); // a string has room for these in itself
    static constexpr ConstantText shortestLong("sixteen letters!");
    const std::pair<const ConstantText&, std::string> cases[] = {
        {none, ""}, {longestShort, "fifteen letters"}, {shortestLong, "sixteen letters!"}};
    for (const auto& [constant, expected] : cases) {
        const std::string& text = constant;
        EXPECT_EQ(text, expected);
        EXPECT_EQ(text.size(), expected.size());
        EXPECT_EQ(text.c_str()[text.size()], '\0') << expected;
        EXPECT_GE(text.capacity(), text.size());
        std::string copy = text;
        copy += "!";
        EXPECT_EQ(copy, expected + "!");
        EXPECT_EQ(text, expected) << "the copy has its characters";
        EXPECT_EQ(std::hash<std::string>()(text), std::hash<std::string>()(expected));
    }
}

} // namespace
