// state_store.h - the provider's state: every instance and its property values, kept in a small
// SQLite file so that it lasts across requests and processes.
//
// The file is named by the environment variable CMPI_DEMO_STATE, else
// "/var/lib/cmpi-demo/state.db". It is checked before use and never followed through a link
// (state_file.h): its directory must belong to root or the provider's user and be closed to
// others, and the file must belong to one of them. The first use by someone who may write the
// directory (whoever sets the demo up) creates it, and its directory one level, with its tables
// and the initial demo instances. Concurrent processes wait for each other's writes (busy
// time-out). A user who may read the file but not write it can still read the state; writes then
// fail with CMPI_RC_ERR_ACCESS_DENIED.
//
// A store lives for one request, but its connection does not: when the store ends, the
// connection (with its prepared statements) is kept for the next request of the same process,
// which takes it up again only while the same process and identity ask for the same, still
// well-kept file (state_connection.h tells the checks, kept_connection.h when it is closed).
// Anything else closes it and opens the file afresh, so a host may still fork and switch users
// freely. A transaction left open by a failed request is rolled back before its connection is
// kept, as closing would.
//
// Tables:
//   DemoState    (Name, Value)                                  "version" once seeded
//   DemoInstance (ClassName, InstanceKey)                       one row per instance, in the
//                                                               order of creation
//   DemoProperty (ClassName, InstanceKey, Name, DataType, Value) one row per stored property;
//                                                               Value NULL for a null property
#ifndef DEMO_PROVIDER_STATE_STORE_H
#define DEMO_PROVIDER_STATE_STORE_H

#include <cmpidt.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "classes.h"
#include "instance_model.h"
#include "outcome.h"

namespace demo {

class StateConnection;

class StateStore {
 public:
  StateStore();
  ~StateStore();
  StateStore(const StateStore &) = delete;
  StateStore &operator=(const StateStore &) = delete;

  // The file the state lives in.
  static std::string path();

  // Opens the state, creating and seeding it on first use (broker makes the initial instances),
  // or takes up the process's kept connection when it may serve (state_connection.h).
  Outcome open(const CMPIBroker *broker);

  // A write transaction (taken at once, so read-modify-write sequences see no one else's
  // writes). insert, update and remove take it themselves when none is open; only commit makes
  // writes last: an open transaction is rolled back when the store ends.
  Outcome begin();
  Outcome commit();

  // Called with each instance in turn; a failure stops the walk and is its outcome.
  using Visitor = std::function<Outcome(const StoredInstance &)>;

  // Walks every instance of cls in the order of creation, handing each to visit as soon as its
  // rows have been read, so that a caller can return it before the next one is read. Stops at
  // the first visit that fails and returns that outcome; a read failure part-way (after some
  // instances were visited) returns CMPI_RC_ERR_FAILED "the demo state cannot be read: ...".
  // The read statement is reset on every way out. While visit runs the statement is open and
  // holds the file's shared lock: visit may read the store but must not write it, and writers
  // in other processes wait (busy time-out) until the walk ends. The instance handed to visit
  // is valid only during that call (the walk reuses it for the next instance).
  Outcome each(const ClassDef &cls, const Visitor &visit);
  // Every instance of cls in the order of creation, all read before returning.
  Outcome list(const ClassDef &cls, std::vector<StoredInstance> *instances);
  // The instance of cls with the key text key; *found tells whether there is one.
  Outcome find(const ClassDef &cls, const std::string &key, StoredInstance *instance, bool *found);
  // Adds a new instance: CMPI_RC_ERR_ALREADY_EXISTS when its key is taken.
  Outcome insert(const ClassDef &cls, const StoredInstance &instance);
  // Rewrites the properties of an existing instance: CMPI_RC_ERR_NOT_FOUND when there is none.
  Outcome update(const ClassDef &cls, const StoredInstance &instance);
  // Removes an instance: CMPI_RC_ERR_NOT_FOUND when there is none.
  Outcome remove(const ClassDef &cls, const std::string &key);

 private:
  Outcome execute(const char *sql);
  Outcome error(const char *what) const;
  bool seeded();
  Outcome write_properties(const ClassDef &cls, const StoredInstance &instance);

  std::unique_ptr<StateConnection> connection_;
  bool inTransaction_ = false;
};

}  // namespace demo

#endif  // DEMO_PROVIDER_STATE_STORE_H
