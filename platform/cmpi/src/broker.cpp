// broker.cpp - the broker handed to providers.
//
// One shared broker, built on first use and never released. Its four tables live in their own
// files: up-calls (broker_upcalls.cpp), factories and helpers (broker_factories.cpp),
// operating-system services (broker_threads.cpp) and memory services (broker_memory.cpp).
// Up-calls that need a CIM server behind them answer CMPI_RC_ERR_NOT_SUPPORTED.
#include <cstring>

#include "broker_tables.h"
#include "objects.h"
#include "value.h"

using cmpi::set_rc;

namespace cmpi {

const char kBrokerName[] = "cmpiinterface";

// Every object starts with its handle and then its table pointer; the table tells the kind.
const char *object_type_name(const void *object) {
  if (object == nullptr) {
    return nullptr;
  }
  const void *ft = nullptr;
  std::memcpy(&ft, static_cast<const char *>(object) + sizeof(void *), sizeof(ft));
  if (ft == nullptr) {
    return nullptr;
  }
  if (ft == string_table()) return "CMPIString";
  if (ft == array_table()) return "CMPIArray";
  if (ft == datetime_table()) return "CMPIDateTime";
  if (ft == enumeration_table()) return "CMPIEnumeration";
  if (ft == result_table()) return "CMPIResult";
  if (ft == instance_table()) return "CMPIInstance";
  if (ft == object_path_table()) return "CMPIObjectPath";
  if (ft == args_table()) return "CMPIArgs";
  if (ft == context_table()) return "CMPIContext";
  if (ft == const_class_table()) return "CMPIConstClass";
  if (ft == error_table()) return "CMPIError";
  return nullptr;
}

}  // namespace cmpi

extern "C" CMPIBroker *getCMPIBroker(CMPIStatus *rc) {
  static CMPIBroker broker = {
      const_cast<char *>(cmpi::kBrokerName),
      const_cast<CMPIBrokerFT *>(&cmpi::broker_ft),
      const_cast<CMPIBrokerEncFT *>(&cmpi::broker_enc_ft),
      const_cast<CMPIBrokerExtFT *>(&cmpi::broker_ext_ft),
      const_cast<CMPIBrokerMemFT *>(&cmpi::broker_mem_ft),
  };
  set_rc(rc, CMPI_RC_OK);
  return &broker;
}
