// kept_connection.cpp - the slot of the kept state connection.
#include "kept_connection.h"

#include <atomic>

namespace demo {

namespace {

// Closes what it holds when the library is unloaded or the process exits.
class Slot {
 public:
  ~Slot() { delete kept_.exchange(nullptr); }

  std::atomic<StateConnection *> kept_{nullptr};
};

Slot slot;

}  // namespace

std::unique_ptr<StateConnection> take_kept_connection() {
  return std::unique_ptr<StateConnection>(slot.kept_.exchange(nullptr));
}

void keep_connection(std::unique_ptr<StateConnection> connection) {
  if (connection == nullptr) return;
  StateConnection *expected = nullptr;
  if (slot.kept_.compare_exchange_strong(expected, connection.get())) connection.release();
}

}  // namespace demo
