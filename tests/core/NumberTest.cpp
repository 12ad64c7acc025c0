// Numbers on the command line: a host that misreads its sample rate or its id talks to nobody.

#include "core/Number.h"

#include "support/FailureText.h"

#include "core/Exception.h"
#include "core/String.h"

#include <gtest/gtest.h>

#include <climits>
#include <initializer_list>

using namespace base::core;
using namespace test_support;

namespace {

void expectFailure(const char* text) {
    EXPECT_EQ(failureText<NumberFormatException>([&] { parseInt(text); }),
              std::string("Invalid number: ") + text);
}

String codePoints(std::initializer_list<char32_t> values) {
    StringBuilder builder;
    for (const char32_t value : values)
        builder.append(value);
    return builder.toString();
}

TEST(NumberTest, ParseIntRefusesASignOrBlanksAlone) {
    expectFailure("-");
    expectFailure("  ");
    expectFailure(" - \t-\r\n");
}

TEST(NumberTest, ParseIntAcceptsBlanksAroundTheNumberAndAfterItsSign) {
    EXPECT_EQ(parseInt(" - 12 "), -12);
    EXPECT_EQ(parseInt("\t\n\r 12\t\n\r "), 12);
    EXPECT_EQ(parseInt("-\t12"), -12);
}

TEST(NumberTest, ParseIntRefusesABlankInsideTheNumber) {
    expectFailure("1 2");
    expectFailure("1\n2");
}

TEST(NumberTest, ParseIntRefusesALetterBehindTheNumber) {
    expectFailure("12a");
    expectFailure("12Z");
    expectFailure("12 a");
}

TEST(NumberTest, ParseIntWrapsAnOverlongNumber) {
    EXPECT_EQ(parseInt("4294967297"), 1);
    EXPECT_EQ(parseInt("2147483648"), INT_MIN);
    EXPECT_EQ(parseInt("-2147483648"), INT_MIN);
    EXPECT_EQ(parseInt("-2147483649"), INT_MAX);
    EXPECT_EQ(parseInt("99999999999999999999"), 1661992959);
}

TEST(NumberTest, ParseIntReadsPlainNumbers) {
    EXPECT_EQ(parseInt("0"), 0);
    EXPECT_EQ(parseInt("007"), 7);
    EXPECT_EQ(parseInt("44100"), 44100);
    EXPECT_EQ(parseInt("2147483647"), INT_MAX);
    EXPECT_EQ(parseInt("1234567890"), 1234567890);
}

TEST(NumberTest, ParseIntFlipsTheSignWithEachDash) {
    EXPECT_EQ(parseInt("--5"), 5);
    EXPECT_EQ(parseInt("---5"), -5);
    EXPECT_EQ(parseInt("- - 5"), 5);
    EXPECT_EQ(parseInt(" \t-\r-\n- 5"), -5);
}

TEST(NumberTest, ParseIntRefusesTheEmptyText) {
    expectFailure("");
    EXPECT_EQ(failureText<NumberFormatException>([] { parseInt(String()); }), "Invalid number: ");
}

TEST(NumberTest, ParseIntRefusesWhatIsNoDigitInFrontOfTheNumber) {
    expectFailure("+5");
    expectFailure(".5");
    expectFailure("a5");
    expectFailure("-x");
    expectFailure("\xC3\xA9"); // e with an acute accent
}

TEST(NumberTest, ParseIntRefusesAnythingAboveTheSignsBehindTheNumber) {
    expectFailure("12_");
    expectFailure("12[");
    expectFailure("12{");
    expectFailure("12\xC3\xA9");
    expectFailure("12\xEF\xBC\x93"); // a full-width 3
}

TEST(NumberTest, ParseIntRefusesASignInsideTheNumber) {
    expectFailure("1-2");
    expectFailure("1.2");
}

// Relied on by texts that end a number with a full stop or a comma.
TEST(NumberTest, ParseIntPassesOverSignsBehindTheNumber) {
    EXPECT_EQ(parseInt("12."), 12);
    EXPECT_EQ(parseInt("12 ,"), 12);
}

// Relied on by texts that hold raw digits, whose value is still taken as that of a character.
TEST(NumberTest, ParseIntTakesTheCodePointsZeroToNineForDigits) {
    EXPECT_EQ(parseInt(codePoints({5})), 5 - 48);
    EXPECT_EQ(parseInt(codePoints({U'5', 5})), 50 + 5 - 48);
    EXPECT_EQ(parseInt(codePoints({0, U'7'})), -480 + 7);
}

TEST(NumberTest, TheFailureKeepsTheWholeTextWithItsBlanks) {
    try {
        parseInt(" - 12x ");
        FAIL() << "no failure";
    } catch (const NumberFormatException& exception) {
        EXPECT_EQ(exception.getText().toStdString(), " - 12x ");
        EXPECT_EQ(exception.getMessage().toStdString(), "Invalid number:  - 12x ");
    }
}

TEST(NumberTest, IntegersArePrintedInDecimal) {
    EXPECT_EQ(String::fromInteger(0).toStdString(), "0");
    EXPECT_EQ(String::fromInteger(-17).toStdString(), "-17");
    EXPECT_EQ(String::fromInteger(INT_MIN).toStdString(), "-2147483648");
    EXPECT_EQ(String::fromInteger(INT_MAX).toStdString(), "2147483647");
    StringBuilder builder("rate ");
    builder.append(int32_t{44100});
    EXPECT_EQ(builder.toString().toStdString(), "rate 44100");
}

} // namespace
