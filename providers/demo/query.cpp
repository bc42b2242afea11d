// query.cpp - reading and evaluating the simple queries of query.h.
#include "query.h"

#include <cmpimacs.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "codec.h"
#include "instance_model.h"

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
    if (c == '\'' || c == '"') return readString(token);
    if (std::isdigit(static_cast<unsigned char>(c)) || c == '.' ||
        ((c == '-' || c == '+') &&
         (std::isdigit(static_cast<unsigned char>(text_[1])) || text_[1] == '.')))
      return readNumber(token);
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
  bool readString(Token *token) {
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

  bool readNumber(Token *token) {
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

bool isKeyword(const Token &token, const char *keyword) {
  return token.kind == Token::kName && sameName(token.text.c_str(), keyword);
}

// A number token as an integer or real literal.
bool readNumberLiteral(const std::string &text, Literal *literal) {
  size_t i = 0;
  bool negative = false;
  if (text[i] == '-' || text[i] == '+') negative = text[i++] == '-';
  bool integer = i < text.size();
  __int128 value = 0;
  for (size_t j = i; j < text.size() && integer; ++j) {
    if (!std::isdigit(static_cast<unsigned char>(text[j])) ||
        value > (static_cast<__int128>(1) << 100))
      integer = false;
    else
      value = value * 10 + (text[j] - '0');
  }
  char *end = nullptr;
  const long double real = strtold(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0') return false;
  literal->kind = integer ? Literal::kInteger : Literal::kReal;
  literal->integer = negative ? -value : value;
  literal->real = real;
  return true;
}

bool readLiteral(const Token &token, Literal *literal) {
  switch (token.kind) {
    case Token::kString:
      literal->kind = Literal::kString;
      literal->text = token.text;
      return true;
    case Token::kNumber:
      return readNumberLiteral(token.text, literal);
    case Token::kName:
      if (!isKeyword(token, "TRUE") && !isKeyword(token, "FALSE")) return false;
      literal->kind = Literal::kBoolean;
      literal->boolean = isKeyword(token, "TRUE");
      return true;
    default:
      return false;
  }
}

bool readComparison(const std::string &text, Comparison *comparison) {
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

bool isInteger(CMPIType type) {
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

bool isNumber(Literal::Kind kind) { return kind == Literal::kInteger || kind == Literal::kReal; }

bool comparable(CMPIType type, const Literal &literal) {
  if (isInteger(type) || type == CMPI_real32 || type == CMPI_real64) return isNumber(literal.kind);
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

const char *literalKindName(Literal::Kind kind) {
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

__int128 integerOf(CMPIType type, const CMPIValue &value) {
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
int compareWith(CMPIType type, const CMPIValue &value, const Literal &literal) {
  if (isInteger(type)) {
    const __int128 number = integerOf(type, value);
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

bool isSupportedLanguage(const char *language) {
  if (language == nullptr || language[0] == '\0') return true;
  for (const char *known : {"WQL", "CQL", "DMTF:CQL", "CIM:CQL"}) {
    if (sameName(language, known)) return true;
  }
  return false;
}

Outcome parseQuery(const char *text, Query *query) {
  if (text == nullptr) return invalid("no query given");
  *query = Query();
  Tokenizer tokens(text);
  Token token;
  const auto next = [&]() { return tokens.next(&token); };
  const std::string unsupported = std::string("unsupported query: ") + text;
  if (!next() || !isKeyword(token, "SELECT") || !next()) return invalid(unsupported);
  if (token.kind == Token::kStar) {
    if (!next()) return invalid(unsupported);
  } else {
    for (;;) {
      if (token.kind != Token::kName || isKeyword(token, "FROM")) return invalid(unsupported);
      query->properties.push_back(token.text);
      if (!next()) return invalid(unsupported);
      if (token.kind != Token::kComma) break;
      if (!next()) return invalid(unsupported);
    }
  }
  if (!isKeyword(token, "FROM") || !next() || token.kind != Token::kName)
    return invalid(unsupported);
  query->className = token.text;
  if (!next()) return invalid(unsupported);
  if (token.kind == Token::kEnd) return success();
  if (!isKeyword(token, "WHERE") || !next() || token.kind != Token::kName)
    return invalid(unsupported);
  query->hasCondition = true;
  query->property = token.text;
  if (!next() || token.kind != Token::kOperator ||
      !readComparison(token.text, &query->comparison) || !next() ||
      !readLiteral(token, &query->literal) || !next() || token.kind != Token::kEnd)
    return invalid(unsupported);
  return success();
}

Outcome checkQuery(const ClassDef &cls, const Query &query) {
  for (const std::string &name : query.properties) {
    if (findProperty(cls, name.c_str()) == nullptr)
      return invalid(std::string("class ") + cls.name + " has no property '" + name + "'");
  }
  if (!query.hasCondition) return success();
  const PropertyDef *def = findProperty(cls, query.property.c_str());
  if (def == nullptr) {
    return invalid(std::string("class ") + cls.name + " has no property '" + query.property + "'");
  }
  if (!comparable(def->type, query.literal)) {
    return invalid(std::string("property '") + def->name + "' is " +
                   withArticle(typeName(def->type)) + " and cannot be compared with " +
                   literalKindName(query.literal.kind));
  }
  return success();
}

bool matches(const Query &query, const CMPIInstance *inst) {
  if (!query.hasCondition) return true;
  const CMPIData data = CMGetProperty(inst, query.property.c_str(), nullptr);
  const CMPIType type = data.type;
  const CMPIValueState state = data.state;
  const CMPIValue value = data.value;
  bool result = false;
  if ((state & (CMPI_nullValue | CMPI_notFound)) == 0)
    result = holds(query.comparison, compareWith(type, value, query.literal));
  releaseData(data);
  return result;
}

}  // namespace demo
