// socket_file.h - the listening socket file: made with the library's createServersock with its
// mode and group, checked, and removed at shutdown.
//
// Nothing here acts on the socket's path after the socket exists in a way that a symbolic link
// could redirect:
//   - the directory must not let others swap the file: a directory that others may write to
//     (group or world write permission) is refused unless it is sticky, and so is one that
//     belongs to a user other than root and this process's user;
//   - the mode is set by the umask at bind time (bind creates the file with 0777 & ~umask), so
//     no chmod by path follows; only the permission bits (0777) of the mode apply to a socket;
//   - the group is set with fchownat(AT_SYMLINK_NOFOLLOW) on a descriptor of the directory
//     opened before the bind, so a link planted at the name is never followed;
//   - afterwards the name must be a socket owned by this process's user with the wanted mode
//     and group, in the directory that was checked; else the start fails.
// (Binding in a private directory and renaming into place was the other way; it was not taken
// because rename(2) replaces whatever lies at the name, and the private directory's longer
// path could pass the 107 bytes a socket path may have.)
//
// createServersock removes whatever lies at the path before it binds. So that a wrong --socket
// cannot destroy a file or steal a live daemon's socket, the path is checked first: only a
// socket file that nobody answers on may be replaced.
#ifndef CMPI_HOSTD_SOCKET_FILE_H
#define CMPI_HOSTD_SOCKET_FILE_H

#include <cmpiutility/transport.h>
#include <sys/types.h>

#include <string>

namespace hostd {

// Creates the non-blocking listening socket in *server. *error says why it failed; when the
// directory is refused it reads "the socket's directory D is writable by others and not sticky;
// refusing to start" or "the socket's directory D belongs to uid U, neither root nor uid E;
// refusing to start".
bool open_listening_socket(const std::string &path, mode_t mode, const std::string &group,
                           SockInfo *server, std::string *error);

// Removes the socket file if it is still the one this process made (same inode).
void remove_socket_file(const std::string &path, ino_t inode);

// The inode of the socket file, 0 if there is none.
ino_t socket_file_inode(const std::string &path);

// ---- the steps of open_listening_socket, for tests ----------------------------------------

// The directory part of path ("/" for "/name", "." for a bare name) and the last component.
std::string directory_of(const std::string &path);
std::string name_of(const std::string &path);

// Whether the directory may hold the socket (see above); *error as for open_listening_socket.
bool check_socket_directory(const std::string &dir, std::string *error);

// Gives the entry name in the directory dir_fd the group gid without following a link (a link
// itself gets the group). *error gets the system's reason when it fails.
bool set_socket_group(int dir_fd, const std::string &name, gid_t gid, std::string *error);

// Whether the entry name in dir_fd is a socket owned by this process's user with the
// permission bits mode & 0777 and, unless gid is -1, the group gid. path is for messages.
bool verify_socket_file(int dir_fd, const std::string &name, const std::string &path, mode_t mode,
                        gid_t gid, std::string *error);

}  // namespace hostd

#endif  // CMPI_HOSTD_SOCKET_FILE_H
