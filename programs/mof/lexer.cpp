// lexer.cpp - see lexer.h.
#include "lexer.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "utf8.h"

namespace mof {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsIdentifierStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_'; }
bool IsIdentifierChar(char c) { return IsIdentifierStart(c) || IsDigit(c); }
int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string CodePointName(char32_t cp) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "U+%04X", static_cast<unsigned>(cp));
  return buffer;
}

}  // namespace

bool EqualNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

bool Token::isWord(std::string_view word) const {
  return kind == TokenKind::Identifier && EqualNoCase(text, word);
}

std::string DescribeToken(const Token &token) {
  switch (token.kind) {
    case TokenKind::End: return "end of file";
    case TokenKind::Identifier: return "'" + token.text + "'";
    case TokenKind::String: return "a string";
    case TokenKind::Char16: return "a char16 literal";
    case TokenKind::Integer: return "an integer";
    case TokenKind::Real: return "a real number";
    case TokenKind::Alias: return "alias $" + token.text;
    case TokenKind::Symbol: return "'" + token.text + "'";
  }
  return "a token";
}

Lexer::Lexer(std::string file, std::string_view text) : file_(std::move(file)), text_(text) {
  const std::size_t bad = FirstInvalidUtf8(text_);
  if (bad != std::string_view::npos) {
    // Count lines and columns up to the bad byte over the well-formed part.
    advance(bad);
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "0x%02X", static_cast<unsigned char>(text_[bad]));
    fail(here(), std::string("the file is not UTF-8 text (byte ") + buffer + ")");
  }
  if (text_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
}

void Lexer::fail(const SourceLocation &where, const std::string &message) const {
  throw MofError(where, message);
}

void Lexer::advance(std::size_t bytes) {
  const std::size_t end = pos_ + bytes;
  for (; pos_ < end; ++pos_) {
    const unsigned char c = static_cast<unsigned char>(text_[pos_]);
    if (c == '\n') {
      ++line_;
      column_ = 1;
    } else if ((c & 0xC0) != 0x80) {
      ++column_;  // one per character, not per byte
    }
  }
}

void Lexer::skipBlanks() {
  while (pos_ < text_.size()) {
    const char c = text_[pos_];
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v') {
      advance(1);
    } else if (text_.compare(pos_, 2, "//") == 0) {
      std::size_t end = text_.find('\n', pos_);
      advance((end == std::string_view::npos ? text_.size() : end) - pos_);
    } else if (text_.compare(pos_, 2, "/*") == 0) {
      const SourceLocation start = here();
      const std::size_t end = text_.find("*/", pos_ + 2);
      if (end == std::string_view::npos) fail(start, "comment not closed (missing '*/')");
      advance(end + 2 - pos_);
    } else {
      return;
    }
  }
}

Token Lexer::next() {
  skipBlanks();
  Token token;
  token.where = here();
  if (pos_ >= text_.size()) return token;
  const char c = text_[pos_];
  const auto at = [&](std::size_t offset) {
    return pos_ + offset < text_.size() ? text_[pos_ + offset] : '\0';
  };
  if (IsIdentifierStart(c)) {
    std::size_t end = pos_;
    while (end < text_.size() && IsIdentifierChar(text_[end])) ++end;
    token.kind = TokenKind::Identifier;
    token.text = std::string(text_.substr(pos_, end - pos_));
    advance(end - pos_);
    return token;
  }
  if (IsDigit(c) || (c == '.' && IsDigit(at(1))) ||
      ((c == '+' || c == '-') && (IsDigit(at(1)) || (at(1) == '.' && IsDigit(at(2)))))) {
    return number(std::move(token));
  }
  if (c == '"') return string(std::move(token));
  if (c == '\'') return char16(std::move(token));
  if (c == '$') {
    std::size_t end = pos_ + 1;
    if (end >= text_.size() || !IsIdentifierStart(text_[end]))
      fail(token.where, "expected an alias name after '$'");
    while (end < text_.size() && IsIdentifierChar(text_[end])) ++end;
    token.kind = TokenKind::Alias;
    token.text = std::string(text_.substr(pos_ + 1, end - pos_ - 1));
    advance(end - pos_);
    return token;
  }
  static constexpr std::string_view kSymbols = "{}()[];,:=#";
  if (kSymbols.find(c) != std::string_view::npos) {
    token.kind = TokenKind::Symbol;
    token.text = std::string(1, c);
    advance(1);
    return token;
  }
  std::size_t length = 0;
  const char32_t cp = DecodeUtf8(text_, pos_, length);
  if (cp >= 0x21 && cp < 0x7F) fail(token.where, std::string("unexpected character '") + c + "'");
  fail(token.where, "unexpected character " + CodePointName(cp));
}

Token Lexer::number(Token token) {
  const std::size_t start = pos_;
  std::size_t p = pos_;
  if (text_[p] == '+' || text_[p] == '-') {
    token.negative = text_[p] == '-';
    ++p;
  }
  const auto malformed = [&]() {
    std::size_t end = p;
    while (end < text_.size() && (IsIdentifierChar(text_[end]) || text_[end] == '.')) ++end;
    fail(token.where, "malformed number '" + std::string(text_.substr(start, end - start)) + "'");
  };
  // Accumulates digits of base into the magnitude; fails past 2^64 - 1.
  const auto accumulate = [&](std::string_view digits, unsigned base) {
    std::uint64_t value = 0;
    for (char d : digits) {
      const unsigned digit = static_cast<unsigned>(HexDigit(d));
      if (digit >= base) malformed();
      if (value > (std::numeric_limits<std::uint64_t>::max() - digit) / base)
        fail(token.where, "integer '" + std::string(text_.substr(start, p - start)) +
                              "' is too large (more than 64 bits)");
      value = value * base + digit;
    }
    return value;
  };

  token.kind = TokenKind::Integer;
  if (text_[p] == '0' && p + 1 < text_.size() && (text_[p + 1] == 'x' || text_[p + 1] == 'X')) {
    const std::size_t digitsStart = p + 2;
    p = digitsStart;
    while (p < text_.size() && HexDigit(text_[p]) >= 0) ++p;
    if (p == digitsStart) malformed();
    token.magnitude = accumulate(text_.substr(digitsStart, p - digitsStart), 16);
  } else {
    const std::size_t digitsStart = p;
    while (p < text_.size() && IsDigit(text_[p])) ++p;
    const std::string_view digits = text_.substr(digitsStart, p - digitsStart);
    if (p < text_.size() && text_[p] == '.') {
      ++p;
      const std::size_t fraction = p;
      while (p < text_.size() && IsDigit(text_[p])) ++p;
      if (p == fraction) malformed();
      if (p < text_.size() && (text_[p] == 'e' || text_[p] == 'E')) {
        ++p;
        if (p < text_.size() && (text_[p] == '+' || text_[p] == '-')) ++p;
        const std::size_t exponent = p;
        while (p < text_.size() && IsDigit(text_[p])) ++p;
        if (p == exponent) malformed();
      }
      token.kind = TokenKind::Real;
      token.text = std::string(text_.substr(start, p - start));
      errno = 0;
      token.real = std::strtod(token.text.c_str(), nullptr);
      if (!std::isfinite(token.real) || errno == ERANGE)
        fail(token.where, "real number '" + token.text + "' is out of range");
    } else if (p < text_.size() && (text_[p] == 'b' || text_[p] == 'B') &&
               digits.find_first_not_of("01") == std::string_view::npos) {
      ++p;
      token.magnitude = accumulate(digits, 2);
    } else if (digits.size() > 1 && digits[0] == '0') {
      token.magnitude = accumulate(digits.substr(1), 8);
    } else {
      token.magnitude = accumulate(digits, 10);
    }
  }
  if (p < text_.size() && (IsIdentifierChar(text_[p]) || text_[p] == '.')) malformed();
  if (token.kind == TokenKind::Integer) token.text = std::string(text_.substr(start, p - start));
  advance(p - pos_);
  return token;
}

char32_t Lexer::escape() {
  const SourceLocation where = here();
  if (pos_ >= text_.size()) fail(where, "unfinished escape sequence");
  const char c = text_[pos_];
  advance(1);
  switch (c) {
    case 'b': return U'\b';
    case 't': return U'\t';
    case 'n': return U'\n';
    case 'f': return U'\f';
    case 'r': return U'\r';
    case '"': return U'"';
    case '\'': return U'\'';
    case '\\': return U'\\';
    case 'x':
    case 'X': {
      char32_t value = 0;
      int digits = 0;
      while (digits < 4 && pos_ < text_.size() && HexDigit(text_[pos_]) >= 0) {
        value = value * 16 + static_cast<char32_t>(HexDigit(text_[pos_]));
        advance(1);
        ++digits;
      }
      if (digits == 0) fail(where, "expected hexadecimal digits after '\\x'");
      if (value == 0) fail(where, "the character U+0000 is not allowed");
      if (value >= 0xD800 && value <= 0xDFFF)
        fail(where, "escape \\x" + CodePointName(value).substr(2) + " is a surrogate, not a character");
      return value;
    }
    default: break;
  }
  std::size_t length = 0;
  const char32_t cp = DecodeUtf8(text_, pos_ - 1, length);
  fail(where, std::string("unknown escape sequence '\\") +
                  (cp >= 0x21 && cp < 0x7F ? std::string(1, c) : CodePointName(cp)) + "'");
}

Token Lexer::string(Token token) {
  token.kind = TokenKind::String;
  advance(1);  // "
  while (true) {
    if (pos_ >= text_.size() || text_[pos_] == '\n' || text_[pos_] == '\r')
      fail(token.where, "string not closed (missing '\"' before the end of the line)");
    const char c = text_[pos_];
    if (c == '"') {
      advance(1);
      return token;
    }
    if (c == '\\') {
      advance(1);
      AppendUtf8(token.text, escape());
      continue;
    }
    if (c == '\0') fail(here(), "the character U+0000 is not allowed");
    std::size_t length = 0;
    DecodeUtf8(text_, pos_, length);
    token.text.append(text_.substr(pos_, length));
    advance(length);
  }
}

Token Lexer::char16(Token token) {
  token.kind = TokenKind::Char16;
  advance(1);  // '
  if (pos_ >= text_.size() || text_[pos_] == '\n' || text_[pos_] == '\r' || text_[pos_] == '\'')
    fail(token.where, "expected one character between quotes");
  if (text_[pos_] == '\\') {
    advance(1);
    token.character = escape();
  } else {
    std::size_t length = 0;
    token.character = DecodeUtf8(text_, pos_, length);
    if (token.character == 0) fail(token.where, "the character U+0000 is not allowed");
    advance(length);
  }
  if (token.character > 0xFFFF)
    fail(token.where, "char16 holds characters up to U+FFFF, not " + CodePointName(token.character));
  if (pos_ >= text_.size() || text_[pos_] != '\'')
    fail(token.where, "char16 literal not closed (expected one character, then \"'\")");
  advance(1);
  AppendUtf8(token.text, token.character);
  return token;
}

}  // namespace mof
