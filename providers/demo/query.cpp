// query.cpp - reading and evaluating the simple queries of query.h.
#include "query.h"

#include <cmpimacs.h>

#include <cctype>
#include <climits>
#include <cstring>

#include "codec.h"
#include "instance_model.h"
#include "numbers.h"

namespace demo {

namespace {

struct Token {
  enum Kind { kEnd, kName, kStar, kComma, kOperator, kString, kNumber } kind = kEnd;
  std::string text;
};

class Tokenizer {
 public:
  explicit Tokenizer(const char *text) : text_(text) {}

  // The next token; false for text that is no token at all.
  bool next(Token *token) {
    while (*text_ != '\0' && std::isspace(static_cast<unsigned char>(*text_))) ++text_;
    token->text.clear();
    const char c = *text_;
    if (c == '\0') {
      token->kind = Token::kEnd;
      return true;
    }
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
      token->kind = Token::kName;
      while (std::isalnum(static_cast<unsigned char>(*text_)) || *text_ == '_')
        token->text.push_back(*text_++);
      return true;
    }
    if (c == '*' || c == ',') {
      token->kind = c == '*' ? Token::kStar : Token::kComma;
      token->text = c;
      ++text_;
      return true;
    }
    if (c == '\'' || c == '"') return read_string(token);
    if (std::isdigit(static_cast<unsigned char>(c)) || c == '.' ||
        ((c == '-' || c == '+') &&
         (std::isdigit(static_cast<unsigned char>(text_[1])) || text_[1] == '.')))
      return read_number(token);
    for (const char *op : {"<=", ">=", "<>", "!=", "=", "<", ">"}) {
      const size_t length = std::strlen(op);
      if (std::strncmp(text_, op, length) == 0) {
        token->kind = Token::kOperator;
        token->text = op;
        text_ += length;
        return true;
      }
    }
    return false;
  }

 private:
  bool read_string(Token *token) {
    const char quote = *text_++;
    token->kind = Token::kString;
    for (;;) {
      if (*text_ == '\0') return false;
      if (*text_ == quote) {
        if (text_[1] != quote) {
          ++text_;
          return true;
        }
        ++text_;  // a doubled quote stands for one
      }
      token->text.push_back(*text_++);
    }
  }

  bool read_number(Token *token) {
    token->kind = Token::kNumber;
    if (*text_ == '-' || *text_ == '+') token->text.push_back(*text_++);
    while (std::isdigit(static_cast<unsigned char>(*text_)) || *text_ == '.' || *text_ == 'e' ||
           *text_ == 'E' ||
           ((*text_ == '-' || *text_ == '+') && (text_[-1] == 'e' || text_[-1] == 'E')))
      token->text.push_back(*text_++);
    return true;
  }

  const char *text_;
};

Outcome invalid(const std::string &message) { return failure(CMPI_RC_ERR_INVALID_QUERY, message); }

bool is_keyword(const Token &token, const char *keyword) {
  return token.kind == Token::kName && same_name(token.text.c_str(), keyword);
}

// A number token as an integer or real literal, read with the provider's number readers: an
// integer when the whole text is one within the 64-bit range (signed for a minus sign, else
// unsigned), a real number otherwise. The real value is kept for both kinds.
bool read_number_literal(const std::string &text, Literal *literal) {
  long double real = 0;
  if (!read_long_real(text, &real)) return false;
  long long negative = 0;
  unsigned long long positive = 0;
  if (text[0] == '-' && read_signed(text, LLONG_MIN, LLONG_MAX, &negative)) {
    literal->kind = Literal::kInteger;
    literal->integer = negative;
  } else if (text[0] != '-' && read_unsigned(text, ULLONG_MAX, &positive)) {
    literal->kind = Literal::kInteger;
    literal->integer = positive;
  } else {
    literal->kind = Literal::kReal;
  }
  literal->real = real;
  return true;
}

bool read_literal(const Token &token, Literal *literal) {
  switch (token.kind) {
    case Token::kString:
      literal->kind = Literal::kString;
      literal->text = token.text;
      return true;
    case Token::kNumber:
      return read_number_literal(token.text, literal);
    case Token::kName:
      if (!is_keyword(token, "TRUE") && !is_keyword(token, "FALSE")) return false;
      literal->kind = Literal::kBoolean;
      literal->boolean = is_keyword(token, "TRUE");
      return true;
    default:
      return false;
  }
}

bool read_comparison(const std::string &text, Comparison *comparison) {
  if (text == "=")
    *comparison = Comparison::kEqual;
  else if (text == "!=" || text == "<>")
    *comparison = Comparison::kNotEqual;
  else if (text == "<")
    *comparison = Comparison::kLess;
  else if (text == "<=")
    *comparison = Comparison::kLessOrEqual;
  else if (text == ">")
    *comparison = Comparison::kGreater;
  else if (text == ">=")
    *comparison = Comparison::kGreaterOrEqual;
  else
    return false;
  return true;
}

bool is_integer(CMPIType type) {
  switch (type) {
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
    case CMPI_uint64:
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64:
      return true;
    default:
      return false;
  }
}

bool is_number(Literal::Kind kind) { return kind == Literal::kInteger || kind == Literal::kReal; }

bool comparable(CMPIType type, const Literal &literal) {
  if (is_integer(type) || type == CMPI_real32 || type == CMPI_real64) return is_number(literal.kind);
  switch (type) {
    case CMPI_boolean:
      return literal.kind == Literal::kBoolean;
    case CMPI_string:
    case CMPI_dateTime:
      return literal.kind == Literal::kString;
    case CMPI_char16:
      return literal.kind == Literal::kInteger ||
             (literal.kind == Literal::kString && literal.text.size() == 1);
    default:
      return false;
  }
}

const char *literal_kind_name(Literal::Kind kind) {
  switch (kind) {
    case Literal::kString:
      return "a string";
    case Literal::kInteger:
      return "an integer";
    case Literal::kReal:
      return "a real number";
    default:
      return "a boolean";
  }
}

template <typename T>
int order(const T &a, const T &b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

__int128 integer_of(CMPIType type, const CMPIValue &value) {
  switch (type) {
    case CMPI_uint8:
      return value.uint8;
    case CMPI_uint16:
      return value.uint16;
    case CMPI_uint32:
      return value.uint32;
    case CMPI_uint64:
      return value.uint64;
    case CMPI_sint8:
      return value.sint8;
    case CMPI_sint16:
      return value.sint16;
    case CMPI_sint32:
      return value.sint32;
    default:
      return value.sint64;
  }
}

// The order of a (non-null) property value and the literal: -1, 0 or 1.
int compare_with(CMPIType type, const CMPIValue &value, const Literal &literal) {
  if (is_integer(type)) {
    const __int128 number = integer_of(type, value);
    if (literal.kind == Literal::kInteger) return order(number, literal.integer);
    return order(static_cast<long double>(number), literal.real);
  }
  switch (type) {
    case CMPI_real32:
      return order(static_cast<long double>(value.real32), literal.real);
    case CMPI_real64:
      return order(static_cast<long double>(value.real64), literal.real);
    case CMPI_boolean:
      return order(value.boolean != 0, literal.boolean);
    case CMPI_char16:
      if (literal.kind == Literal::kInteger)
        return order(static_cast<__int128>(value.char16), literal.integer);
      return order(static_cast<unsigned>(value.char16),
                   static_cast<unsigned>(static_cast<unsigned char>(literal.text[0])));
    case CMPI_string: {
      const int c = std::strcmp(CMGetCharPtr(value.string), literal.text.c_str());
      return order(c, 0);
    }
    case CMPI_dateTime: {
      CMPIString *text = CMGetStringFormat(value.dateTime, nullptr);
      const int c = text != nullptr ? std::strcmp(CMGetCharPtr(text), literal.text.c_str()) : -1;
      if (text != nullptr) CMRelease(text);
      return order(c, 0);
    }
    default:
      return 0;
  }
}

bool holds(Comparison comparison, int order) {
  switch (comparison) {
    case Comparison::kEqual:
      return order == 0;
    case Comparison::kNotEqual:
      return order != 0;
    case Comparison::kLess:
      return order < 0;
    case Comparison::kLessOrEqual:
      return order <= 0;
    case Comparison::kGreater:
      return order > 0;
    default:
      return order >= 0;
  }
}

}  // namespace

bool is_supported_language(const char *language) {
  if (language == nullptr || language[0] == '\0') return true;
  for (const char *known : {"WQL", "CQL", "DMTF:CQL", "CIM:CQL"}) {
    if (same_name(language, known)) return true;
  }
  return false;
}

Outcome parse_query(const char *text, Query *query) {
  if (text == nullptr) return invalid("no query given");
  *query = Query();
  Tokenizer tokens(text);
  Token token;
  const auto next = [&]() { return tokens.next(&token); };
  const std::string unsupported = std::string("unsupported query: ") + text;
  if (!next() || !is_keyword(token, "SELECT") || !next()) return invalid(unsupported);
  if (token.kind == Token::kStar) {
    if (!next()) return invalid(unsupported);
  } else {
    for (;;) {
      if (token.kind != Token::kName || is_keyword(token, "FROM")) return invalid(unsupported);
      query->properties.push_back(token.text);
      if (!next()) return invalid(unsupported);
      if (token.kind != Token::kComma) break;
      if (!next()) return invalid(unsupported);
    }
  }
  if (!is_keyword(token, "FROM") || !next() || token.kind != Token::kName)
    return invalid(unsupported);
  query->class_name = token.text;
  if (!next()) return invalid(unsupported);
  if (token.kind == Token::kEnd) return success();
  if (!is_keyword(token, "WHERE") || !next() || token.kind != Token::kName)
    return invalid(unsupported);
  query->has_condition = true;
  query->property = token.text;
  if (!next() || token.kind != Token::kOperator ||
      !read_comparison(token.text, &query->comparison) || !next() ||
      !read_literal(token, &query->literal) || !next() || token.kind != Token::kEnd)
    return invalid(unsupported);
  return success();
}

Outcome check_query(const ClassDef &cls, const Query &query) {
  for (const std::string &name : query.properties) {
    if (find_property(cls, name.c_str()) == nullptr)
      return invalid(std::string("class ") + cls.name + " has no property '" + name + "'");
  }
  if (!query.has_condition) return success();
  const PropertyDef *def = find_property(cls, query.property.c_str());
  if (def == nullptr) {
    return invalid(std::string("class ") + cls.name + " has no property '" + query.property + "'");
  }
  if (!comparable(def->type, query.literal)) {
    return invalid(std::string("property '") + def->name + "' is " +
                   with_article(type_name(def->type)) + " and cannot be compared with " +
                   literal_kind_name(query.literal.kind));
  }
  return success();
}

bool matches(const Query &query, const CMPIInstance *inst) {
  if (!query.has_condition) return true;
  const CMPIData data = CMGetProperty(inst, query.property.c_str(), nullptr);
  const CMPIType type = data.type;
  const CMPIValueState state = data.state;
  const CMPIValue value = data.value;
  bool result = false;
  if ((state & (CMPI_nullValue | CMPI_notFound)) == 0)
    result = holds(query.comparison, compare_with(type, value, query.literal));
  release_data(data);
  return result;
}

}  // namespace demo
