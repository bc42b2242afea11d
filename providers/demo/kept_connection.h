// kept_connection.h - the one state connection a process keeps between requests.
//
// A request takes the kept connection (if any) for itself and hands it back when it is done, so
// two requests at once never share one: the second finds none and opens its own, and of two
// handed back only the first is kept (the other is closed). The slot is a single atomic pointer,
// so taking and handing back never wait and are safe in a child forked at any moment.
//
// The kept connection is closed when the provider library is unloaded and when the process
// exits: both run the library's static destructors, and the slot's closes what it holds. (The
// MIs' cleanup is not used for this: the three MIs share the connection and are cleaned up one
// by one, while the destructor runs exactly once, after the last request.) In a forked child,
// the connection inherited from the parent is closed the same way, without being used; this
// cannot disturb the parent: a kept connection has no statement running and no transaction
// open, so SQLite holds no lock through it and closing it writes nothing (the provider never
// switches the file to write-ahead logging, and with the rollback journal a connection without a
// transaction closes without touching the file), and the POSIX locks a descriptor
// carries belong to the process that took them, which a child never inherits, so closing the
// child's copy of the descriptor cannot release any lock of the parent.
#ifndef DEMO_PROVIDER_KEPT_CONNECTION_H
#define DEMO_PROVIDER_KEPT_CONNECTION_H

#include <memory>

#include "state_connection.h"

namespace demo {

// The kept connection, now owned by the caller; empty when there is none.
std::unique_ptr<StateConnection> take_kept_connection();

// Keeps connection for the next request, or closes it when another one is kept already.
void keep_connection(std::unique_ptr<StateConnection> connection);

}  // namespace demo

#endif  // DEMO_PROVIDER_KEPT_CONNECTION_H
