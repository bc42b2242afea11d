// e2e_client.h - the library client of the end-to-end benchmark: requests made and answers read
// the way a client makes and reads them (getClientReq + doSerialization once; per request
// clientConnectServersock, clientSend, xselect + clientRecv in 64 KiB pieces, and the tokenizer
// of the operation). Every function may be called from several threads at once.
#ifndef CMPIUTILITY_BENCH_E2E_CLIENT_H
#define CMPIUTILITY_BENCH_E2E_CLIENT_H

#include <cmpidt.h>

#include <string>

namespace bench {

// The name of the user running the benchmark (the principal of every request).
std::string current_user();

// One request frame of the given type (ENUMINST, GETINST, ...), made by the library's client
// functions; path is taken over. Empty when the library refused.
std::string request_frame(int type, const std::string &user, CMPIObjectPath *path);

// EnumerateInstances into a new CMPI array; the number of instances that arrived, or -1 when the
// operation did not complete with code 0. raw (when given) receives every byte of the answer.
long enumerate(const std::string &socket, const std::string &frame, std::string *raw = nullptr);

// GetInstance; true when an instance arrived and the operation completed with code 0.
bool get_instance(const std::string &socket, const std::string &frame, std::string *raw = nullptr);

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_E2E_CLIENT_H
