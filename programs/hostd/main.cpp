// main.cpp - cmpi-hostd: options, socket, detach, serve, shut down.
#include <dlog.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "daemonize.h"
#include "front.h"
#include "locations.h"
#include "log.h"
#include "options.h"
#include "socket_file.h"

namespace {

int cannot_start(const std::string &error) {
  HOSTD_ERROR("cannot start: %s", error.c_str());
  std::fprintf(stderr, "cmpi-hostd: %s\n", error.c_str());
  return 1;
}

hostd::FrontConfig front_config(const hostd::Options &o) {
  hostd::FrontConfig config;
  config.socket_path = o.socket_path;
  config.pid_file = o.pid_file;
  config.shutdown_grace = o.shutdown_grace;
  config.max_request = o.max_request;
  config.read_timeout = o.read_timeout;
  config.max_connections = o.max_connections;
  config.max_connections_per_user = o.max_connections_per_user;
  config.max_buffered = o.max_buffered;
  config.max_queue = o.max_queue;
  config.workers.per_user = o.workers_per_user;
  config.workers.total = o.max_workers;
  config.workers.idle_ms = o.worker_idle * 1000LL;
  config.workers.max_requests = o.worker_requests;
  config.worker_memory = o.worker_memory_mib << 20;
  config.provider_idle_ms = o.provider_idle * 1000LL;
  config.worker_cpu = o.worker_cpu;
  config.provider_timeout = o.provider_timeout;
  config.request_deadline = o.request_deadline;
  config.encoder_thread = o.encoder_thread;
  return config;
}

}  // namespace

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

  // The stop and child signals are taken through a signalfd from here on; workers get the
  // original mask back.
  sigset_t old_mask;
  sigset_t signals = hostd::front_signals();
  sigprocmask(SIG_BLOCK, &signals, &old_mask);

  hostd::FrontConfig config = front_config(options);
  hostd::AdmissionOptions admission;
  admission.allow_users = options.allow_users;
  admission.allow_groups = options.allow_groups;
  admission.proxy_users = options.proxy_users;
  admission.proxy_groups = options.proxy_groups;
  admission.proxy_root = options.proxy_root;
  if (!hostd::build_admission_policy(admission, geteuid(), &config.admission, &error)) {
    return cannot_start(error);
  }

  SockInfo server;
  if (!hostd::open_listening_socket(options.socket_path, options.socket_mode, options.socket_group,
                                    &server, &error)) {
    return cannot_start(error);
  }
  config.socket_inode = hostd::socket_file_inode(options.socket_path);

  if (!options.foreground) {
    if (!hostd::detach(options.pid_file, &error)) {
      serverSockclose(&server);
      hostd::remove_socket_file(options.socket_path, config.socket_inode);
      return cannot_start(error);
    }
  } else if (!options.pid_file.empty() &&
             !hostd::write_pid_file(options.pid_file, getpid(), &error)) {
    serverSockclose(&server);
    hostd::remove_socket_file(options.socket_path, config.socket_inode);
    return cannot_start(error);
  }

  HOSTD_NOTICE(
      "cmpi-hostd started (pid %d, uid %u, schema database %s, providers in %s, max "
      "request %zu bytes, read time-out %d s, provider time-out %d s, workers %d per user and "
      "%d in all)",
      static_cast<int>(getpid()), static_cast<unsigned>(geteuid()),
      hostd::schema_database_path().c_str(), hostd::provider_directory().c_str(),
      options.max_request, options.read_timeout, options.provider_timeout,
      options.workers_per_user, options.max_workers);
  return hostd::run_front(&server, config, old_mask);
}
