// lexer.h - cuts MOF text into tokens.
//
// Whitespace and comments (// to the end of the line, /* ... */) are skipped. Strings take the
// escapes \b \t \n \f \r \" \' \\ and \xH to \xHHHH (also \X); a string may not hold a line break
// or the character U+0000. Non-ASCII characters are allowed in strings, char16 literals and
// comments only. Nothing here recurses, and every byte string either yields tokens or a MofError:
// the text is checked to be UTF-8 when the lexer is made.
#ifndef CMPI_MOF_LEXER_H
#define CMPI_MOF_LEXER_H

#include <cstddef>
#include <string>
#include <string_view>

#include "token.h"

namespace mof {

class Lexer {
 public:
  // file names the text in locations. text must outlive the lexer. Throws MofError (at the first
  // bad byte) when text is not well-formed UTF-8. A UTF-8 byte order mark at the start is skipped.
  Lexer(std::string file, std::string_view text);

  // The next token; End at the end of the text (and every time after). Throws MofError on text
  // that is no token.
  Token next();

 private:
  void skipBlanks();
  void advance(std::size_t bytes);  // moves on, counting lines and columns
  SourceLocation here() const { return {file_, line_, column_}; }
  [[noreturn]] void fail(const SourceLocation &where, const std::string &message) const;
  Token number(Token token);
  Token string(Token token);
  Token char16(Token token);
  char32_t escape();  // after the backslash

  std::string file_;
  std::string_view text_;
  std::size_t pos_ = 0;
  int line_ = 1;
  int column_ = 1;
};

}  // namespace mof

#endif  // CMPI_MOF_LEXER_H
