#include "../support/LoopbackServer.h"
#include "../support/TemporaryFile.h"
#include "Quarn.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

using quarn::testing::LoopbackServer;

using quarn::testing::Outcome;
using quarn::testing::Quarn;
using quarn::testing::Row;
using quarn::testing::TemporaryFile;

const std::string grunfeld = QUARN_SOURCE_DIR "/examples/data/grunfeld.csv";

TEST(QuarnSummarize, PrintsTheTableOnStandardOutput) {
    const Outcome all = Quarn("summarize " + grunfeld);
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.errors, "");
    EXPECT_EQ(all.output.substr(0, 34), "SUMMARY STATISTICS: grunfeld.csv\n\n");
    EXPECT_EQ(all.output.find('\x1b'), std::string::npos);
    EXPECT_EQ(Row(all.output, "invest"), "invest 220 133.3119 210.5872 0.93 1486.7");
    EXPECT_EQ(Row(all.output, "firm"), "firm 220 NaN NaN NaN NaN");
    const Outcome two = Quarn("summarize " + grunfeld + " value invest --casewise");
    EXPECT_LT(two.output.find("\nvalue"), two.output.find("\ninvest"));
    EXPECT_EQ(two.output.find("\nfirm"), std::string::npos);
}

TEST(QuarnSummarize, TakesDelimitersAndCasewise) {
    const TemporaryFile tabs("a\tb\n1\tNA\n2\t4\n6\t5\n"), blanks("a b\n1 NA\n2 4\n6 5\n"),
        bars("a|b\n1|NA\n2|4\n6|5\n");
    for (const std::string& arguments : {tabs.Path() + " --delimiter tab", blanks.Path() + " -d blank",
                                         bars.Path() + " --delimiter='|'", "--delimiter ' ' " + blanks.Path()}) {
        const Outcome each = Quarn("summarize " + arguments), joint = Quarn("summarize -c " + arguments);
        EXPECT_EQ(Row(each.output, "a"), "a 3 3 2.645751 1 6") << arguments << each.errors;
        EXPECT_EQ(Row(joint.output, "a"), "a 2 4 2.828427 2 6") << arguments << joint.errors;
        EXPECT_EQ(Row(joint.output, "b"), "b 2 4.5 0.7071068 4 5") << arguments;
    }
}

TEST(QuarnSummarize, ReadsAPipeAsAFile) {
    const Outcome outcome = Quarn("summarize /dev/stdin", "<" + grunfeld);
    EXPECT_EQ(Row(outcome.output, "year"), "year 220 1944.5 5.779431 1935 1954") << outcome.errors;
    const std::string piped = "| " QUARN_COMMAND " summarize /dev/stdin";
    EXPECT_EQ(std::system(("printf 'a\\n1\\n' " + piped + " >/dev/null").c_str()), 0);
}

TEST(QuarnSummarize, FetchesFromAServer) {
    const LoopbackServer server("HTTP/1.0 200 OK\r\n\r\na;b\r\n1;NA\r\n2;4\r\n6;5\r\n");
    const Outcome outcome = Quarn("summarize -d ';' http://" + server.Host() + "/dir/some.csv");
    EXPECT_EQ(outcome.output.substr(0, 30), "SUMMARY STATISTICS: some.csv\n\n") << outcome.errors;
    EXPECT_EQ(Row(outcome.output, "b"), "b 2 4.5 0.7071068 4 5");
    EXPECT_TRUE(server.Request().starts_with("GET /dir/some.csv HTTP/1.0\r\n"));
    const LoopbackServer without("HTTP/1.0 404 Not Found\r\n\r\n");
    const Outcome missing = Quarn("summarize http://" + without.Host());
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.errors, "quarn: http://" + without.Host() + ": Could not access file \"\" on server \"" +
                                  without.Host() + "\" \n(HTTP status code: 404).\n");
}

TEST(QuarnSummarize, PutsMessagesOnStandardErrorAndTellsByItsStatus) {
    const TemporaryFile duplicate("a,a\n1,2\n"), surplus("a\n1,2\n"), missing("a,b\n1,NA\n");
    quarn::testing::ExpectToFail({
        {"summarize /nowhere/at/all", 1, "/nowhere/at/all: cannot open: no such file"},
        {"summarize /", 1, "/: cannot open: it is a directory"},
        {"summarize /dev/null", 1, "/dev/null: cannot open"},
        {"summarize https://127.0.0.1/a.csv", 1, "https://127.0.0.1/a.csv: cannot open: only plain http:// is"},
        {"summarize " + duplicate.Path(), 1,
         duplicate.Path() + ": Duplicate variable names were found in the dataset. The first duplicate was: a\n"},
        {"summarize " + surplus.Path(), 1,
         surplus.Path() + ": More values were provided for some observations than the number of variables.\n"},
        {"summarize -c " + missing.Path(), 1, " has no observations without missing data.\n"},
        {"summarize -c " + missing.Path() + " b", 1,
         " has no observations without missing data in the specified variables.\n"},
        {"summarize " + grunfeld + " invest nope", 1,
         grunfeld + ": Dataset \"grunfeld.csv\" does not have a variable \"nope\".\n"},
        {"", 2, "subcommand"},
        {"nonsense", 2, ""},
        {"summarize", 2, "FILE"},
        {"summarize --nonsense x", 2, "--nonsense"},
        {"summarize --delimiter ab x", 2, "--delimiter"},
        {"summarize --delimiter '' x", 2, "--delimiter"},
        {"summarize x --delimiter", 2, "--delimiter"},
    });
}

TEST(QuarnSummarize, ReportsAFullDisk) {
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
    EXPECT_EQ(WEXITSTATUS(std::system(("" QUARN_COMMAND " summarize " + grunfeld + " >/dev/full 2>/dev/null").c_str())),
              1);
}

TEST(Quarn, HelpsOnStandardOutput) {
    for (const char* arguments : {"--help", "summarize --help", "--version"}) {
        const Outcome outcome = Quarn(arguments);
        EXPECT_EQ(outcome.status, 0) << arguments;
        EXPECT_EQ(outcome.errors, "") << arguments;
        EXPECT_NE(outcome.output.find("quarn"), std::string::npos) << arguments;
    }
    EXPECT_NE(Quarn("summarize --help").output.find("--casewise"), std::string::npos);
}

}  // namespace
