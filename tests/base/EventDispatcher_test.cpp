#include <quarn/base/EventDispatcher.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using quarn::Colour;
using quarn::EventDispatcher;
using quarn::TerminalStyle;

void PrintSample(EventDispatcher dispatcher) {
    dispatcher.PrintModel("HEADING: ", "name");
    dispatcher.PrintModel("Type", "name");
    dispatcher.PrintLine();
    dispatcher.Print("Header\tx\n", true);
    dispatcher.PrintBG("row\t1\n", Colour(230, 230, 240, 255));
    dispatcher.PrintColor("note\n", Colour(200, 0, 0, 255), false);
    dispatcher.PrintNewLine();
}

std::string Sample(TerminalStyle style) {
    std::ostringstream stream;
    PrintSample(EventDispatcher(quarn::MakeStreamSink(stream, style)));
    return stream.str();
}

TEST(EventDispatcher, WritesTheTextAloneWhereThereIsNoTerminal) {
    EXPECT_EQ(Sample(TerminalStyle::None),
              "HEADING: name\nType: name\n" + std::string(92, '-') + "\nHeader\tx\nrow\t1\nnote\n\n");
}

TEST(EventDispatcher, StylesEachLineByItselfOnATerminal) {
    const std::string band = "row     1" + std::string(92 - 9, ' ');
    EXPECT_EQ(Sample(TerminalStyle::Ansi), "\x1b[1mHEADING: \x1b[0mname\n\x1b[1mType: \x1b[0mname\n" +
                                               std::string(92, '-') +
                                               "\n\x1b[1mHeader\tx\x1b[0m\n\x1b[48;5;236;38;5;252m" + band +
                                               "\x1b[0m\n\x1b[38;2;200;0;0mnote\x1b[0m\n\n");
}

TEST(EventDispatcher, BandsKeepTheColumnsOfUtf8Text) {
    std::ostringstream stream;
    EventDispatcher(quarn::MakeStreamSink(stream, TerminalStyle::Ansi)).PrintBG("\xC3\xA9\tx\n", Colour(1, 2, 3, 255));
    EXPECT_NE(stream.str().find("m\xC3\xA9       x" + std::string(92 - 9, ' ') + "\x1b"), std::string::npos);
}

TEST(EventDispatcher, CopiesShareOneSink) {
    std::ostringstream stream;
    EventDispatcher first(quarn::MakeStreamSink(stream, TerminalStyle::None));
    EventDispatcher second = first;
    first.Print("a", false);
    second.Print("b", false);
    EXPECT_EQ(stream.str(), "ab");
}

}  // namespace
