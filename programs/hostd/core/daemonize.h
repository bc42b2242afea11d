// daemonize.h - leaving the terminal, and the pid file.
#ifndef CMPI_HOSTD_DAEMONIZE_H
#define CMPI_HOSTD_DAEMONIZE_H

#include <sys/types.h>

#include <string>

namespace hostd {

// Writes "<pid>\n" to path (replacing it), mode 0644. The text goes to a new file of a unique
// name beside path, made with O_CREAT|O_EXCL|O_NOFOLLOW (so nothing planted under that name is
// opened), which is then renamed over path (rename replaces the name, never a link's target).
// A path whose last component is a symbolic link, or anything but a regular file, is refused.
// *error says why it failed.
bool write_pid_file(const std::string &path, pid_t pid, std::string *error);

// fork: the parent writes the child's pid to pid_file (when given) and exits 0, or, when the pid
// file cannot be written, sends the child SIGTERM and exits 1; the child starts a new session,
// changes to /, and points its standard streams at /dev/null. A detached daemon logs to syslog
// unless DLOG_OUTPUT says otherwise. Returns false (in the original process) when the fork
// fails.
bool detach(const std::string &pid_file, std::string *error);

}  // namespace hostd

#endif  // CMPI_HOSTD_DAEMONIZE_H
