// token.h - one lexical unit of MOF text, as the lexer hands it to the parser.
#ifndef CMPI_MOF_TOKEN_H
#define CMPI_MOF_TOKEN_H

#include <cstdint>
#include <string>
#include <string_view>

#include "diagnostics.h"

namespace mof {

enum class TokenKind {
  End,         // no more text
  Identifier,  // a name or a keyword: keywords are names the parser recognises, in any case
  String,      // "..."; text holds the decoded characters (UTF-8)
  Char16,      // '.'; character holds the code point (at most U+FFFF)
  Integer,     // decimal, 0x hex, 101b binary or 017 octal; magnitude and negative
  Real,        // 1.5, -.5e3; real holds the value, text the literal as written
  Alias,       // $name; text holds the name without '$'
  Symbol,      // one of { } ( ) [ ] ; , : = #; text holds it
};

struct Token {
  TokenKind kind = TokenKind::End;
  std::string text;
  std::uint64_t magnitude = 0;
  bool negative = false;
  double real = 0;
  char32_t character = 0;
  SourceLocation where;

  bool isSymbol(char symbol) const {
    return kind == TokenKind::Symbol && text.size() == 1 && text[0] == symbol;
  }
  // An identifier spelled word in any case.
  bool isWord(std::string_view word) const;
};

// ASCII comparison without regard to case: keywords, type names, class names.
bool EqualNoCase(std::string_view a, std::string_view b);

// What a token is, for messages: "';'", "identifier Speed", "a string", "end of file".
std::string DescribeToken(const Token &token);

}  // namespace mof

#endif  // CMPI_MOF_TOKEN_H
