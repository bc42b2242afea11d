// The lexer: every literal form, comments, locations, and the text it refuses.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lexer.h"

namespace {

using mof::Lexer;
using mof::MofError;
using mof::Token;
using mof::TokenKind;

std::vector<Token> Lex(const std::string &text) {
  Lexer lexer("t.mof", text);
  std::vector<Token> tokens;
  for (Token token = lexer.next(); token.kind != TokenKind::End; token = lexer.next())
    tokens.push_back(token);
  return tokens;
}

Token One(const std::string &text) {
  const std::vector<Token> tokens = Lex(text);
  EXPECT_EQ(tokens.size(), 1u) << text;
  return tokens.empty() ? Token() : tokens[0];
}

// The "LINE:COLUMN: message" of the error lexing text gives.
std::string ErrorOf(const std::string &text) {
  try {
    Lex(text);
  } catch (const MofError &e) {
    return std::to_string(e.where().line) + ":" + std::to_string(e.where().column) + ": " +
           e.what();
  }
  return "no error";
}

TEST(MofLexer, IdentifiersAndKeywordsInAnyCase) {
  const std::vector<Token> tokens = Lex("CLASS Demo_Fan Ref _x9");
  ASSERT_EQ(tokens.size(), 4u);
  EXPECT_TRUE(tokens[0].isWord("class"));
  EXPECT_EQ(tokens[1].text, "Demo_Fan");
  EXPECT_TRUE(tokens[2].isWord("REF"));
  EXPECT_EQ(tokens[3].kind, TokenKind::Identifier);
  EXPECT_EQ(tokens[3].text, "_x9");
}

TEST(MofLexer, StringEscapes) {
  const Token token = One(R"("a\n\t\"\\\x41\b\f\r\'z")");
  EXPECT_EQ(token.kind, TokenKind::String);
  EXPECT_EQ(token.text, "a\n\t\"\\A\b\f\r'z");
  EXPECT_EQ(One(R"("\x00e9\X263A")").text, "\xC3\xA9\xE2\x98\xBA");  // é ☺
  EXPECT_EQ(One("\"gr\xC3\xBC\xC3\x9F\"").text, "gr\xC3\xBC\xC3\x9F");  // UTF-8 as it is
  EXPECT_EQ(One("\"\"").text, "");
}

TEST(MofLexer, Char16Literals) {
  Token token = One("'x'");
  EXPECT_EQ(token.kind, TokenKind::Char16);
  EXPECT_EQ(token.character, U'x');
  EXPECT_EQ(One(R"('\n')").character, U'\n');
  EXPECT_EQ(One(R"('\x263A')").character, U'\x263A');
  token = One("'\xC3\xA9'");
  EXPECT_EQ(token.character, 0xE9u);
  EXPECT_EQ(token.text, "\xC3\xA9");
}

TEST(MofLexer, IntegersInEveryBase) {
  struct Case {
    const char *text;
    std::uint64_t magnitude;
    bool negative;
  };
  for (const Case &c : {Case{"42", 42, false}, Case{"0", 0, false}, Case{"0x1F", 31, false},
                        Case{"0X1f", 31, false}, Case{"101b", 5, false}, Case{"101B", 5, false},
                        Case{"017", 15, false}, Case{"-5", 5, true}, Case{"+7", 7, false},
                        Case{"-0x10", 16, true}, Case{"-11b", 3, true}, Case{"-017", 15, true},
                        Case{"18446744073709551615", UINT64_MAX, false}}) {
    const Token token = One(c.text);
    EXPECT_EQ(token.kind, TokenKind::Integer) << c.text;
    EXPECT_EQ(token.magnitude, c.magnitude) << c.text;
    EXPECT_EQ(token.negative, c.negative) << c.text;
    EXPECT_EQ(token.text, c.text);
  }
}

TEST(MofLexer, Reals) {
  Token token = One("1.5");
  EXPECT_EQ(token.kind, TokenKind::Real);
  EXPECT_DOUBLE_EQ(token.real, 1.5);
  EXPECT_DOUBLE_EQ(One("-.5e3").real, -500.0);
  EXPECT_DOUBLE_EQ(One("+2.25E-2").real, 0.0225);
  EXPECT_EQ(One("-.5e3").text, "-.5e3");
}

TEST(MofLexer, SymbolsAliasesAndBooleanWords) {
  const std::vector<Token> tokens = Lex("{}()[];,:=# $Fan1 true FALSE null");
  ASSERT_EQ(tokens.size(), 15u);
  const std::string symbols = "{}()[];,:=#";
  for (std::size_t i = 0; i < symbols.size(); ++i) EXPECT_TRUE(tokens[i].isSymbol(symbols[i]));
  EXPECT_EQ(tokens[11].kind, TokenKind::Alias);
  EXPECT_EQ(tokens[11].text, "Fan1");
  EXPECT_TRUE(tokens[12].isWord("true"));
  EXPECT_TRUE(tokens[13].isWord("false"));
  EXPECT_TRUE(tokens[14].isWord("null"));
}

TEST(MofLexer, CommentsAreSkippedAndLocationsCounted) {
  const std::vector<Token> tokens =
      Lex("// line comment\n/* block\n   comment */ a /* x */ b\n\t\"\xC3\xA9\" c");
  ASSERT_EQ(tokens.size(), 4u);
  EXPECT_EQ(tokens[0].where.line, 3);
  EXPECT_EQ(tokens[0].where.column, 15);
  EXPECT_EQ(tokens[1].where.column, 25);
  EXPECT_EQ(tokens[2].where.line, 4);
  EXPECT_EQ(tokens[2].where.column, 2);
  EXPECT_EQ(tokens[3].where.column, 6);  // columns count characters, not bytes
  EXPECT_EQ(tokens[0].where.file, "t.mof");
}

TEST(MofLexer, ByteOrderMarkIsSkipped) {
  const Token token = One("\xEF\xBB\xBF" "class");
  EXPECT_TRUE(token.isWord("class"));
}

TEST(MofLexer, RefusesMalformedText) {
  EXPECT_EQ(ErrorOf("a\n  \"open"), "2:3: string not closed (missing '\"' before the end of the line)");
  EXPECT_EQ(ErrorOf("\"a\nb\""), "1:1: string not closed (missing '\"' before the end of the line)");
  EXPECT_EQ(ErrorOf(R"("\q")"), "1:3: unknown escape sequence '\\q'");
  EXPECT_EQ(ErrorOf(R"("\x")"), "1:3: expected hexadecimal digits after '\\x'");
  EXPECT_EQ(ErrorOf(R"("\x0")"), "1:3: the character U+0000 is not allowed");
  EXPECT_EQ(ErrorOf(R"("\xD800")"), "1:3: escape \\xD800 is a surrogate, not a character");
  EXPECT_EQ(ErrorOf("09"), "1:1: malformed number '09'");
  EXPECT_EQ(ErrorOf("0x"), "1:1: malformed number '0x'");
  EXPECT_EQ(ErrorOf("0x1G"), "1:1: malformed number '0x1G'");
  EXPECT_EQ(ErrorOf("1e5"), "1:1: malformed number '1e5'");
  EXPECT_EQ(ErrorOf("1."), "1:1: malformed number '1.'");
  EXPECT_EQ(ErrorOf("102b"), "1:1: malformed number '102b'");
  EXPECT_EQ(ErrorOf("1.5e999"), "1:1: real number '1.5e999' is out of range");
  EXPECT_EQ(ErrorOf("18446744073709551616"),
            "1:1: integer '18446744073709551616' is too large (more than 64 bits)");
  EXPECT_EQ(ErrorOf("a /* open"), "1:3: comment not closed (missing '*/')");
  EXPECT_EQ(ErrorOf("x @"), "1:3: unexpected character '@'");
  EXPECT_EQ(ErrorOf("- 1"), "1:1: unexpected character '-'");
  EXPECT_EQ(ErrorOf("\xC3\xA9"), "1:1: unexpected character U+00E9");
  EXPECT_EQ(ErrorOf("''"), "1:1: expected one character between quotes");
  EXPECT_EQ(ErrorOf("'ab'"), "1:1: char16 literal not closed (expected one character, then \"'\")");
  EXPECT_EQ(ErrorOf("'\xF0\x9F\x98\x80'"), "1:1: char16 holds characters up to U+FFFF, not U+1F600");
  EXPECT_EQ(ErrorOf("$"), "1:1: expected an alias name after '$'");
  EXPECT_EQ(ErrorOf(std::string("a\0b", 3)), "1:2: unexpected character U+0000");
}

TEST(MofLexer, RefusesTextThatIsNotUtf8) {
  EXPECT_EQ(ErrorOf("class\n  \xFF"), "2:3: the file is not UTF-8 text (byte 0xFF)");
  EXPECT_EQ(ErrorOf("\"\xC0\xAF\""), "1:2: the file is not UTF-8 text (byte 0xC0)");        // overlong
  EXPECT_EQ(ErrorOf("// \xED\xA0\x80"), "1:4: the file is not UTF-8 text (byte 0xED)");   // surrogate
  EXPECT_EQ(ErrorOf("\xF4\x90\x80\x80"), "1:1: the file is not UTF-8 text (byte 0xF4)");  // > U+10FFFF
  EXPECT_EQ(ErrorOf("ab\xE2\x98"), "1:3: the file is not UTF-8 text (byte 0xE2)");        // cut short
}

}  // namespace
