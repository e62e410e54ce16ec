#include <quarn/base/ProcessID.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;

std::string Processed(std::string token) {
    quarn::ProcessID(token);
    return token;
}

TEST(ProcessID, MakesIdentifiersOfAnyToken) {
    const struct {
        std::string token, identifier;
    } cases[] = {
        {"QuarnSystemVar_obsID", "QuarnSystemVar_obsID"},
        {"income_2", "income_2"},
        {"_x", "_x"},
        {"\xEF\xBB\xBFyear", "year"},
        {" \"GDP per head\"\r", "GDP_per_head"},
        {"'\"x\"' ", "x"},
        {"2nd", "_2nd"},
        {"", "_"},
        {" \t\"", "_"},
        {"gr\xC3\xB6\xC3\x9F"
         "e",
         "gr__e"},
        {"\xFF\xC3", "__"},
        {"a\0b"s, "a_b"},
        {"a.b-c$", "a_b_c_"},
        {"\xE2\x82\xAC", "_"},
    };
    for (const auto& c : cases) EXPECT_EQ(Processed(c.token), c.identifier) << c.token;
}

TEST(ProcessID, IsAFixedPointAfterOnePass) {
    for (int first = 0; first < 256; ++first)
        for (int second = 0; second < 256; ++second) {
            const std::string once = Processed({static_cast<char>(first), static_cast<char>(second)});
            ASSERT_EQ(Processed(once), once) << first << ' ' << second;
            ASSERT_EQ(once.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_"),
                      std::string::npos);
        }
}

}  // namespace
