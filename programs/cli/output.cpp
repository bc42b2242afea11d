// output.cpp - text and JSON results, progress line.
#include "output.h"

#include <cmpimacs.h>

#include "class_keys.h"
#include "locations.h"
#include "result_names.h"

#include "value_json.h"
#include "value_text.h"

namespace cli {

Output::Output(std::ostream &out, std::ostream &err, bool json, bool progress)
    : out_(out), err_(err), json_(json), progress_(progress) {}

Output::~Output() { clear_progress(); }

void Output::clear_progress() {
  if (!progress_shown_) return;
  err_ << "\r\033[K" << std::flush;
  progress_shown_ = false;
}

void Output::text(const std::string &text) {
  if (json_) return;
  clear_progress();
  out_ << text;
}

void Output::member(const std::string &name, const Json::Value &value) {
  if (json_) document_[name] = value;
}

void Output::names_only(const std::string &name_space) {
  names_only_ = true;
  names_namespace_ = name_space;
}

void Output::start_list(const std::string &name) {
  list_ = names_only_ && name == "instances" ? "paths" : name;
  count_ = 0;
  if (json_) document_[name] = Json::Value(Json::arrayValue);
}

void Output::counted() {
  ++count_;
  if (progress_ && count_ % kProgressStep == 0) {
    err_ << "\rcmpi-cli: " << count_ << " results so far" << std::flush;
    progress_shown_ = true;
  }
}

void Output::add_instance(const CMPIInstance *inst, const Json::Value &props) {
  if (names_only_) {
    if (!class_keys_) class_keys_ = std::make_unique<wire::ClassKeys>(wire::schema_database_path());
    CMPIObjectPath *name =
        wire::result_name(inst, names_namespace_, class_keys_->of(wire::class_of(inst)));
    if (name != nullptr) {
      add_path(name);
      CMRelease(name);
    }
    return;
  }
  if (json_) {
    document_[list_].append(instance_json(inst, props));
  } else {
    text((count_ > 0 ? "\n" : "") + instance_text(inst, 0, true, props));
  }
  counted();
}

void Output::add_path(const CMPIObjectPath *path) {
  if (json_) {
    document_[list_].append(path_json(path));
  } else {
    text(path_text(path) + "\n");
  }
  counted();
}

void Output::error(const Json::Value &error) {
  if (json_) document_["error"] = error;
}

void Output::finish() {
  if (finished_) return;
  finished_ = true;
  clear_progress();
  if (json_) out_ << json_text(document_);
  out_ << std::flush;
}

}  // namespace cli
