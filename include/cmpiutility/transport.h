/*
 * transport.h - thin wrappers over local (AF_UNIX) stream sockets for both ends of the bridge.
 *
 * The provider host listens on a socket file and serves one accepted connection at a time; the
 * object-manager side connects, sends one framed request and reads the framed answers. Every
 * wrapper makes one system call (clientRecv and xselect repeat theirs as said below), writes one
 * line for a failure with the system's error text (strerror(errno) taken right after the call;
 * where the call itself did not fail, e.g. a short send or a time-out, that is the text of
 * whatever errno held), and maps the outcome to a small code. Nothing here knows about frames.
 *
 * Failure lines are level 2, "INFO:" lines level 4, all module 230. Every function writes
 * "Enter function = <name>" and "Exit  function = <name>" at level 4.
 *
 * A SockInfo belongs to one thread at a time; info, path and buf must not be NULL.
 */
#ifndef CMPIUTILITY_TRANSPORT_H
#define CMPIUTILITY_TRANSPORT_H

#include <stdint.h>
#include <sys/socket.h>
#include <sys/un.h>

/* Result codes of the operations that can fail (8 is not used). */
#define CMPIU_SOCK_OK 0        /* success */
#define CMPIU_SOCK_ESOCKET 1   /* socket() failed, server or client */
#define CMPIU_SOCK_EBIND 2     /* bind() failed */
#define CMPIU_SOCK_ELISTEN 3   /* listen() failed */
#define CMPIU_SOCK_EACCEPT 4   /* accept() failed */
#define CMPIU_SOCK_ECONNECT 5  /* connect() failed */
#define CMPIU_SOCK_ESEND 6     /* send() failed or sent fewer bytes than asked */
#define CMPIU_SOCK_ERECV 7     /* recv() failed */
#define CMPIU_SOCK_CLOSED 9    /* the peer closed the connection (recv() returned 0) */
#define CMPIU_SOCK_TIMEOUT 10  /* select() timed out */

/* Mode bits of xselect. */
#define CMPIU_SELECT_READ 1
#define CMPIU_SELECT_WRITE 2

/* The caller-owned record of one socket endpoint. Natural alignment; on x86-64: fd at 0,
 * connFd at 4, addr at 8, peerAddr at 118, lengthField at 232, 240 bytes in all. */
typedef struct SockInfo {
  int fd;                      /* server: the listening socket; client: the connected socket;
                                  -1 once closed */
  int connFd;                  /* server: the accepted connection, -1 once closed;
                                  client: the count of the last clientRecv (cut to 32 bits) */
  struct sockaddr_un addr;     /* AF_UNIX and the socket file's path (at most 107 characters) */
  struct sockaddr_un peerAddr; /* filled by acceptServer */
  int64_t lengthField;         /* 110 before accept, the peer address length it returned after;
                                  then the count of the last serverRecv */
} SockInfo;

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Server set-up: socket(AF_UNIX, SOCK_STREAM) into info->fd, made non-blocking (if that fails,
 * "INFO: Non blocking flag is not set for Server socket '%s'" at level 4 and the socket stays
 * blocking); the address is zeroed, family AF_UNIX, path copied and cut to 107 characters + NUL;
 * whatever lies at that path is unlinked first (a socket file left by an earlier run does not
 * make bind fail), then bind with the full 110-byte address length and listen with backlog 50.
 * With a non-blocking socket, wait for readiness with xselect before acceptServer.
 * Returns 0; 1 "Error: server socket '%s'"; 2 "Error: Server bind '%s'"; 3 "Error: Server
 * listen '%s'". After 2 or 3 the socket has been closed with serverSockclose (fd is -1).
 * The socket file stays when the server shuts down.
 */
unsigned int createServersock(SockInfo *info, const char *path);

/* The same as createServersock with a blocking listening socket. */
unsigned int blockServersock(SockInfo *info, const char *path);

/* Sets lengthField to 110 and accepts on fd into connFd, peerAddr and lengthField.
 * Returns 0, or 4 "Error: Server accept '%s'" (connFd is then -1); nothing pending on a
 * non-blocking socket is such a failure. */
unsigned int acceptServer(SockInfo *info);

/* One recv(connFd, buf, len, 0); the count goes into lengthField. buf needs len + 1 bytes.
 * Returns 0 with buf[n] = NUL; 9 when the peer has closed ("INFO: connection closed '%s'" at
 * level 4, buf left as it was); 7 "Error: Server receive '%s'" with buf[0] = NUL (also for an
 * interrupted call, and for a negative len, which fails as EINVAL without reaching recv). */
unsigned int serverRecv(SockInfo *info, char *buf, int len);

/* One send(connFd, buf, len, 0). Returns 0 when all len bytes went out, else 6 "Error: Send
 * failed '%s'"; a short send is not continued. A negative len fails as EINVAL. */
unsigned int serverSend(SockInfo *info, const void *buf, int len);

/* Closes connFd (the result of close is not checked) and sets it to -1. */
void serverAcceptclose(SockInfo *info);

/* Closes fd (the result of close is not checked) and sets it to -1. */
void serverSockclose(SockInfo *info);

/* socket(AF_UNIX, SOCK_STREAM) into fd, address as for the server (path cut to 107 characters),
 * connect with the full 110-byte length. The socket stays blocking.
 * Returns 0; 1 "Error: client socket '%s'"; 5 "Error: client connect '%s'", after which the
 * socket has been closed with clientCloseConnection (fd is -1). */
unsigned int clientConnectServersock(SockInfo *info, const char *path);

/* One send(fd, buf, len, 0); as serverSend. */
unsigned int clientSend(SockInfo *info, const void *buf, int len);

/* recv(fd, buf, len, 0), repeated without delay while it fails with EINTR or EAGAIN (so on a
 * non-blocking socket it spins until data arrives); the count goes into connFd. buf needs
 * len + 1 bytes. Returns 0 with buf[n] = NUL; 9 with buf[0] = NUL when the peer has closed
 * ("INFO: Server closed connection '%s'" at level 4); 7 "Error: receive error '%s'" with
 * buf[0] = NUL (a negative len fails as EINVAL without reaching recv). */
unsigned int clientRecv(SockInfo *info, char *buf, int len);

/* Closes fd (the result of close is not checked) and sets it to -1. */
void clientCloseConnection(SockInfo *info);

/*
 * Waits until fd is ready: mode bit 1 for reading, bit 2 for writing (a mode with neither bit
 * only sleeps until the limit). timeoutSeconds NULL waits without limit, else the limit is
 * *timeoutSeconds whole seconds, counted once for all retries. select is repeated after EINTR,
 * and after any other failure too ("Error: select '%s'" each time): only readiness or the time
 * limit end the call. Returns 0 when ready, 10 "Error: Socket timeout '%s'" on time-out.
 * With a mode bit set, fd must lie in 0 .. FD_SETSIZE - 1; a negative *timeoutSeconds makes
 * every try fail (EINVAL), so the call never returns.
 */
unsigned int xselect(int fd, int mode, int *timeoutSeconds);

#ifdef __cplusplus
}

/* setsockopt with the same arguments; a failure is logged as "Error: setsockopt failed '%s'".
 * C++ linkage: existing callers link against the mangled name. */
void xsetsockopt(int fd, int level, int optname, void *optval, socklen_t optlen);
#endif

#endif /* CMPIUTILITY_TRANSPORT_H */
