// state_file.h - the state file checked before SQLite opens it, so that nobody but root and the
// provider's own user can take it over or redirect it.
//
// Requests are served under the requesting user's identity, so the state file is opened by
// root and by other users in turn. The rules:
//   - the file's directory must belong to root or to the provider's effective user and must not
//     be writable by group or others, sticky or not: SQLite keeps its journal beside the file,
//     and a journal planted by someone else would be played into the state. When the directory
//     is missing it is made (one level, mode 0755).
//   - the file is opened with O_NOFOLLOW: a symbolic link at its name is refused, never
//     followed. It must be a regular file with one link, owned by root or by the provider's
//     effective user.
//   - a missing file is created here (O_CREAT|O_EXCL|O_NOFOLLOW, mode 0644 whatever the umask),
//     by whoever may write the directory: the one who sets the demo up (root) before the host
//     serves anyone. SQLite itself is never allowed to create it.
// SQLite then opens the path (with SQLITE_OPEN_NOFOLLOW), and same_file() makes sure the name
// still leads to the inode checked here. The directory rule is what makes this sound: only root
// and the provider's own user can change what the name points at in between. (SQLite cannot be
// handed the checked descriptor, and a "/proc/self/fd/N" name would put its journal in /proc.)
// A connection kept for later requests is checked again on each of them with a stat and an
// lstat instead (state_connection.h says why that is enough).
//
// Refusals are CMPI_RC_ERR_FAILED, with a message naming the path and the reason; a file or
// directory the user may not open or create gives CMPI_RC_ERR_ACCESS_DENIED.
#ifndef DEMO_PROVIDER_STATE_FILE_H
#define DEMO_PROVIDER_STATE_FILE_H

#include <sys/types.h>

#include <string>

#include "outcome.h"

namespace demo {

// The directory the file at path lives in ("." for a bare name).
std::string state_directory_of(const std::string &path);

// Whether owner may own the state file and its directory: root or the effective user.
bool trusted_state_owner(uid_t owner);

class StateFile {
 public:
  StateFile() = default;
  ~StateFile();
  StateFile(const StateFile &) = delete;
  StateFile &operator=(const StateFile &) = delete;

  // Checks the directory and the file at path as above, creating the file when it is missing.
  // The file stays open until close() or the end of the object.
  Outcome open(const std::string &path);

  // Whether path still names the file that open() checked.
  Outcome same_file(const std::string &path) const;

  // The file open() checked.
  dev_t device() const { return device_; }
  ino_t inode() const { return inode_; }

  // Lets the checked file go. Do this before SQLite takes its first lock: closing any
  // descriptor of a file drops the process's POSIX locks on it.
  void close();

 private:
  int fd_ = -1;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace demo

#endif  // DEMO_PROVIDER_STATE_FILE_H
