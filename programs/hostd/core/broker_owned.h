// broker_owned.h - objects the broker hands to a provider, owned by the broker.
//
// What an up-call returns (enumerations, instances, paths, strings, status messages) belongs to
// the broker, and the provider need not release it: standard provider code never does, while
// code written for our object library (whose getters hand out caller-owned copies) does. Both
// must work without leaks or double frees. So every object handed out is kept here with its
// release entry switched off (its function table is swapped for a copy whose release does
// nothing; clone still makes an ordinary object the caller owns), and everything is released
// when the request that made it ends (release_all, or the destructor).
//
// Enumerations handed out are the broker's own: getNext hands out the kept element itself (no
// copy), clone and toArray make ordinary copies (toArray's is kept here too).
#ifndef CMPI_HOSTD_BROKER_OWNED_H
#define CMPI_HOSTD_BROKER_OWNED_H

#include <cmpidt.h>
#include <cmpift.h>

#include <memory>
#include <vector>

namespace hostd {

class BrokerOwned {
 public:
  BrokerOwned() = default;
  ~BrokerOwned() { release_all(); }
  BrokerOwned(const BrokerOwned &) = delete;
  BrokerOwned &operator=(const BrokerOwned &) = delete;

  // Each takes over object (NULL passes through) and returns it.
  CMPIInstance *keep(CMPIInstance *object);
  CMPIObjectPath *keep(CMPIObjectPath *object);
  CMPIString *keep(CMPIString *object);
  CMPIArray *keep(CMPIArray *object);
  CMPIDateTime *keep(CMPIDateTime *object);
  CMPIArgs *keep(CMPIArgs *object);
  CMPIEnumeration *keep(CMPIEnumeration *object);
  // Keeps the encapsulated object of data, if any.
  CMPIData keep(CMPIData data);

  // A broker enumeration over items (instances or object paths), which it takes over.
  CMPIEnumeration *enumeration(std::vector<CMPIData> items);

  // Releases every object kept so far, newest first.
  void release_all();
  std::size_t size() const { return held_.size(); }

  struct Held {
    void *object;
    void (*release)(void *object, const void *original_table);
    const void *original_table;
  };

 private:
  std::vector<Held> held_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_BROKER_OWNED_H
