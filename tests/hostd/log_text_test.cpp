// Tests of log_text: what a peer- or provider-given text looks like in a log line.
#include "log_text.h"

#include <gtest/gtest.h>

#include <string>

namespace hostd {
using wire::log_text;
namespace {

TEST(LogText, PlainTextIsUnchanged) {
  EXPECT_EQ(log_text("Demo_Fan"), "Demo_Fan");
  EXPECT_EQ(log_text("root/cimv2"), "root/cimv2");
  EXPECT_EQ(log_text(std::string("a b ~ {}[]'\"")), "a b ~ {}[]'\"");
  EXPECT_EQ(log_text(""), "");
}

TEST(LogText, ANewlineCannotStartALineOfItsOwn) {
  EXPECT_EQ(log_text("Demo_Fan\n2024-01-01 pid=1 level=3 module=232: stopped"),
            "Demo_Fan\\n2024-01-01 pid=1 level=3 module=232: stopped");
}

TEST(LogText, ControlCharactersAreEscaped) {
  EXPECT_EQ(log_text("a\rb\tc"), "a\\rb\\tc");
  EXPECT_EQ(log_text(std::string("\x00\x01\x1b[2J\x1f\x7f", 8)), "\\x00\\x01\\x1b[2J\\x1f\\x7f");
}

TEST(LogText, ABackslashIsDoubledSoThatEscapesStayUnambiguous) {
  EXPECT_EQ(log_text("C:\\n"), "C:\\\\n");
  EXPECT_EQ(log_text("\\x41"), "\\\\x41");
}

TEST(LogText, WellFormedUtf8IsKept) {
  EXPECT_EQ(log_text("M\xc3\xbcnchen"), "M\xc3\xbcnchen");      // U+00FC
  EXPECT_EQ(log_text("\xe2\x82\xac 5"), "\xe2\x82\xac 5");      // U+20AC
  EXPECT_EQ(log_text("\xf0\x9f\x98\x80"), "\xf0\x9f\x98\x80");  // U+1F600
  EXPECT_EQ(log_text("\xf4\x8f\xbf\xbf"), "\xf4\x8f\xbf\xbf");  // U+10FFFF
  EXPECT_EQ(log_text("\xed\x9f\xbf"), "\xed\x9f\xbf");          // U+D7FF
}

TEST(LogText, InvalidUtf8BytesAreEscaped) {
  EXPECT_EQ(log_text("a\xff-b"), "a\\xff-b");
  EXPECT_EQ(log_text("\x80"), "\\x80");                             // lone continuation
  EXPECT_EQ(log_text("\xc3"), "\\xc3");                             // cut short at the end
  EXPECT_EQ(log_text("\xc3(x"), "\\xc3(x");                         // cut short
  EXPECT_EQ(log_text("\xc0\xaf"), "\\xc0\\xaf");                    // overlong "/"
  EXPECT_EQ(log_text("\xe0\x80\xaf"), "\\xe0\\x80\\xaf");           // overlong
  EXPECT_EQ(log_text("\xed\xa0\x80"), "\\xed\\xa0\\x80");           // surrogate U+D800
  EXPECT_EQ(log_text("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // above U+10FFFF
  EXPECT_EQ(log_text("\xf0\x9f\x98"), "\\xf0\\x9f\\x98");           // three of four
}

TEST(LogText, UnicodeControlsAndLineSeparatorsAreEscaped) {
  EXPECT_EQ(log_text("a\xc2\x85z"), "a\\u0085z");    // NEL
  EXPECT_EQ(log_text("\xc2\x9b[2J"), "\\u009b[2J");  // CSI
  EXPECT_EQ(log_text("a\xe2\x80\xa8z\xe2\x80\xa9"), "a\\u2028z\\u2029");
  EXPECT_EQ(log_text("\xc2\xa0"), "\xc2\xa0");  // U+00A0 is no control
}

TEST(LogText, LongTextIsShortenedWithTheCountOfWhatWasLeftOut) {
  const std::string name(30 * 1024 * 1024, 'A');
  const std::string shown = log_text(name);
  EXPECT_EQ(shown, std::string(200, 'A') + "...(+31457080 bytes)");
}

TEST(LogText, TheLimitCountsOutputBytes) {
  EXPECT_EQ(log_text("abcdef", 6), "abcdef");
  EXPECT_EQ(log_text("abcdefg", 6), "abcdef...(+1 bytes)");
  // Each newline takes two bytes of the limit.
  EXPECT_EQ(log_text("\n\n\n\n", 6), "\\n\\n\\n...(+1 bytes)");
  EXPECT_EQ(log_text("\n\n\n", 6), "\\n\\n\\n");
}

TEST(LogText, AnEscapeOrACharacterIsNeverCutInTwo) {
  EXPECT_EQ(log_text("abcde\x01", 6), "abcde...(+1 bytes)");
  EXPECT_EQ(log_text("abcd\xe2\x82\xac", 6), "abcd...(+3 bytes)");
  EXPECT_EQ(log_text("abc\xe2\x82\xac", 6), "abc\xe2\x82\xac");
  EXPECT_EQ(log_text("a\\\\\\", 6), "a\\\\\\\\...(+1 bytes)");
}

TEST(LogText, ANullPointerIsShownAsSuch) {
  const char *none = nullptr;
  EXPECT_EQ(log_text(none), "(null)");
  const char *name = "x\ny";
  EXPECT_EQ(log_text(name), "x\\ny");
}

}  // namespace
}  // namespace hostd
