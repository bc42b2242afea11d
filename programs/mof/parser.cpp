// parser.cpp - see parser.h.
#include "parser.h"

#include <deque>
#include <utility>

#include "lexer.h"

namespace mof {

namespace {

class Parser {
 public:
  Parser(const std::string &file, std::string_view text, std::string nameSpace,
         IncludeHandler &includes, MofDocument &doc)
      : lexer_(file, text), nameSpace_(std::move(nameSpace)), includes_(includes), doc_(doc) {}

  void parse() {
    while (peek().kind != TokenKind::End) {
      const Token &token = peek();
      if (token.isSymbol('#')) {
        pragma();
        continue;
      }
      std::vector<Qualifier> qualifiers;
      if (peek().isSymbol('[')) qualifiers = qualifierList();
      const Token &keyword = peek();
      if (keyword.isWord("class")) {
        classDeclaration(std::move(qualifiers));
      } else if (keyword.isWord("instance")) {
        instanceDeclaration();
      } else if (keyword.isWord("qualifier") && qualifiers.empty()) {
        qualifierDeclaration();
      } else {
        fail(keyword, "expected a class, instance or qualifier declaration or a #pragma, not " +
                          DescribeToken(keyword));
      }
    }
  }

 private:
  const Token &peek(std::size_t n = 0) {
    while (ahead_.size() <= n) ahead_.push_back(lexer_.next());
    return ahead_[n];
  }
  Token take() {
    peek();
    Token token = std::move(ahead_.front());
    ahead_.pop_front();
    return token;
  }
  [[noreturn]] void fail(const Token &at, const std::string &message) {
    throw MofError(at.where, message);
  }
  // Takes the symbol or fails with "expected 'c' CONTEXT".
  void expect(char symbol, const std::string &context) {
    if (!peek().isSymbol(symbol))
      fail(peek(), std::string("expected '") + symbol + "' " + context);
    take();
  }
  Token identifier(const std::string &what) {
    if (peek().kind != TokenKind::Identifier)
      fail(peek(), "expected " + what + ", not " + DescribeToken(peek()));
    return take();
  }
  // Takes one string literal and any that follow it at once ("a" "b" is "ab").
  Token strings(const std::string &context) {
    if (peek().kind != TokenKind::String) fail(peek(), "expected a string " + context);
    Token first = take();
    while (peek().kind == TokenKind::String) first.text += take().text;
    return first;
  }

  // #pragma name("value")
  void pragma() {
    const Token hash = take();
    if (!peek().isWord("pragma")) fail(peek(), "expected 'pragma' after '#'");
    take();
    const Token name = identifier("a pragma name");
    expect('(', "after #pragma " + name.text);
    const Token value = strings("as the argument of #pragma " + name.text);
    expect(')', "after the argument of #pragma " + name.text);
    if (name.isWord("include")) {
      if (value.text.empty()) fail(value, "#pragma include needs a file name");
      includes_.include(value.text, value.where, nameSpace_, doc_);
    } else if (name.isWord("namespace")) {
      if (value.text.empty()) fail(value, "#pragma namespace needs a namespace name");
      nameSpace_ = value.text;
    }
    // Every other pragma (locale, instancelocale, ...) does not change what is stored.
  }

  // [Name, Name(value), Name{values} : Flavor Flavor, ...]
  std::vector<Qualifier> qualifierList() {
    std::vector<Qualifier> qualifiers;
    take();  // [
    while (true) {
      Qualifier qualifier;
      const Token name = identifier("a qualifier name");
      qualifier.name = name.text;
      qualifier.where = name.where;
      if (peek().isSymbol('(')) {
        take();
        Value value;
        value.where = peek().where;
        value.scalar = scalar("as the value of qualifier " + name.text);
        qualifier.value = std::move(value);
        expect(')', "after the value of qualifier " + name.text);
      } else if (peek().isSymbol('{')) {
        qualifier.value = array("of qualifier " + name.text);
      }
      if (peek().isSymbol(':')) {  // flavors: read and ignored
        take();
        identifier("a flavor after ':'");
        while (peek().kind == TokenKind::Identifier) take();
      }
      qualifiers.push_back(std::move(qualifier));
      if (peek().isSymbol(',')) {
        take();
        continue;
      }
      expect(']', "after qualifier " + name.text);
      return qualifiers;
    }
  }

  Scalar scalar(const std::string &context) {
    const Token &token = peek();
    Scalar s;
    s.where = token.where;
    switch (token.kind) {
      case TokenKind::String:
        s.kind = Scalar::Kind::String;
        s.text = strings(context).text;
        return s;
      case TokenKind::Char16:
        s.kind = Scalar::Kind::Char16;
        s.character = token.character;
        s.text = take().text;
        return s;
      case TokenKind::Integer:
        s.kind = Scalar::Kind::Integer;
        s.magnitude = token.magnitude;
        s.negative = token.negative;
        s.text = take().text;
        return s;
      case TokenKind::Real:
        s.kind = Scalar::Kind::Real;
        s.real = token.real;
        s.text = take().text;
        return s;
      case TokenKind::Alias:
        s.kind = Scalar::Kind::Alias;
        s.text = take().text;
        return s;
      case TokenKind::Identifier:
        if (token.isWord("true") || token.isWord("false")) {
          s.kind = Scalar::Kind::Boolean;
          s.boolean = token.isWord("true");
          take();
          return s;
        }
        if (token.isWord("null")) {
          take();
          return s;
        }
        break;
      default: break;
    }
    fail(token, "expected a value " + context + ", not " + DescribeToken(token));
  }

  // { scalar, ... }, the opening brace next.
  Value array(const std::string &context) {
    Value value;
    value.isArray = true;
    value.where = take().where;  // {
    if (peek().isSymbol('}')) {
      take();
      return value;
    }
    while (true) {
      value.elements.push_back(scalar("in the array " + context));
      if (peek().isSymbol(',')) {
        take();
        continue;
      }
      expect('}', "after the array " + context);
      return value;
    }
  }

  Value value(const std::string &context) {
    if (peek().isSymbol('{')) return array(context);
    Value v;
    v.where = peek().where;
    v.scalar = scalar(context);
    return v;
  }

  // [] or [N] after a name, when there.
  ArrayShape arrayShape(const std::string &context) {
    ArrayShape shape;
    if (!peek().isSymbol('[')) return shape;
    take();
    shape.isArray = true;
    if (peek().kind == TokenKind::Integer) {
      const Token size = take();
      if (size.negative || size.magnitude == 0)
        fail(size, "the size of array " + context + " must be a positive integer");
      shape.fixedSize = size.magnitude;
    }
    expect(']', "after the array size of " + context);
    return shape;
  }

  // type [REF] : a built-in type's name, or the target class of a reference.
  WrittenType writtenType(const std::string &what) {
    const Token name = identifier(what);
    WrittenType type;
    type.name = name.text;
    type.where = name.where;
    if (peek().isWord("ref")) {
      take();
      type.isReference = true;
    }
    return type;
  }

  void classDeclaration(std::vector<Qualifier> qualifiers) {
    ClassDecl decl;
    decl.qualifiers = std::move(qualifiers);
    decl.nameSpace = nameSpace_;
    take();  // class
    const Token name = identifier("a class name after 'class'");
    decl.name = name.text;
    decl.where = name.where;
    if (peek().isSymbol(':')) {
      take();
      const Token super = identifier("a superclass name after ':'");
      decl.superClass = super.text;
      decl.superClassWhere = super.where;
    }
    expect('{', "after the class name " + decl.name);
    while (!peek().isSymbol('}')) {
      if (peek().kind == TokenKind::End)
        fail(peek(), "expected '}' to end class " + decl.name);
      feature(decl);
    }
    take();  // }
    expect(';', "after the declaration of class " + decl.name);
    doc_.declarations.emplace_back(std::move(decl));
  }

  // A property, reference or method of the class.
  void feature(ClassDecl &decl) {
    std::vector<Qualifier> qualifiers;
    if (peek().isSymbol('[')) qualifiers = qualifierList();
    WrittenType type = writtenType("a property or method type");
    const Token name = identifier("a property or method name after " + type.name +
                                  (type.isReference ? " REF" : ""));
    if (peek().isSymbol('(')) {
      MethodDecl method;
      method.qualifiers = std::move(qualifiers);
      method.returnType = std::move(type);
      method.name = name.text;
      method.where = name.where;
      take();  // (
      if (!peek().isSymbol(')')) {
        while (true) {
          method.parameters.push_back(parameter(method.name));
          if (peek().isSymbol(',')) {
            take();
            continue;
          }
          break;
        }
      }
      expect(')', "after the parameters of method " + method.name);
      expect(';', "after method " + method.name);
      decl.methods.push_back(std::move(method));
      return;
    }
    PropertyDecl property;
    property.qualifiers = std::move(qualifiers);
    property.type = std::move(type);
    property.name = name.text;
    property.where = name.where;
    property.array = arrayShape("property " + name.text);
    if (peek().isSymbol('=')) {
      take();
      property.defaultValue = value("as the default of property " + name.text);
    }
    expect(';', "after property " + name.text);
    decl.properties.push_back(std::move(property));
  }

  ParameterDecl parameter(const std::string &method) {
    ParameterDecl parameter;
    if (peek().isSymbol('[')) parameter.qualifiers = qualifierList();
    parameter.type = writtenType("a parameter type in method " + method);
    const Token name = identifier("a parameter name in method " + method);
    parameter.name = name.text;
    parameter.where = name.where;
    parameter.array = arrayShape("parameter " + name.text);
    return parameter;
  }

  // instance of Class [as $alias] { [qualifiers] Name = value; ... };
  void instanceDeclaration() {
    InstanceDecl decl;
    decl.where = take().where;  // instance
    decl.nameSpace = nameSpace_;
    if (!peek().isWord("of")) fail(peek(), "expected 'of' after 'instance'");
    take();
    decl.className = identifier("a class name after 'instance of'").text;
    if (peek().isWord("as")) {
      take();
      if (peek().kind != TokenKind::Alias) fail(peek(), "expected an alias ($name) after 'as'");
      take();
    }
    expect('{', "after 'instance of " + decl.className + "'");
    while (!peek().isSymbol('}')) {
      if (peek().kind == TokenKind::End)
        fail(peek(), "expected '}' to end the instance of " + decl.className);
      if (peek().isSymbol('[')) qualifierList();
      const Token name = identifier("a property name in the instance of " + decl.className);
      expect('=', "after property " + name.text);
      PropertyValue property;
      property.name = name.text;
      property.where = name.where;
      property.value = value("for property " + name.text);
      expect(';', "after the value of property " + name.text);
      decl.properties.push_back(std::move(property));
    }
    take();  // }
    expect(';', "after the instance of " + decl.className);
    doc_.declarations.emplace_back(std::move(decl));
  }

  // qualifier Name : type [array] [= value], scope(...) [, flavor(...)]; read and ignored.
  void qualifierDeclaration() {
    take();  // qualifier
    const Token name = identifier("a qualifier name after 'qualifier'");
    const std::string context = "in the declaration of qualifier " + name.text;
    expect(':', "after qualifier " + name.text);
    identifier("a type " + context);
    arrayShape("qualifier " + name.text);
    if (peek().isSymbol('=')) {
      take();
      value(context);
    }
    while (peek().isSymbol(',')) {
      take();
      const Token part = identifier("'scope' or 'flavor' " + context);
      if (!part.isWord("scope") && !part.isWord("flavor"))
        fail(part, "expected 'scope' or 'flavor' " + context + ", not " + DescribeToken(part));
      expect('(', "after '" + part.text + "'");
      while (true) {
        identifier("a name in '" + part.text + "(...)'");
        if (peek().isSymbol(',')) {
          take();
          continue;
        }
        break;
      }
      expect(')', "after the list of '" + part.text + "'");
    }
    expect(';', "after the declaration of qualifier " + name.text);
  }

  Lexer lexer_;
  std::deque<Token> ahead_;
  std::string nameSpace_;
  IncludeHandler &includes_;
  MofDocument &doc_;
};

}  // namespace

void ParseMof(const std::string &file, std::string_view text, const std::string &nameSpace,
              IncludeHandler &includes, MofDocument &doc) {
  Parser(file, text, nameSpace, includes, doc).parse();
}

}  // namespace mof
