// result.cpp - CMPIResult: collects what a provider returns into it.
//
// Contract:
//  - the collection is an array owned by the result. It does not exist until something is
//    returned or the result is finished (returnDone); returnDone on a result that got nothing
//    creates it empty (element type CMPI_null), so "finished with nothing" (empty array) differs
//    from "never touched" (no array);
//  - returnData/returnInstance/returnObjectPath append a copy of what they are given (instances
//    as CMPI_instance, object paths as CMPI_ref). The first typed item fixes the collection's
//    element type; a later item of another family is CMPI_RC_ERR_TYPE_MISMATCH. Array values
//    cannot be returned (an array holds no arrays): CMPI_RC_ERR_INVALID_DATA_TYPE;
//  - items returned after returnDone are still collected;
//  - returnError keeps nothing and answers CMPI_RC_OK;
//  - cmpiConvertResult2Array hands out the collection itself (the result keeps owning it).
#include "object_impl.h"
#include "objects.h"
#include "value.h"

namespace {

struct ResultImpl {
  CMPIResult object;
  CMPIArray *collection;
  bool done;
};

ResultImpl *impl_of(const CMPIResult *rslt) { return cmpi::impl_of<ResultImpl>(rslt); }

ResultImpl *new_impl();

void destroy(ResultImpl *impl) {
  if (impl->collection != nullptr) {
    impl->collection->ft->release(impl->collection);
  }
  delete impl;
}

// Creates the (untyped, empty) collection when there is none yet.
CMPIrc ensure_collection(ResultImpl *impl) {
  if (impl->collection != nullptr) {
    return CMPI_RC_OK;
  }
  CMPIStatus st = cmpi::make_status(CMPI_RC_OK);
  impl->collection = makeNewCMPIArray(0, CMPI_null, &st);
  return impl->collection != nullptr ? CMPI_RC_OK : st.rc;
}

// Appends a copy of value to the collection.
CMPIStatus append(const CMPIResult *rslt, const CMPIValue *value, CMPIType type) {
  ResultImpl *impl = impl_of(rslt);
  if (impl == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  if ((type & CMPI_ARRAY) != 0) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_DATA_TYPE);
  }
  const bool created = impl->collection == nullptr;
  const CMPIrc erc = ensure_collection(impl);
  if (erc != CMPI_RC_OK) {
    return cmpi::make_status(erc);
  }
  CMPIArray *collection = impl->collection;
  const CMPICount size = collection->ft->getSize(collection, nullptr);
  const CMPIStatus st = collection->ft->setElementAt(collection, size, value, type);
  if (st.rc != CMPI_RC_OK && created) {
    // Nothing was collected: the result stays as untouched as it was.
    collection->ft->release(collection);
    impl->collection = nullptr;
  }
  return st;
}

CMPIStatus result_release(CMPIResult *rslt) {
  ResultImpl *impl = impl_of(rslt);
  if (impl == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  destroy(impl);
  return cmpi::make_status(CMPI_RC_OK);
}

CMPIResult *result_clone(const CMPIResult *rslt, CMPIStatus *rc) {
  const ResultImpl *impl = impl_of(rslt);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  ResultImpl *copy = new_impl();
  if (copy == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  copy->done = impl->done;
  if (impl->collection != nullptr) {
    CMPIStatus st = cmpi::make_status(CMPI_RC_OK);
    copy->collection = impl->collection->ft->clone(impl->collection, &st);
    if (copy->collection == nullptr) {
      destroy(copy);
      cmpi::set_rc(rc, cmpi::rc_of_failed_clone(st));
      return nullptr;
    }
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return &copy->object;
}

CMPIStatus result_return_data(const CMPIResult *rslt, const CMPIValue *value,
                              const CMPIType type) {
  return append(rslt, value, type);
}

CMPIStatus result_return_instance(const CMPIResult *rslt, const CMPIInstance *inst) {
  if (impl_of(rslt) == nullptr || inst == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  CMPIValue value;
  value.inst = const_cast<CMPIInstance *>(inst);
  return append(rslt, &value, CMPI_instance);
}

CMPIStatus result_return_object_path(const CMPIResult *rslt, const CMPIObjectPath *ref) {
  if (impl_of(rslt) == nullptr || ref == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  CMPIValue value;
  value.ref = const_cast<CMPIObjectPath *>(ref);
  return append(rslt, &value, CMPI_ref);
}

CMPIStatus result_return_done(const CMPIResult *rslt) {
  ResultImpl *impl = impl_of(rslt);
  if (impl == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  const CMPIrc rc = ensure_collection(impl);
  if (rc != CMPI_RC_OK) {
    return cmpi::make_status(rc);
  }
  impl->done = true;
  return cmpi::make_status(CMPI_RC_OK);
}

CMPIStatus result_return_error(const CMPIResult *rslt, const CMPIError * /*er*/) {
  if (impl_of(rslt) == nullptr) {
    return cmpi::make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  return cmpi::make_status(CMPI_RC_OK);
}

CMPIResultFT result_ft = {
    CMPICurrentVersion,     result_release,            result_clone,
    result_return_data,     result_return_instance,    result_return_object_path,
    result_return_done,     result_return_error,
};

// No collection, not done.
ResultImpl *new_impl() { return cmpi::new_impl<ResultImpl>(&result_ft); }

}  // namespace

namespace cmpi {

const CMPIResultFT *result_table() { return &result_ft; }

}  // namespace cmpi

extern "C" CMPIResult *makeNewCMPIResult(CMPIStatus *rc) { return cmpi::made(new_impl(), rc); }

extern "C" CMPIArray *cmpiConvertResult2Array(const CMPIResult *result) {
  // Only our own results carry a collection.
  const ResultImpl *impl = cmpi::our_impl<ResultImpl>(result, &result_ft);
  return impl != nullptr ? impl->collection : nullptr;
}
