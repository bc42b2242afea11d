// class_keys.h - the key properties of classes, as the schema database declares them.
//
// An instance that travels in a response frame carries its properties but not which of them
// are keys, so a client that needs the instance's name (the names operations) asks here. The
// database is read-only and read lazily, one class at a time, each answer remembered: the key
// properties a class declares itself (Tbl_ClassProperty.IsKey) and those its superclasses
// declare (Tbl_Class.SuperClass, schema_rows.h). A database that cannot be read, or
// a class it does not list, has no keys.
#ifndef CMPI_WIRE_CLASS_KEYS_H
#define CMPI_WIRE_CLASS_KEYS_H

#include <map>
#include <string>
#include <vector>

namespace wire {

class ClassKeys {
 public:
  // database: the schema database's path (schema_database_path() for the one in force).
  explicit ClassKeys(std::string database) : database_(std::move(database)) {}

  // The key property names of class_name, inherited ones first, in declaration order.
  const std::vector<std::string> &of(const std::string &class_name);

 private:
  std::vector<std::string> read(const std::string &class_name) const;

  std::string database_;
  std::map<std::string, std::vector<std::string>> known_;  // by lower-case class name
};

}  // namespace wire

#endif  // CMPI_WIRE_CLASS_KEYS_H
