// hostd_process.cpp - the daemon of the end-to-end benchmark and its demo state.
#include "hostd_process.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "read_file.h"

namespace bench {

using testsupport::read_file;

namespace {

void sleep_ms(int ms) {
  struct timespec ts = {ms / 1000, (ms % 1000) * 1000000L};
  nanosleep(&ts, nullptr);
}

// Runs sql on the database at path; false with the reason in *error.
bool run_sql(const std::string &path, const std::string &sql, std::string *error) {
  sqlite3 *db = nullptr;
  if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) {
    *error = "cannot open " + path + ": " + sqlite3_errmsg(db);
    sqlite3_close(db);
    return false;
  }
  sqlite3_busy_timeout(db, 10000);
  char *message = nullptr;
  const bool ok = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message) == SQLITE_OK;
  if (!ok) *error = "SQL on " + path + " failed: " + (message != nullptr ? message : "?");
  sqlite3_free(message);
  sqlite3_close(db);
  return ok;
}

// The rows of copies first+1 .. last of fan0 (SQLite's recursive counting query).
std::string copy_range(size_t first, size_t last) {
  return "WITH RECURSIVE n(i) AS (SELECT " + std::to_string(first + 1) +
         " UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(last) + ")";
}

constexpr const char kCopyKey[] =
    "'DeviceID=\"' || printf('copy%05d', i) || '\",SystemName=\"bmc0\"'";
constexpr const char kFan0Key[] = "'DeviceID=\"fan0\",SystemName=\"bmc0\"'";

// Registers the classes of the MOF file at mof in the database at db with the built cmpi-mof.
bool register_mof(const std::string &db, const std::string &mof, std::string *error) {
  const std::string command =
      std::string(MOF_BINARY) + " --database '" + db + "' '" + mof + "' >/dev/null 2>&1";
  if (system(command.c_str()) != 0) {
    *error = "cmpi-mof could not register " + mof + " into " + db;
    return false;
  }
  return true;
}

// Makes the provider directory dir with links to the demo provider and the benchmark provider.
bool link_providers(const std::string &dir, std::string *error) {
  std::error_code failed;
  std::filesystem::create_directory(dir, failed);
  const std::filesystem::path demo = DEMO_PROVIDER_DIR;
  for (const auto &entry : std::filesystem::directory_iterator(demo, failed)) {
    const std::string name = entry.path().filename().string();
    if (name.size() > 3 && name.compare(name.size() - 3, 3, ".so") == 0) {
      std::filesystem::create_symlink(entry.path(), dir + name, failed);
    }
  }
  const std::filesystem::path item = BENCH_ITEM_PROVIDER;
  if (!failed) std::filesystem::create_symlink(item, dir + item.filename().string(), failed);
  if (failed) {
    *error = "the provider directory " + dir + " cannot be made: " + failed.message();
    return false;
  }
  return true;
}

}  // namespace

HostdProcess::~HostdProcess() { stop(); }

bool HostdProcess::start(std::string *error, const std::vector<std::string> &extra_options,
                         const std::vector<std::string> &extra_environment) {
  char name[] = "/tmp/cmpi-bench-XXXXXX";
  if (mkdtemp(name) == nullptr) {
    *error = std::string("mkdtemp: ") + strerror(errno);
    return false;
  }
  dir_ = name;
  socket_ = dir_ + "/hostd.sock";
  schema_db_ = dir_ + "/schema.db";
  provider_dir_ = dir_ + "/providers/";
  state_file_ = dir_ + "/demo-state.db";
  log_file_ = dir_ + "/hostd.log";
  const std::string share = SHARE_DIR;
  if (!run_sql(schema_db_, read_file(share + "/schema.sql"), error) ||
      !run_sql(schema_db_, read_file(share + "/demo-classes.sql"), error) ||
      !register_mof(schema_db_, BENCH_MOF, error) || !link_providers(provider_dir_, error)) {
    return false;
  }
  // BENCH_UNLOAD_NEVER=1 marks the demo classes UnloadNever: a worker keeps the provider loaded.
  const char *unload_never = getenv("BENCH_UNLOAD_NEVER");
  if (unload_never != nullptr && strcmp(unload_never, "1") == 0 &&
      !run_sql(schema_db_, "UPDATE Tbl_ClassMetadata SET UnloadNever = '1';", error)) {
    return false;
  }

  // BENCH_HOSTD runs another build of the daemon (e.g. an earlier design) under the same
  // benchmark; it must take the options below.
  const char *other = getenv("BENCH_HOSTD");
  const std::string binary = other != nullptr && *other != '\0' ? other : HOSTD_BINARY;
  std::vector<std::string> args = {
      binary,           "--foreground", "--socket",    socket_, "--schema-db", schema_db_,
      "--provider-dir", provider_dir_,  "--log-level", "3",     "--mode",      "0600"};
  args.insert(args.end(), extra_options.begin(), extra_options.end());
  // BENCH_HOSTD_OPTIONS adds options of the daemon (separated by blanks), for comparisons
  // such as "--encoder-thread on" against the default.
  if (const char *more = getenv("BENCH_HOSTD_OPTIONS")) {
    std::istringstream words(more);
    for (std::string word; words >> word;) args.push_back(word);
  }
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) {
    *error = std::string("fork: ") + strerror(errno);
    return false;
  }
  if (pid_ == 0) {
    // The daemon goes when the benchmark goes, however it ends.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);
    setenv("DLOG_OUTPUT", log_file_.c_str(), 1);
    setenv("CMPI_DEMO_STATE", state_file_.c_str(), 1);
    for (const std::string &assignment : extra_environment) putenv(strdup(assignment.c_str()));
    const int null_fd = open("/dev/null", O_RDWR);
    dup2(null_fd, STDIN_FILENO);
    dup2(null_fd, STDOUT_FILENO);
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  const std::string listening = "module=232: listening on " + socket_ + "\n";
  for (int i = 0; i < 1000; ++i) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      *error = "cmpi-hostd ended at start (wait status " + std::to_string(status) + "); log " +
               log_file_ + ":\n" + read_file(log_file_);
      return false;
    }
    if (read_file(log_file_).find(listening) != std::string::npos) return true;
    sleep_ms(10);
  }
  *error = "cmpi-hostd did not start listening within 10 s";
  return false;
}

void end_process(pid_t pid) {
  if (pid <= 0) return;
  kill(pid, SIGTERM);
  int status = 0;
  for (int i = 0; i < 1500; ++i) {
    if (waitpid(pid, &status, WNOHANG) == pid) return;
    sleep_ms(10);
  }
  kill(pid, SIGKILL);
  waitpid(pid, &status, 0);
}

void HostdProcess::stop() {
  end_process(pid_);
  pid_ = -1;
  if (!dir_.empty() && getenv("BENCH_KEEP") == nullptr) {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
    dir_.clear();
  }
}

bool HostdProcess::set_fan_count(size_t count, std::string *error) {
  if (count < 2) {
    *error = "the demo state always holds fan0 and fan1";
    return false;
  }
  if (access(state_file_.c_str(), F_OK) != 0) {
    *error = "the demo state " + state_file_ + " does not exist yet";
    return false;
  }
  const size_t copies = count - 2;
  if (copies == copies_) return true;
  std::string sql = "BEGIN IMMEDIATE;";
  if (copies > copies_) {
    const std::string range = copy_range(copies_, copies);
    sql += range + " INSERT INTO DemoInstance (ClassName, InstanceKey) SELECT 'Demo_Fan', " +
           kCopyKey + " FROM n;";
    sql += range +
           " INSERT INTO DemoProperty (ClassName, InstanceKey, Name, DataType, Value)"
           " SELECT 'Demo_Fan', " +
           kCopyKey +
           ", p.Name, p.DataType,"
           " CASE p.Name WHEN 'DeviceID' THEN printf('copy%05d', i) ELSE p.Value END"
           " FROM n, DemoProperty p WHERE p.ClassName = 'Demo_Fan' AND p.InstanceKey = " +
           kFan0Key + ";";
  } else {
    const std::string range = copy_range(copies, copies_);
    sql += range +
           " DELETE FROM DemoInstance WHERE ClassName = 'Demo_Fan' AND InstanceKey IN"
           " (SELECT " +
           kCopyKey + " FROM n);";
    sql += range +
           " DELETE FROM DemoProperty WHERE ClassName = 'Demo_Fan' AND InstanceKey IN"
           " (SELECT " +
           kCopyKey + " FROM n);";
  }
  sql += "COMMIT;";
  if (!run_sql(state_file_, sql, error)) return false;
  copies_ = copies;
  return true;
}

ProcessMemory process_memory(pid_t pid) {
  ProcessMemory memory;
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(in, line)) {
    long *field = nullptr;
    if (line.compare(0, 6, "VmRSS:") == 0) field = &memory.resident_kib;
    if (line.compare(0, 8, "RssAnon:") == 0) field = &memory.anonymous_kib;
    if (line.compare(0, 6, "VmHWM:") == 0) field = &memory.peak_kib;
    if (field != nullptr) *field = strtol(line.c_str() + line.find(':') + 1, nullptr, 10);
  }
  std::ifstream rollup("/proc/" + std::to_string(pid) + "/smaps_rollup");
  while (std::getline(rollup, line)) {
    if (line.compare(0, 4, "Pss:") == 0) {
      memory.proportional_kib = strtol(line.c_str() + 4, nullptr, 10);
    }
  }
  return memory;
}

std::vector<pid_t> child_processes(pid_t parent) {
  std::vector<pid_t> children;
  DIR *proc = opendir("/proc");
  if (proc == nullptr) return children;
  while (const struct dirent *entry = readdir(proc)) {
    char *end = nullptr;
    const long pid = strtol(entry->d_name, &end, 10);
    if (pid <= 0 || *end != '\0') continue;
    // The name in brackets may hold anything; the fields after its last ')' are the state and
    // the parent's pid.
    const std::string stat = read_file("/proc/" + std::string(entry->d_name) + "/stat");
    const size_t close = stat.rfind(')');
    if (close == std::string::npos) continue;
    char state = 0;
    long ppid = 0;
    if (sscanf(stat.c_str() + close + 1, " %c %ld", &state, &ppid) == 2 && ppid == parent) {
      children.push_back(static_cast<pid_t>(pid));
    }
  }
  closedir(proc);
  std::sort(children.begin(), children.end());
  return children;
}

namespace {

// The sum of one number read from /proc/<pid>/task/<tid>/<file> (at the text after key, or at
// the start when key is empty) over every thread of a process.
long long sum_over_threads(pid_t pid, const char *file, const std::string &key) {
  long long total = 0;
  const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
  DIR *dir = opendir(tasks.c_str());
  if (dir == nullptr) return 0;
  while (const struct dirent *entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    const std::string text = read_file(tasks + "/" + entry->d_name + "/" + file);
    const size_t at = text.find(key);
    if (at != std::string::npos) total += strtoll(text.c_str() + at + key.size(), nullptr, 10);
  }
  closedir(dir);
  return total;
}

// The same over a daemon and its children.
long long sum_over_daemon(pid_t daemon, const char *file, const std::string &key) {
  long long total = 0;
  std::vector<pid_t> all = child_processes(daemon);
  all.push_back(daemon);
  for (pid_t pid : all) total += sum_over_threads(pid, file, key);
  return total;
}

}  // namespace

long long daemon_cpu_ns(pid_t daemon) { return sum_over_daemon(daemon, "schedstat", ""); }

long long front_cpu_ns(pid_t daemon) {
  return sum_over_threads(daemon, "schedstat", "");
}

long long daemon_sleeps(pid_t daemon) {
  return sum_over_daemon(daemon, "status", "\nvoluntary_ctxt_switches:");
}

}  // namespace bench
