// output.h - where results go: text on standard output as they arrive, or one JSON document at
// the end; and the progress line of long enumerations on standard error.
#ifndef CMPI_CLI_OUTPUT_H
#define CMPI_CLI_OUTPUT_H

#include <cmpidt.h>
#include <json/json.h>

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>

namespace wire {
class ClassKeys;
}  // namespace wire

namespace cli {

class Output {
 public:
  // progress: show the progress line (the caller decides: standard error is a terminal).
  Output(std::ostream &out, std::ostream &err, bool json, bool progress);
  ~Output();
  Output(const Output &) = delete;
  Output &operator=(const Output &) = delete;

  bool json() const { return json_; }

  // Text mode: writes text. JSON mode: ignored.
  void text(const std::string &text);
  // JSON mode: sets a member of the document. Text mode: ignored.
  void member(const std::string &name, const Json::Value &value);

  // A list of results under a member ("instances", "paths"): each item is printed at once in
  // text mode (instances separated by a blank line) and appended in JSON mode.
  void start_list(const std::string &name);
  // From now on instances are shown by their names (the names operations): the list
  // "instances" becomes "paths", each instance its path, in name_space when it names none,
  // its keys being the key properties the schema database declares for its class (the
  // database in force: CMPIUTILITY_SCHEMA_DB, else the fixed path).
  void names_only(const std::string &name_space);
  // props: the "InstanceProps" of the instance's frame (null: show the instance as decoded).
  void add_instance(const CMPIInstance *inst, const Json::Value &props = Json::Value());
  void add_path(const CMPIObjectPath *path);
  std::size_t count() const { return count_; }

  // JSON mode: records the failure in the document.
  void error(const Json::Value &error);

  // Clears the progress line and, in JSON mode, writes the document. Called once.
  void finish();

  // How many results make one step of the progress line.
  static constexpr std::size_t kProgressStep = 100;

 private:
  void clear_progress();
  void counted();

  std::ostream &out_;
  std::ostream &err_;
  bool json_;
  bool progress_;
  bool progress_shown_ = false;
  bool finished_ = false;
  Json::Value document_{Json::objectValue};
  std::string list_;
  bool names_only_ = false;
  std::unique_ptr<wire::ClassKeys> class_keys_;  // read when the first name is made
  std::string names_namespace_;
  std::size_t count_ = 0;
};

}  // namespace cli

#endif  // CMPI_CLI_OUTPUT_H
