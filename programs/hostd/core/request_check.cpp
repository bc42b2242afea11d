// request_check.cpp - interim check: the routing facts only.
#include "request_check.h"

#include <json/json.h>

#include <memory>

namespace hostd {

RequestCheck check_request(std::string_view document, const RequestCheckLimits &) {
  RequestCheck check;
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value root;
  std::string errors;
  if (!reader->parse(document.data(), document.data() + document.size(), &root, &errors) ||
      !root.isObject()) {
    check.reason = "not valid JSON";
    return check;
  }
  if (!root["RequestType"].isInt()) {
    check.reason = "member \"RequestType\" is not an integer from 1 to 10";
    return check;
  }
  check.facts.type = root["RequestType"].asInt();
  if (root["Principal"].isString()) check.facts.principal = root["Principal"].asString();
  if (root["ClassName"].isString()) check.facts.class_name = root["ClassName"].asString();
  if (root["NameSpace"].isString()) check.facts.name_space = root["NameSpace"].asString();
  check.accepted = true;
  return check;
}

}  // namespace hostd
