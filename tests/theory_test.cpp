// The simulator against theory, by the short version of the program that compares them.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

TEST(Theory, FiguresAreWithinTheirTolerances)
{
    FILE *pipe = popen("'" DCFSIM_VALIDATE "' --quick", "r");
    ASSERT_NE(pipe, nullptr);
    std::string table;
    for (int c = 0; (c = std::fgetc(pipe)) != EOF;) {
        table += static_cast<char>(c);
    }
    EXPECT_EQ(pclose(pipe), 0) << table;
}
