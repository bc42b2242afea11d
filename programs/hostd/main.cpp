// main.cpp - cmpi-hostd: options, socket, detach, serve, shut down.
#include <dlog.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "daemonize.h"
#include "listener.h"
#include "locations.h"
#include "log.h"
#include "options.h"
#include "peer_check.h"
#include "socket_file.h"

int main(int argc, char **argv) {
  hostd::Options options;
  std::string error;
  switch (hostd::parse_options(argc, argv, &options, &error)) {
    case hostd::ParseOutcome::kShowHelp:
      std::fputs(hostd::help_text(argv[0]).c_str(), stdout);
      return 0;
    case hostd::ParseOutcome::kShowVersion:
      std::fputs(hostd::version_text().c_str(), stdout);
      return 0;
    case hostd::ParseOutcome::kExitUsage:
      std::fprintf(stderr, "cmpi-hostd: %s\nTry '%s --help'.\n", error.c_str(), argv[0]);
      return 2;
    case hostd::ParseOutcome::kRun:
      break;
  }

  if (options.log_level >= 0) {
    setenv("DLOG_LEVEL", std::to_string(options.log_level).c_str(), 1);
    dlog_reload();
  }
  hostd::export_locations(options.schema_db, options.provider_dir);
  signal(SIGPIPE, SIG_IGN);

  // The stop and child signals are taken through a signalfd from here on; supervisors get the
  // original mask back.
  sigset_t old_mask;
  sigset_t signals = hostd::listener_signals();
  sigprocmask(SIG_BLOCK, &signals, &old_mask);

  hostd::ListenerConfig config;
  config.socket_path = options.socket_path;
  config.pid_file = options.pid_file;
  config.max_clients = options.max_clients;
  config.shutdown_grace = options.shutdown_grace;
  config.supervisor.limits.max_bytes = options.max_request;
  config.supervisor.limits.timeout_seconds = options.read_timeout;
  config.supervisor.provider_timeout = options.provider_timeout;
  config.supervisor.daemon_uid = geteuid();
  if (!hostd::build_allow_list(options.allow_users, options.allow_groups, &config.allow, &error)) {
    HOSTD_ERROR("cannot start: %s", error.c_str());
    std::fprintf(stderr, "cmpi-hostd: %s\n", error.c_str());
    return 1;
  }

  SockInfo server;
  if (!hostd::open_listening_socket(options.socket_path, options.socket_mode, options.socket_group,
                                    &server, &error)) {
    HOSTD_ERROR("cannot start: %s", error.c_str());
    std::fprintf(stderr, "cmpi-hostd: %s\n", error.c_str());
    return 1;
  }
  config.socket_inode = hostd::socket_file_inode(options.socket_path);

  if (!options.foreground) {
    if (!hostd::detach(options.pid_file, &error)) {
      HOSTD_ERROR("cannot start: %s", error.c_str());
      std::fprintf(stderr, "cmpi-hostd: %s\n", error.c_str());
      serverSockclose(&server);
      hostd::remove_socket_file(options.socket_path, config.socket_inode);
      return 1;
    }
  } else if (!options.pid_file.empty() &&
             !hostd::write_pid_file(options.pid_file, getpid(), &error)) {
    HOSTD_ERROR("cannot start: %s", error.c_str());
    std::fprintf(stderr, "cmpi-hostd: %s\n", error.c_str());
    serverSockclose(&server);
    hostd::remove_socket_file(options.socket_path, config.socket_inode);
    return 1;
  }

  HOSTD_NOTICE(
      "cmpi-hostd started (pid %d, uid %u, schema database %s, providers in %s, max "
      "request %zu bytes, read time-out %d s, provider time-out %d s)",
      static_cast<int>(getpid()), static_cast<unsigned>(geteuid()),
      hostd::schema_database_path().c_str(), hostd::provider_directory().c_str(),
      options.max_request, options.read_timeout, options.provider_timeout);
  return hostd::run_listener(&server, config, old_mask);
}
