// The one-shot send shared by serverSend and clientSend.
#ifndef CMPIUTILITY_TRANSPORT_SEND_H
#define CMPIUTILITY_TRANSPORT_SEND_H

namespace cmpiutility {

// One send(fd, buf, len, 0). Returns 0 when exactly len bytes went out; otherwise (failure,
// short send, or a negative len, which fails as EINVAL without calling send) logs
// "Error: Send failed '%s'" and returns 6. A short send is not continued.
unsigned int send_once(int fd, const void *buf, int len);

}  // namespace cmpiutility

#endif  // CMPIUTILITY_TRANSPORT_SEND_H
