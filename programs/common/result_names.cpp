// result_names.cpp - names of associators and references results.
#include "result_names.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>

namespace wire {
namespace {

std::string take(CMPIString *s) {
  std::string text;
  if (s != nullptr) {
    if (s->hdl != nullptr) text = static_cast<const char *>(s->hdl);
    CMRelease(s);
  }
  return text;
}

}  // namespace

std::string class_of(const CMPIInstance *inst) {
  if (inst == nullptr || inst->ft == nullptr) return "";
  CMPIObjectPath *path = CMGetObjectPath(inst, nullptr);
  if (path == nullptr) return "";
  std::string name = take(CMGetClassName(path, nullptr));
  CMRelease(path);
  return name;
}

CMPIObjectPath *result_name(const CMPIInstance *inst, const std::string &name_space,
                            const std::vector<std::string> &keys) {
  if (inst == nullptr || inst->ft == nullptr) return nullptr;
  CMPIObjectPath *own = CMGetObjectPath(inst, nullptr);
  if (own == nullptr) return nullptr;
  std::string ns = take(CMGetNameSpace(own, nullptr));
  const std::string cls = take(CMGetClassName(own, nullptr));
  CMRelease(own);
  if (ns.empty()) ns = name_space;
  CMPIObjectPath *path = makeNewObjectPath(ns.c_str(), cls.c_str(), nullptr);
  if (path == nullptr) return nullptr;
  for (const std::string &key : keys) {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    CMPIData d = CMGetProperty(inst, key.c_str(), &st);
    if (st.rc != CMPI_RC_OK || (d.state & CMPI_nullValue)) continue;
    CMAddKey(path, key.c_str(), &d.value, d.type);
    cmpiReleaseCMPIValue(d.type, &d.value);
  }
  return path;
}

}  // namespace wire
