// socket_file.h - the listening socket file: made with the library's createServersock, then
// given its mode and group; removed at shutdown.
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

// Creates the non-blocking listening socket in *server. *error says why it failed.
bool open_listening_socket(const std::string &path, mode_t mode, const std::string &group,
                           SockInfo *server, std::string *error);

// Removes the socket file if it is still the one this process made (same inode).
void remove_socket_file(const std::string &path, ino_t inode);

// The inode of the socket file, 0 if there is none.
ino_t socket_file_inode(const std::string &path);

}  // namespace hostd

#endif  // CMPI_HOSTD_SOCKET_FILE_H
