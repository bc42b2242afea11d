// hostd_harness.cpp - workspace, daemon process and its log.
#include "hostd_harness.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/local_call.h>
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "read_file.h"

namespace e2e {

using testsupport::read_file;

namespace {

// A provider library copied into the test's provider directory, readable and executable by
// every user a worker may run as.
void install_library(const std::string &from, const std::string &to) {
  if (!testsupport::copy_file(from, to)) ADD_FAILURE() << "cannot copy " << from;
  chmod(to.c_str(), 0755);
}

void remove_tree(const std::string &path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return;
  if (S_ISDIR(st.st_mode)) {
    if (DIR *d = opendir(path.c_str())) {
      while (struct dirent *e = readdir(d)) {
        std::string name = e->d_name;
        if (name != "." && name != "..") remove_tree(path + "/" + name);
      }
      closedir(d);
    }
    rmdir(path.c_str());
  } else {
    unlink(path.c_str());
  }
}

void sleep_ms(int ms) {
  struct timespec ts = {ms / 1000, (ms % 1000) * 1000000L};
  nanosleep(&ts, nullptr);
}

// The rows of the test providers (tests/e2e/providers).
const char kTestClasses[] =
    "INSERT INTO Tbl_ClassMetadata (ClassName, ProviderName, NameSpace, UnloadNever) VALUES "
    "('Test_Crash', 'TestCrash', 'root/cimv2', '0'),"
    "('Test_Hang', 'TestHang', 'root/cimv2', '0'),"
    "('Test_Partial', 'TestPartial', 'root/cimv2', '0'),"
    "('Test_PartialMany', 'TestPartial', 'root/cimv2', '0'),"
    "('Test_Generic', 'TestGeneric', 'root/cimv2', '0'),"
    "('Test_Many', 'TestGeneric', 'root/cimv2', '0'),"
    "('Test_NoProvider', NULL, 'root/cimv2', '0'),"
    "('Test_Missing', 'TestMissing', 'root/cimv2', '0'),"
    "('Test_Keep', 'TestKeep', 'root/cimv2', '1'),"
    "('Test_Plain', 'TestPlain', 'root/cimv2', '0'),"
    "('Test_Hog', 'TestHog', 'root/cimv2', '0'),"
    "('Test_Spin', 'TestSpin', 'root/cimv2', '0'),"
    "('Test_Fork', 'TestFork', 'root/cimv2', '0'),"
    "('Test_Slow', 'TestSlow', 'root/cimv2', '0'),"
    "('Test_Burst', 'TestBurst', 'root/cimv2', '0'),"
    "('Test_Scatter', 'TestScatter', 'root/cimv2', '0');";

// Registers the classes of tests/e2e/classes/test-classes.mof (the providers that behave like
// real ones: hierarchy, associations, defaults, values the wire cannot carry) with cmpi-mof,
// as an administrator would.
void import_mof(const std::string &database, const std::string &mof) {
  pid_t pid = fork();
  if (pid < 0) {
    ADD_FAILURE() << "fork: " << std::strerror(errno);
    return;
  }
  if (pid == 0) {
    int null = open("/dev/null", O_WRONLY);
    if (null >= 0) dup2(null, STDOUT_FILENO);
    execl(MOF_BINARY, MOF_BINARY, "--database", database.c_str(), mof.c_str(),
          static_cast<char *>(nullptr));
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
      << MOF_BINARY << " --database " << database << " " << mof << ": wait status " << status;
}

// Sets the demo state up as its administrator would, before any daemon serves anyone: one
// in-process call of the demo provider by this process's user (root in the suite), which
// creates and seeds the file. Workers running as other users then find it made, readable and
// theirs to read only. Done in a child, so that this process keeps its environment and never
// loads the provider.
void set_up_demo_state(const Workspace &ws) {
  pid_t pid = fork();
  if (pid < 0) {
    ADD_FAILURE() << "fork: " << std::strerror(errno);
    return;
  }
  if (pid == 0) {
    setenv("CMPIUTILITY_SCHEMA_DB", ws.schema_db.c_str(), 1);
    setenv("CMPIUTILITY_PROVIDER_DIR", ws.provider_dir.c_str(), 1);
    setenv("CMPI_DEMO_STATE", ws.state_file.c_str(), 1);
    CMPIContext *ctx = makeNewCMPIContext(nullptr);
    CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "Demo_Chassis", nullptr);
    CMPIEnumeration *found = CBEnumInstance(ctx, "Demo_Chassis", path, 1);
    _exit(found != nullptr && CMHasNext(found, nullptr) ? 0 : 1);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    ADD_FAILURE() << "the demo state " << ws.state_file << " could not be set up (status "
                  << status << ")";
  }
}

}  // namespace

Workspace::Workspace() {
  char name[] = "/tmp/cmpi-hostd-e2e-XXXXXX";
  if (mkdtemp(name) == nullptr) {
    ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
    return;
  }
  dir = name;
  chmod(dir.c_str(), 0755);
  socket = dir + "/hostd.sock";
  schema_db = dir + "/schema.db";
  provider_dir = dir + "/providers/";
  log_file = dir + "/hostd.log";
  stderr_file = dir + "/hostd.stderr";
  std::string state_dir = dir + "/state";
  mkdir(provider_dir.c_str(), 0755);
  mkdir(state_dir.c_str(), 0755);
  chmod(state_dir.c_str(), 0755);
  state_file = state_dir + "/demo.db";

  exec_sql(read_file(std::string(SHARE_DIR) + "/schema.sql"));
  exec_sql(read_file(std::string(SHARE_DIR) + "/demo-classes.sql"));
  exec_sql(kTestClasses);
  import_mof(schema_db, TEST_CLASSES_MOF);
  chmod(schema_db.c_str(), 0644);

  install_library(DEMO_PROVIDER, provider_dir + "libdemoprovider.so");
  for (const char *lib :
       {"libtestcrash.so", "libtesthang.so", "libtestpartial.so", "libtestgeneric.so",
        "libtestkeep.so", "libtestplain.so", "libtesthog.so", "libtestspin.so", "libtestfork.so",
        "libtestslow.so", "libtestburst.so", "libtestends.so", "libtestlinks.so",
        "libtestlinger.so", "libtestpower.so", "libtestfit.so", "libtestscatter.so",
        "libolder_provider.so"}) {
    install_library(std::string(FAULT_PROVIDER_DIR) + "/" + lib, provider_dir + lib);
  }
  set_up_demo_state(*this);
}

Workspace::~Workspace() {
  if (getenv("E2E_KEEP")) return;
  if (!dir.empty()) remove_tree(dir);
}

void Workspace::exec_sql(const std::string &sql) const {
  sqlite3 *db = nullptr;
  if (sqlite3_open(schema_db.c_str(), &db) != SQLITE_OK) {
    ADD_FAILURE() << "cannot open " << schema_db;
    sqlite3_close(db);
    return;
  }
  char *error = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
    ADD_FAILURE() << "SQL failed: " << (error ? error : "?");
  }
  sqlite3_free(error);
  sqlite3_close(db);
}

HostDaemon::~HostDaemon() {
  if (pid_ > 0) stop();
}

::testing::AssertionResult HostDaemon::start(const std::vector<std::string> &extra) {
  std::vector<std::string> args = {HOSTD_BINARY,
                                   "--foreground",
                                   "--socket",
                                   ws_.socket,
                                   "--schema-db",
                                   ws_.schema_db,
                                   "--provider-dir",
                                   ws_.provider_dir,
                                   "--log-level",
                                   "4",
                                   "--mode",
                                   "0666",
                                   "--read-timeout",
                                   "2",
                                   "--provider-timeout",
                                   "3"};
  args.insert(args.end(), extra.begin(), extra.end());
  pid_ = fork();
  if (pid_ < 0) return ::testing::AssertionFailure() << "fork: " << std::strerror(errno);
  if (pid_ == 0) {
    setenv("DLOG_OUTPUT", ws_.log_file.c_str(), 1);
    setenv("CMPI_DEMO_STATE", ws_.state_file.c_str(), 1);
    int err = open(ws_.stderr_file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    int null_fd = open("/dev/null", O_RDWR);
    dup2(null_fd, STDIN_FILENO);
    dup2(null_fd, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  // The log may hold the lines of an earlier daemon on the same workspace: wait for this one's.
  std::string socket = ws_.socket;
  for (std::size_t i = 0; i + 1 < extra.size(); ++i) {
    if (extra[i] == "--socket") socket = extra[i + 1];
  }
  const std::string listening =
      "pid=" + std::to_string(pid_) + " level=3 module=232: listening on " + socket + "\n";
  start_status_ = -1;
  for (int i = 0; i < 1000; ++i) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      start_status_ = status;
      return ::testing::AssertionFailure()
             << "cmpi-hostd ended at start (status " << status << "): " << standard_error();
    }
    if (read_file(ws_.log_file).find(listening) != std::string::npos) {
      return ::testing::AssertionSuccess();
    }
    sleep_ms(10);
  }
  return ::testing::AssertionFailure() << "cmpi-hostd did not start listening";
}

int HostDaemon::stop() {
  if (pid_ <= 0) return -1;
  kill(pid_, SIGTERM);
  int status = 0;
  for (int i = 0; i < 2000; ++i) {
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return status;
    }
    sleep_ms(10);
  }
  kill(pid_, SIGKILL);
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return -1;
}

std::vector<cmpitest::LogLine> HostDaemon::lines() const {
  std::vector<cmpitest::LogLine> out;
  std::istringstream in(read_file(ws_.log_file));
  std::string raw;
  while (std::getline(in, raw)) {
    // "<time> pid=<n> level=<l> module=<m>: <text>"
    std::size_t level_at = raw.find(" level=");
    std::size_t module_at = raw.find(" module=");
    if (level_at == std::string::npos || module_at == std::string::npos) continue;
    std::size_t text_at = raw.find(": ", module_at);
    if (text_at == std::string::npos) continue;
    cmpitest::LogLine line;
    line.level = std::atoi(raw.c_str() + level_at + 7);
    line.module = std::atoi(raw.c_str() + module_at + 8);
    line.text = normalize(raw.substr(text_at + 2));
    out.push_back(line);
  }
  return out;
}

::testing::AssertionResult HostDaemon::wait_for(const cmpitest::LogLine &expected,
                                                int seconds) const {
  for (int i = 0; i < seconds * 100; ++i) {
    for (const cmpitest::LogLine &line : lines()) {
      if (line == expected) return ::testing::AssertionSuccess();
    }
    sleep_ms(10);
  }
  std::ostringstream all;
  for (const cmpitest::LogLine &line : lines()) {
    if (line.module == kHostdModule) all << "\n  " << line;
  }
  return ::testing::AssertionFailure()
         << "no log line " << expected << "; the daemon wrote:" << all.str();
}

std::string HostDaemon::standard_error() const { return read_file(ws_.stderr_file); }

std::string normalize(const std::string &text) {
  std::string out;
  static const char *const kMarkers[] = {"worker ", "supervisor ", "pid ", "process "};
  std::size_t i = 0;
  while (i < text.size()) {
    bool replaced = false;
    for (const char *marker : kMarkers) {
      std::size_t n = std::strlen(marker);
      if (text.compare(i, n, marker) == 0 && i + n < text.size() &&
          std::isdigit(static_cast<unsigned char>(text[i + n]))) {
        out += marker;
        out += 'N';
        i += n;
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i;
        replaced = true;
        break;
      }
    }
    if (!replaced) out += text[i++];
  }
  return out;
}

cmpitest::LogLine Hostd(const std::string &text, int level) {
  return cmpitest::Line(text, level, kHostdModule);
}

int open_fd_count(pid_t pid) {
  int count = 0;
  std::string path = "/proc/" + std::to_string(pid) + "/fd";
  if (DIR *d = opendir(path.c_str())) {
    while (struct dirent *e = readdir(d)) {
      if (e->d_name[0] != '.') ++count;
    }
    closedir(d);
  }
  return count;
}

long resident_kib(pid_t pid) {
  std::istringstream in(read_file("/proc/" + std::to_string(pid) + "/status"));
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  }
  return -1;
}

}  // namespace e2e
