// sql_text.cpp - see sql_text.h.
#include "sql_text.h"

namespace mof {

std::string SqlLiteral(const SqlValue &value) {
  if (std::holds_alternative<std::monostate>(value)) return "NULL";
  if (const auto *number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
  std::string literal = "'";
  for (char c : std::get<std::string>(value)) {
    literal += c;
    if (c == '\'') literal += '\'';
  }
  return literal + "'";
}

namespace {

// A comment line's text with control characters (a line break in a namespace name) made spaces,
// so that nothing of it can end the comment.
std::string CommentText(const std::string &text) {
  std::string clean = text;
  for (char &c : clean) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  return clean;
}

}  // namespace

std::string RenderSql(const std::vector<SqlGroup> &groups, const std::vector<std::string> &header) {
  std::string text;
  for (const std::string &line : header) text += "-- " + CommentText(line) + "\n";
  text += "\nBEGIN;\n";
  for (const SqlGroup &group : groups) {
    text += "\n-- " + CommentText(group.title) + "\n";
    for (const SqlStatement &statement : group.statements) {
      std::size_t next = 0;
      for (char c : statement.sql) {
        if (c == '?' && next < statement.parameters.size())
          text += SqlLiteral(statement.parameters[next++]);
        else
          text += c;
      }
      text += ";\n";
    }
  }
  text += "\nCOMMIT;\n";
  return text;
}

}  // namespace mof
