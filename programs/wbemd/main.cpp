// main.cpp - cmpi-wbemd: options, the login helper, the listeners, the drop of privileges,
// serving until SIGTERM or SIGINT.
//
// Order matters: everything that needs root happens first (reading the TLS key, forking the
// privileged login helper, binding the listening sockets), then the process becomes --user
// before a single connection is accepted or a byte of HTTP or XML is read.
#include <dlog.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "cim_service.h"
#include "daemon_options.h"
#include "daemonize.h"
#include "http_log.h"
#include "http_server.h"
#include "listen_socket.h"
#include "login_helper.h"
#include "login_throttle.h"
#include "privileges.h"

namespace {

int cannot_start(const std::string &error) {
  HTTP_ERROR("cannot start: %s", error.c_str());
  std::fprintf(stderr, "cmpi-wbemd: %s\n", error.c_str());
  return 1;
}

// A PEM file of at most 1 MiB.
bool read_pem(const std::string &path, std::string *text, std::string *error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = "cannot read " + path;
    return false;
  }
  std::ostringstream content;
  content << in.rdbuf();
  *text = content.str();
  if (text->size() > (1u << 20) || text->find("-----BEGIN ") == std::string::npos) {
    *error = path + " is not a PEM file";
    return false;
  }
  return true;
}

std::string listen_text(const std::string &address, int port) {
  return (address.empty() ? std::string("*") : address) + ":" + std::to_string(port);
}

}  // namespace

int main(int argc, char **argv) {
  wbem::DaemonOptions options;
  std::string error;
  switch (wbem::parse_daemon_options(argc, argv, &options, &error)) {
    case wbem::DaemonParse::kShowHelp:
      std::fputs(wbem::daemon_help_text(argv[0]).c_str(), stdout);
      return 0;
    case wbem::DaemonParse::kShowVersion:
      std::fputs(wbem::daemon_version_text().c_str(), stdout);
      return 0;
    case wbem::DaemonParse::kExitUsage:
      std::fprintf(stderr, "cmpi-wbemd: %s\nTry '%s --help'.\n", error.c_str(), argv[0]);
      return 2;
    case wbem::DaemonParse::kRun:
      break;
  }
  if (options.http_port != 0 && !options.allow_remote_http &&
      !wbem::is_loopback_address(options.http_address)) {
    std::fprintf(stderr,
                 "cmpi-wbemd: --http-address '%s' is not a loopback address; plain HTTP "
                 "elsewhere needs --allow-remote-http\nTry '%s --help'.\n",
                 options.http_address.c_str(), argv[0]);
    return 2;
  }
  if (options.log_level >= 0) {
    setenv("DLOG_LEVEL", std::to_string(options.log_level).c_str(), 1);
    dlog_reload();
  }
  signal(SIGPIPE, SIG_IGN);

  wbem::TlsMaterial tls;
  if (options.https_port != 0 && (!read_pem(options.certificate, &tls.certificate_pem, &error) ||
                                  !read_pem(options.key, &tls.key_pem, &error))) {
    return cannot_start(error + " (HTTPS needs --cert and --key; --https-port 0 switches it off)");
  }

  if (!options.foreground && !hostd::detach("", &error)) return cannot_start(error);
  // Nothing is served from files, but no file should be reachable through the working
  // directory either.
  if (chdir("/") != 0) return cannot_start("cannot change to /");

  wbem::LoginHelper helper(options.pam_service, options.pam_config_dir);
  if (!helper.start(&error)) return cannot_start(error);

  int https_fd = -1;
  int http_fd = -1;
  if (options.https_port != 0 &&
      !wbem::open_listening_socket({options.https_address, static_cast<uint16_t>(options.https_port)},
                                   &https_fd, &error)) {
    return cannot_start(error);
  }
  if (options.http_port != 0 &&
      !wbem::open_listening_socket({options.http_address, static_cast<uint16_t>(options.http_port)},
                                   &http_fd, &error)) {
    if (https_fd >= 0) close(https_fd);
    return cannot_start(error);
  }

  if (geteuid() == 0) {
    if (!wbem::drop_privileges(options.user, &error)) {
      if (https_fd >= 0) close(https_fd);
      if (http_fd >= 0) close(http_fd);
      return cannot_start(error);
    }
  } else {
    HTTP_NOTICE("not started as root: serving as uid %u; PAM may then check only what this "
                "user may check",
                static_cast<unsigned>(geteuid()));
  }
  // Stop signals are taken with sigwait; every thread started from here on has them blocked.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  sigprocmask(SIG_BLOCK, &stop_signals, nullptr);
  signal(SIGHUP, SIG_IGN);

  wbem::CimSettings settings;
  settings.host_socket = options.host_socket;
  settings.host_timeout = options.host_timeout;
  settings.schema_database = options.schema_db;
  settings.host_name = options.host_name;
  settings.xml.max_depth = options.max_xml_depth;
  settings.xml.max_elements = options.max_xml_elements;
  settings.xml.max_attributes = options.max_xml_attributes;
  settings.xml.max_text = options.max_xml_text;
  std::unique_ptr<wbem::CimService> service = wbem::make_cim_service(settings);
  wbem::LoginThrottle throttle{std::chrono::milliseconds(options.login_delay_ms),
                               std::chrono::milliseconds(options.login_delay_max_ms)};

  wbem::HttpServer https(options.limits, *service, helper, throttle);
  wbem::HttpServer http(options.limits, *service, helper, throttle);
  https.trust_local_peers(options.trust_local_peers);
  http.trust_local_peers(options.trust_local_peers);
  if (https_fd >= 0 && !https.start(https_fd, &tls, &error)) {
    if (http_fd >= 0) close(http_fd);
    return cannot_start(error);
  }
  if (http_fd >= 0 && !http.start(http_fd, nullptr, &error)) {
    https.stop();
    return cannot_start(error);
  }
  std::string where;
  if (https_fd >= 0) where += "HTTPS on " + listen_text(options.https_address, options.https_port);
  if (http_fd >= 0) {
    if (!where.empty()) where += ", ";
    where += "HTTP on " + listen_text(options.http_address, options.http_port);
  }
  HTTP_NOTICE("cmpi-wbemd started (pid %d, uid %u, %s, PAM service %s, host socket %s)",
              static_cast<int>(getpid()), static_cast<unsigned>(geteuid()), where.c_str(),
              options.pam_service.c_str(), options.host_socket.c_str());

  int signal_number = 0;
  while (sigwait(&stop_signals, &signal_number) != 0) {
  }
  HTTP_NOTICE("cmpi-wbemd stopping on signal %d", signal_number);
  http.stop();
  https.stop();
  helper.stop();
  HTTP_NOTICE("cmpi-wbemd stopped");
  return 0;
}
