// wire_fit.h - what a provider returned, fitted to what the protocol can carry.
//
// The library's encoders fail on some data a provider may legally return, and write other data
// wrongly. Before the host encodes an instance, an object path or a method's output arguments,
// WireFit looks at it and, only when something would fail or be written wrongly, makes a copy
// that encodes honestly:
//
//   keys (of a returned path, of a reference value, at any depth)
//     A top-level path carries string and reference keys; a reference value carries keys of
//     the text types only. Every other key becomes a string key holding its text, so the client
//     reads the same key text it would have read had the provider used strings: integers in
//     decimal (-5, 18446744073709551615), booleans "true"/"false", date-times as their
//     25-character CIM text, char16 as its character, reals as the wire writes real values
//     (through single precision, at most 17 digits, always with "." or an exponent: "0.5",
//     "3.0"), a reference key inside a reference value as its path text
//     ("root/cimv2:Class.k=v"). Nothing is logged: no information is lost.
//   a null element in an integer, string, date-time, reference or embedded-instance array
//     The property (or argument) is left out: integers would arrive as 0, the others fail the
//     whole answer. Boolean, real and char16 arrays are written without elements anyway, so a
//     null element in them changes nothing and stays.
//   a null reference or embedded-instance value; a reference without namespace or class name
//     The property or argument is left out (the wire has no null for them; the encoder fails).
//   a null array, integer, boolean or real output argument
//     Left out: arguments carry no null state, so they would arrive as a failure or as 0.
//   embedded instances (properties, array elements, arguments)
//     Fitted by the same rules, at any depth.
//
// Every property or argument left out is logged once per WireFit (one WireFit per request) and
// per place, at level 2, module 232:
//   "<Operation>: property P of C is left out: <why>, which the wire cannot carry"
//   "<Operation>: property P of C (embedded in D.Q) is left out: ..."
//   "<Operation>: output argument A is left out: ..."
//   "<Operation>: key K of the path of C is left out: its <type> value has no text form, ..."
// where <why> is one of "it is a null reference", "it is a null embedded instance", "its
// reference has no namespace", "its reference has no class name", "its <type> array holds a
// null element", "it is a null <type> argument", "it is a null <type> array argument". Class,
// property and argument names are passed through log_text.
//
// Cost: data that needs nothing is only read (each value once, through the getters) and the
// functions return nullptr; nothing is copied or allocated besides what the getters hand out.
// Measured: about 4 us for an instance like the demo fan (16 properties, two arrays, a
// reference), a few per cent of encoding its frame; an enumeration of 10,000 demo fans through
// cmpi-hostd ran at the rate it had before (bench/compare_hostd.sh, EnumerateDaemonOnly/10000).
#ifndef CMPI_HOSTD_WIRE_FIT_H
#define CMPI_HOSTD_WIRE_FIT_H

#include <cmpidt.h>
#include <cmpift.h>

#include <memory>
#include <string>
#include <unordered_set>

namespace hostd {

struct CmpiObjectRelease {
  template <class T>
  void operator()(T *object) const {
    if (object != nullptr) object->ft->release(object);
  }
};
using FittedInstance = std::unique_ptr<CMPIInstance, CmpiObjectRelease>;
using FittedPath = std::unique_ptr<CMPIObjectPath, CmpiObjectRelease>;
using FittedArgs = std::unique_ptr<CMPIArgs, CmpiObjectRelease>;

class WireFit {
 public:
  // request_type names the operation in the log lines (wire::operation_name).
  explicit WireFit(int request_type);
  WireFit(const WireFit &) = delete;
  WireFit &operator=(const WireFit &) = delete;

  // Each returns nullptr when its argument can be encoded as it is (also for a nullptr
  // argument), else a new object that the caller owns. The argument is only read. A copy that
  // cannot be made (out of memory) is logged and gives nullptr: the original is then encoded.
  FittedInstance instance(const CMPIInstance *inst);
  // A path whose keys make the "key" text of a path frame (EnumerateInstanceNames,
  // CreateInstance).
  FittedPath path(const CMPIObjectPath *path);
  // A method's output arguments.
  FittedArgs arguments(const CMPIArgs *args);

  // The provider whose results follow, and the worker's memory of the warnings it gave. With
  // it, a top-level property whose value the wire carries but changes is warned about once
  // per provider, class, property and kind, for the worker's life (level 2, module 232):
  //   "<Operation>: property P of C from provider Q: its text \"NULL\" arrives as null (the
  //    wire cannot carry it); logged once per provider and property"
  // and likewise "its uint64 value above 9223372036854775807 arrives as 9223372036854775807",
  // "its uint64 elements above 9223372036854775807 arrive as 9223372036854775807". The value
  // is sent as it is: the wire fixes what the client reads.
  void set_source(const std::string &provider, std::unordered_set<std::string> *warned);

 private:
  static void see_value(void *context, const CMPIInstance *inst, CMPICount index,
                        const CMPIData &d);

  const char *operation_;
  std::string provider_;
  std::unordered_set<std::string> *warned_ = nullptr;
  // The places (property or argument, with the class that holds it) already logged.
  std::unordered_set<std::string> logged_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_WIRE_FIT_H
