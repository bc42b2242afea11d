// sql_statements.cpp - see sql_statements.h.
#include "sql_statements.h"

namespace mof {

namespace {

SqlValue Text(const std::optional<std::string> &text) {
  if (!text) return std::monostate{};
  return *text;
}

void AddClass(const ClassRows &rows, std::vector<SqlGroup> &groups) {
  SqlGroup group;
  group.title = "class " + rows.name + " (" + rows.nameSpace + ")";
  auto &out = group.statements;
  for (const char *table :
       {"Tbl_Class", "Tbl_ClassProperty", "Tbl_ClassMethod", "Tbl_MethodParameter"}) {
    out.push_back({std::string("DELETE FROM ") + table + " WHERE ClassName = ? COLLATE NOCASE",
                   {rows.name}});
  }
  out.push_back({"INSERT INTO Tbl_Class (ClassName, SuperClass, NameSpace, IsAssociation, "
                 "IsAbstract) VALUES (?, ?, ?, ?, ?)",
                 {rows.name, Text(rows.superClass), rows.nameSpace,
                  std::int64_t{rows.isAssociation}, std::int64_t{rows.isAbstract}}});
  for (const PropertyRow &p : rows.properties) {
    out.push_back({"INSERT INTO Tbl_ClassProperty (ClassName, PropertyName, DataType, IsKey, "
                   "Position, ReferenceClass, DefaultValue) VALUES (?, ?, ?, ?, ?, ?, ?)",
                   {rows.name, p.name, std::int64_t{p.dataType}, std::int64_t{p.isKey},
                    std::int64_t{p.position}, Text(p.referenceClass), Text(p.defaultValue)}});
  }
  for (const MethodRow &m : rows.methods) {
    out.push_back({"INSERT INTO Tbl_ClassMethod (ClassName, MethodName, ReturnType, Position) "
                   "VALUES (?, ?, ?, ?)",
                   {rows.name, m.name, std::int64_t{m.returnType}, std::int64_t{m.position}}});
    for (const ParameterRow &p : m.parameters) {
      out.push_back({"INSERT INTO Tbl_MethodParameter (ClassName, MethodName, ParameterName, "
                     "DataType, Direction, Position, ReferenceClass) VALUES (?, ?, ?, ?, ?, ?, ?)",
                     {rows.name, m.name, p.name, std::int64_t{p.dataType}, p.direction,
                      std::int64_t{p.position}, Text(p.referenceClass)}});
    }
  }
  groups.push_back(std::move(group));
}

void AddRegistration(const RegistrationRows &rows, std::vector<SqlGroup> &groups) {
  SqlGroup group;
  group.title = "provider " + rows.providerName;
  for (const MetadataRow &row : rows.classes) {
    group.statements.push_back(
        {"DELETE FROM Tbl_ClassMetadata WHERE ClassName = ? COLLATE NOCASE", {row.className}});
    group.statements.push_back({"INSERT INTO Tbl_ClassMetadata (ClassName, ProviderName, "
                                "NameSpace, UnloadNever) VALUES (?, ?, ?, ?)",
                                {row.className, row.providerName, row.nameSpace,
                                 std::string(row.unloadNever ? "1" : "0")}});
  }
  groups.push_back(std::move(group));
}

}  // namespace

std::vector<SqlGroup> ImportStatements(const SchemaRows &rows) {
  std::vector<SqlGroup> groups;
  for (const auto &entry : rows.entries) {
    if (const auto *classRows = std::get_if<ClassRows>(&entry))
      AddClass(*classRows, groups);
    else
      AddRegistration(std::get<RegistrationRows>(entry), groups);
  }
  return groups;
}

}  // namespace mof
