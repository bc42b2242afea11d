// broker_memory.cpp - the broker's memory services (the CMPIBrokerMemFT table): the plain
// heap, and releasing objects through their own tables.
#include <cstdlib>
#include <cstring>

#include "broker_tables.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

CMPIGcStat *mem_mark(const CMPIBroker *, CMPIStatus *rc) {
  set_rc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIStatus mem_release(const CMPIBroker *, const CMPIGcStat *) {
  return make_status(CMPI_RC_ERR_NOT_SUPPORTED);
}

void *mem_malloc(const CMPIBroker *, size_t size) { return std::malloc(size); }

void *mem_calloc(const CMPIBroker *, size_t nElems, size_t sizeElem) {
  return std::calloc(nElems, sizeElem);
}

void *mem_realloc(const CMPIBroker *, void *ptr, size_t size) { return std::realloc(ptr, size); }

char *mem_strdup(const CMPIBroker *, const char *str) {
  return str != nullptr ? strdup(str) : nullptr;
}

void mem_free(const CMPIBroker *, void *ptr) { std::free(ptr); }

template <typename Object>
void release_object(Object *object) {
  if (object != nullptr && object->ft != nullptr) {
    object->ft->release(object);
  }
}

void mem_free_instance(const CMPIBroker *, CMPIInstance *inst) { release_object(inst); }
void mem_free_object_path(const CMPIBroker *, CMPIObjectPath *obj) { release_object(obj); }
void mem_free_args(const CMPIBroker *, CMPIArgs *args) { release_object(args); }
void mem_free_string(const CMPIBroker *, CMPIString *str) { release_object(str); }
void mem_free_array(const CMPIBroker *, CMPIArray *array) { release_object(array); }
void mem_free_date_time(const CMPIBroker *, CMPIDateTime *date) { release_object(date); }

// No select expression is ever made here, so there is nothing to free.
void mem_free_select_exp(const CMPIBroker *, CMPISelectExp *) {}

}  // namespace

namespace cmpi {

const CMPIBrokerMemFT broker_mem_ft = {
    CMPICurrentVersion,
    mem_mark,
    mem_release,
    mem_malloc,
    mem_calloc,
    mem_realloc,
    mem_strdup,
    mem_free,
    mem_free_instance,
    mem_free_object_path,
    mem_free_args,
    mem_free_string,
    mem_free_array,
    mem_free_date_time,
    mem_free_select_exp,
};


}  // namespace cmpi
