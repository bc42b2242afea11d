// broker.cpp - the broker handed to providers.
//
// One shared broker, built on first use and never released. Its four tables live in their own
// files: up-calls (broker_upcalls.cpp), factories and helpers (broker_factories.cpp),
// operating-system services (broker_threads.cpp) and memory services (broker_memory.cpp).
// Up-calls that need a CIM server behind them answer CMPI_RC_ERR_NOT_SUPPORTED.
#include <cstddef>
#include <cstring>

#include "broker_tables.h"
#include "objects.h"
#include "value.h"

using cmpi::set_rc;

namespace cmpi {

const char kBrokerName[] = "cmpiinterface";

namespace {

// Whether ft is table or a copy of it: a host may hand providers objects whose table is a copy
// with another release entry (objects it releases itself later), so the kind is told by the
// clone entry too. Every object table starts with ftVersion, release and clone, packed, so the
// clone entry sits at the same place whatever the kind.
template <class Table>
bool same_kind(const void *ft, const Table *table) {
  if (ft == table) return true;
  static_assert(offsetof(Table, clone) == offsetof(CMPIStringFT, clone),
                "every object table has its clone entry at the same place");
  decltype(table->clone) clone = nullptr;
  std::memcpy(&clone, static_cast<const char *>(ft) + offsetof(Table, clone), sizeof clone);
  return clone == table->clone;
}

}  // namespace

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
  if (same_kind(ft, string_table())) return "CMPIString";
  if (same_kind(ft, array_table())) return "CMPIArray";
  if (same_kind(ft, datetime_table())) return "CMPIDateTime";
  if (same_kind(ft, enumeration_table())) return "CMPIEnumeration";
  if (same_kind(ft, result_table())) return "CMPIResult";
  if (same_kind(ft, instance_table())) return "CMPIInstance";
  if (same_kind(ft, object_path_table())) return "CMPIObjectPath";
  if (same_kind(ft, args_table())) return "CMPIArgs";
  if (same_kind(ft, context_table())) return "CMPIContext";
  if (same_kind(ft, const_class_table())) return "CMPIConstClass";
  if (same_kind(ft, error_table())) return "CMPIError";
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
