// factory_faults.h - makes the object library's factories fail, as the decoders and the request
// parser see them.
//
// A test program that links factory_faults.cpp puts its own makeNewObjectPath,
// makeNewCMPIInstance, makeNewCMPIArgs, makeNewCMPIArray, makeNewCMPIDateTimeFromChars and
// CreateString in front of the object library's. Each passes every call on to the library
// unless a FactoryFault for it is alive:
//
//   cmpitest::FactoryFault fault(Factory::kObjectPath, Fault::kFail);       // every call fails
//   cmpitest::FactoryFault fault(Factory::kString, Fault::kFail, 0, "boom"); // only for "boom"
//   cmpitest::FactoryFault fault(Factory::kObjectPath, Fault::kFail, 1);     // the 2nd call on
//
// Calls that match (the text given is compared with the class name of a path, the text of a
// date-time or string; other factories match every call) are counted from the creation of the
// FactoryFault; the first `skip` of them pass on, the later ones get the fault.
//
// A FilterRecorder records the CMSetPropertyFilter calls made on instances that
// makeNewCMPIInstance hands out while it lives (the calls are still carried out).
#ifndef CMPITEST_JSON_FACTORY_FAULTS_H
#define CMPITEST_JSON_FACTORY_FAULTS_H

#include <string>
#include <vector>

namespace cmpitest {

enum class Factory { kObjectPath, kInstance, kArgs, kArray, kDateTime, kString };

enum class Fault {
  kFail,            // CMPI_RC_ERR_FAILED and nothing
  kFailWithObject,  // CMPI_RC_ERR_FAILED and the library's object all the same
  kOkNothing,       // CMPI_RC_OK and nothing
};

class FactoryFault {
 public:
  FactoryFault(Factory factory, Fault fault, int skip = 0, const char *text = nullptr);
  ~FactoryFault();
  FactoryFault(const FactoryFault &) = delete;
  FactoryFault &operator=(const FactoryFault &) = delete;

  // Matching calls seen so far, the passed-on ones included.
  int calls() const;

 private:
  Factory factory_;
};

class FilterRecorder {
 public:
  FilterRecorder();
  ~FilterRecorder();
  FilterRecorder(const FilterRecorder &) = delete;
  FilterRecorder &operator=(const FilterRecorder &) = delete;

  // One entry per call: "properties=<list>;keys=<list>", each list its names joined by ","
  // or "NULL" for no list.
  const std::vector<std::string> &calls() const;

 private:
  std::vector<std::string> calls_;
};

}  // namespace cmpitest

#endif  // CMPITEST_JSON_FACTORY_FAULTS_H
