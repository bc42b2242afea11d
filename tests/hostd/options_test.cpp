// Tests of the command line of cmpi-hostd: defaults, the bounds of every number, paths, lists,
// the refusals with their exact messages, --help/--version and the help text.
#include "options.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <unistd.h>

#include <cctype>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace hostd {
namespace {

// parse_options on a command line given as words (the program name is added).
struct Parsed {
  ParseOutcome outcome;
  Options options;
  std::string error;
};

Parsed parse(std::vector<std::string> words) {
  words.insert(words.begin(), "cmpi-hostd");
  std::vector<char *> argv;
  for (std::string &w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  Parsed p;
  p.outcome = parse_options(static_cast<int>(words.size()), argv.data(), &p.options, &p.error);
  return p;
}

std::string cwd() {
  char buffer[PATH_MAX];
  EXPECT_NE(getcwd(buffer, sizeof buffer), nullptr);
  std::string dir = buffer;
  if (dir.back() != '/') dir += '/';
  return dir;
}

TEST(ParseOptions, NoArgumentsRunWithTheDefaults) {
  Parsed p = parse({});
  ASSERT_EQ(p.outcome, ParseOutcome::kRun) << p.error;
  const Options &o = p.options;
  EXPECT_EQ(o.socket_path, "/run/cmpi-hostd.sock");
  EXPECT_EQ(o.socket_mode, 0660u);
  EXPECT_EQ(o.socket_group, "");
  EXPECT_FALSE(o.foreground);
  EXPECT_EQ(o.pid_file, "");
  EXPECT_EQ(o.log_level, -1);
  EXPECT_EQ(o.shutdown_grace, 10);
  EXPECT_EQ(o.max_request, 67108864u);
  EXPECT_EQ(o.read_timeout, 10);
  EXPECT_EQ(o.max_connections, 1024);
  EXPECT_EQ(o.max_connections_per_user, 64);
  EXPECT_EQ(o.max_buffered, 268435456u);
  EXPECT_EQ(o.max_queue, 256);
  EXPECT_EQ(o.workers_per_user, 4);
  EXPECT_EQ(o.max_workers, 64);
  EXPECT_EQ(o.worker_idle, 300);
  EXPECT_EQ(o.provider_idle, 120);
  EXPECT_EQ(o.worker_requests, 10000u);
  EXPECT_EQ(o.worker_memory_mib, 2048u);
  EXPECT_EQ(o.worker_cpu, 60);
  EXPECT_EQ(o.provider_timeout, 30);
  EXPECT_EQ(o.request_deadline, 300);
  EXPECT_EQ(o.encoder_thread, EncoderThread::kOff);
  EXPECT_EQ(o.schema_db, "");
  EXPECT_EQ(o.provider_dir, "");
  EXPECT_TRUE(o.allow_users.empty());
  EXPECT_TRUE(o.allow_groups.empty());
  EXPECT_TRUE(o.proxy_users.empty());
  EXPECT_TRUE(o.proxy_groups.empty());
  EXPECT_FALSE(o.proxy_root);
  EXPECT_EQ(p.error, "");
}

// ---- numbers -----------------------------------------------------------------------------------

struct NumberCase {
  const char *name;
  const char *low;    // the smallest value accepted, as typed
  const char *high;   // the largest
  const char *below;  // the value under low as typed, or nullptr when low is 0
  const char *above;  // the value over high
  const char *bounds; // "LOW to HIGH" as the message shows them
  unsigned long long low_value;
  unsigned long long high_value;
  std::function<unsigned long long(const Options &)> get;
};

const std::vector<NumberCase> &number_cases() {
  static const std::vector<NumberCase> cases = {
      {"mode", "0", "7777", nullptr, "10000", "0 to 07777", 0, 07777,
       [](const Options &o) { return o.socket_mode; }},
      {"log-level", "0", "9", nullptr, "10", "0 to 9", 0, 9,
       [](const Options &o) { return o.log_level; }},
      {"shutdown-grace", "0", "3600", nullptr, "3601", "0 to 3600", 0, 3600,
       [](const Options &o) { return o.shutdown_grace; }},
      {"max-request", "64", "2147483648", "63", "2147483649", "64 to 2147483648", 64,
       2147483648ull, [](const Options &o) { return o.max_request; }},
      {"read-timeout", "1", "86400", "0", "86401", "1 to 86400", 1, 86400,
       [](const Options &o) { return o.read_timeout; }},
      {"max-connections", "1", "65536", "0", "65537", "1 to 65536", 1, 65536,
       [](const Options &o) { return o.max_connections; }},
      {"max-connections-per-user", "1", "65536", "0", "65537", "1 to 65536", 1, 65536,
       [](const Options &o) { return o.max_connections_per_user; }},
      {"max-buffered", "4096", "1099511627776", "4095", "1099511627777", "4096 to 1099511627776",
       4096, 1ull << 40, [](const Options &o) { return o.max_buffered; }},
      {"max-queue", "1", "65536", "0", "65537", "1 to 65536", 1, 65536,
       [](const Options &o) { return o.max_queue; }},
      {"workers-per-user", "1", "256", "0", "257", "1 to 256", 1, 256,
       [](const Options &o) { return o.workers_per_user; }},
      {"max-workers", "1", "4096", "0", "4097", "1 to 4096", 1, 4096,
       [](const Options &o) { return o.max_workers; }},
      {"max-clients", "1", "4096", "0", "4097", "1 to 4096", 1, 4096,
       [](const Options &o) { return o.max_workers; }},
      {"worker-idle", "1", "2592000", "0", "2592001", "1 to 2592000", 1, 2592000,
       [](const Options &o) { return o.worker_idle; }},
      {"provider-idle", "0", "2592000", nullptr, "2592001", "0 to 2592000", 0, 2592000,
       [](const Options &o) { return o.provider_idle; }},
      {"worker-requests", "0", "1099511627776", nullptr, "1099511627777",
       "0 to 1099511627776", 0, 1ull << 40, [](const Options &o) { return o.worker_requests; }},
      {"worker-memory", "0", "1073741824", nullptr, "1073741825", "0 to 1073741824", 0, 1ull << 30,
       [](const Options &o) { return o.worker_memory_mib; }},
      {"worker-cpu", "0", "86400", nullptr, "86401", "0 to 86400", 0, 86400,
       [](const Options &o) { return o.worker_cpu; }},
      {"provider-timeout", "1", "86400", "0", "86401", "1 to 86400", 1, 86400,
       [](const Options &o) { return o.provider_timeout; }},
      {"request-deadline", "0", "604800", nullptr, "604801", "0 to 604800", 0, 604800,
       [](const Options &o) { return o.request_deadline; }},
  };
  return cases;
}

std::string refusal(const NumberCase &c, const std::string &value) {
  return std::string("--") + c.name + ": '" + value + "' is not a number from " + c.bounds;
}

TEST(ParseOptions, EveryNumberAcceptsItsBounds) {
  for (const NumberCase &c : number_cases()) {
    SCOPED_TRACE(c.name);
    Parsed low = parse({std::string("--") + c.name, c.low});
    ASSERT_EQ(low.outcome, ParseOutcome::kRun) << low.error;
    EXPECT_EQ(c.get(low.options), c.low_value);
    Parsed high = parse({std::string("--") + c.name + "=" + c.high});
    ASSERT_EQ(high.outcome, ParseOutcome::kRun) << high.error;
    EXPECT_EQ(c.get(high.options), c.high_value);
  }
}

TEST(ParseOptions, EveryNumberRefusesWhatLiesOutsideItsBounds) {
  for (const NumberCase &c : number_cases()) {
    SCOPED_TRACE(c.name);
    const std::string below = c.below != nullptr ? c.below : "-1";
    Parsed under = parse({std::string("--") + c.name, below});
    EXPECT_EQ(under.outcome, ParseOutcome::kExitUsage);
    EXPECT_EQ(under.error, refusal(c, below));
    Parsed over = parse({std::string("--") + c.name, c.above});
    EXPECT_EQ(over.outcome, ParseOutcome::kExitUsage);
    EXPECT_EQ(over.error, refusal(c, c.above));
  }
}

TEST(ParseOptions, NumbersAreWholeNumbersAndNothingElse) {
  const NumberCase &queue = number_cases()[8];
  ASSERT_STREQ(queue.name, "max-queue");
  for (const char *text : {"", "abc", "12x", "1.5", "+5", "-0", " 5", "5 ", "\t5", "0x10",
                           "99999999999999999999999"}) {
    Parsed p = parse({"--max-queue", text});
    EXPECT_EQ(p.outcome, ParseOutcome::kExitUsage) << "'" << text << "'";
    EXPECT_EQ(p.error, refusal(queue, text));
  }
  EXPECT_EQ(parse({"--max-queue", "007"}).options.max_queue, 7);
}

TEST(ParseOptions, ModeIsOctal) {
  EXPECT_EQ(parse({"--mode", "0600"}).options.socket_mode, 0600u);
  EXPECT_EQ(parse({"--mode", "755"}).options.socket_mode, 0755u);
  // 8 and 9 are no octal digits, whatever the bounds say in decimal.
  for (const char *text : {"0680", "4095", "0x1ff"}) {
    Parsed p = parse({"--mode", text});
    EXPECT_EQ(p.outcome, ParseOutcome::kExitUsage) << text;
    EXPECT_EQ(p.error, refusal(number_cases()[0], text));
  }
}

TEST(ParseOptions, MaxClientsIsTheOldNameOfMaxWorkers) {
  Parsed p = parse({"--max-clients", "17"});
  ASSERT_EQ(p.outcome, ParseOutcome::kRun) << p.error;
  EXPECT_EQ(p.options.max_workers, 17);
  // The later of the two wins, whichever name it has.
  EXPECT_EQ(parse({"--max-workers", "5", "--max-clients", "9"}).options.max_workers, 9);
  EXPECT_EQ(parse({"--max-clients", "9", "--max-workers", "5"}).options.max_workers, 5);
}

// ---- paths, texts, lists, flags ----------------------------------------------------------------

TEST(ParseOptions, RelativePathsAreMadeAbsolute) {
  Parsed p = parse({"--socket", "run/h.sock", "--pid-file", "h.pid", "--schema-db", "db/s.db",
                    "--provider-dir", "lib/cmpi"});
  ASSERT_EQ(p.outcome, ParseOutcome::kRun) << p.error;
  EXPECT_EQ(p.options.socket_path, cwd() + "run/h.sock");
  EXPECT_EQ(p.options.pid_file, cwd() + "h.pid");
  EXPECT_EQ(p.options.schema_db, cwd() + "db/s.db");
  EXPECT_EQ(p.options.provider_dir, cwd() + "lib/cmpi/");
}

TEST(ParseOptions, AbsolutePathsStayAsTheyAre) {
  Parsed p = parse({"--socket", "/tmp/h.sock", "--pid-file", "/run/h.pid", "--schema-db",
                    "/etc/s.db", "--provider-dir", "/usr/lib/cmpi/"});
  ASSERT_EQ(p.outcome, ParseOutcome::kRun) << p.error;
  EXPECT_EQ(p.options.socket_path, "/tmp/h.sock");
  EXPECT_EQ(p.options.pid_file, "/run/h.pid");
  EXPECT_EQ(p.options.schema_db, "/etc/s.db");
  EXPECT_EQ(p.options.provider_dir, "/usr/lib/cmpi/");
}

TEST(ParseOptions, ProviderDirGainsATrailingSlash) {
  EXPECT_EQ(parse({"--provider-dir", "/opt/providers"}).options.provider_dir,
            "/opt/providers/");
  EXPECT_EQ(parse({"--provider-dir", "/"}).options.provider_dir, "/");
}

TEST(ParseOptions, SocketPathMustFitTheAddress) {
  const std::string longest = "/" + std::string(106, 's');
  Parsed fits = parse({"--socket", longest});
  ASSERT_EQ(fits.outcome, ParseOutcome::kRun) << fits.error;
  EXPECT_EQ(fits.options.socket_path, longest);

  Parsed too_long = parse({"--socket", longest + "s"});
  EXPECT_EQ(too_long.outcome, ParseOutcome::kExitUsage);
  EXPECT_EQ(too_long.error, "--socket: the path is longer than 107 characters");

  Parsed empty = parse({"--socket", ""});
  EXPECT_EQ(empty.outcome, ParseOutcome::kExitUsage);
  EXPECT_EQ(empty.error, "--socket: the path is empty");
}

TEST(ParseOptions, ListOptionsRepeat) {
  Parsed p = parse({"--allow-user", "alice", "--allow-group", "ops", "--allow-user", "bob",
                    "--allow-proxy-user", "gw", "--allow-proxy-group", "front",
                    "--allow-proxy-group", "back", "--allow-group", "dev",
                    "--allow-proxy-user=gw2"});
  ASSERT_EQ(p.outcome, ParseOutcome::kRun) << p.error;
  EXPECT_EQ(p.options.allow_users, (std::vector<std::string>{"alice", "bob"}));
  EXPECT_EQ(p.options.allow_groups, (std::vector<std::string>{"ops", "dev"}));
  EXPECT_EQ(p.options.proxy_users, (std::vector<std::string>{"gw", "gw2"}));
  EXPECT_EQ(p.options.proxy_groups, (std::vector<std::string>{"front", "back"}));
}

TEST(ParseOptions, FlagsAndTexts) {
  Parsed p = parse({"--foreground", "--allow-proxy-root", "--group", "cmpi"});
  ASSERT_EQ(p.outcome, ParseOutcome::kRun) << p.error;
  EXPECT_TRUE(p.options.foreground);
  EXPECT_TRUE(p.options.proxy_root);
  EXPECT_EQ(p.options.socket_group, "cmpi");
}

TEST(ParseOptions, EncoderThreadIsOnOrOff) {
  EXPECT_EQ(parse({"--encoder-thread", "on"}).options.encoder_thread, EncoderThread::kOn);
  EXPECT_EQ(parse({"--encoder-thread=off"}).options.encoder_thread, EncoderThread::kOff);
  Parsed p = parse({"--encoder-thread", "auto"});
  EXPECT_EQ(p.outcome, ParseOutcome::kExitUsage);
  EXPECT_EQ(p.error, "--encoder-thread: 'auto' is neither on nor off");
}

// ---- refusals ----------------------------------------------------------------------------------

TEST(ParseOptions, UnknownOption) {
  Parsed p = parse({"--foreground", "--no-such-option", "--help"});
  EXPECT_EQ(p.outcome, ParseOutcome::kExitUsage);
  EXPECT_EQ(p.error, "unknown option '--no-such-option'");
  Parsed value = parse({"--no-such-option=3"});
  EXPECT_EQ(value.error, "unknown option '--no-such-option=3'");
  Parsed s = parse({"-x"});
  EXPECT_EQ(s.outcome, ParseOutcome::kExitUsage);
  EXPECT_EQ(s.error, "unknown option '-x'");
}

TEST(ParseOptions, UnknownShortOptionInAClusterIsNamed) {
  Parsed p = parse({"-xy"});
  EXPECT_EQ(p.outcome, ParseOutcome::kExitUsage);
  EXPECT_EQ(p.error, "unknown option '-x'");
  // A later parse starts afresh.
  Parsed next = parse({"--foreground"});
  EXPECT_EQ(next.outcome, ParseOutcome::kRun) << next.error;
  EXPECT_TRUE(next.options.foreground);
}

TEST(ParseOptions, FlagGivenAValue) {
  for (const char *flag : {"foreground", "allow-proxy-root", "help", "version"}) {
    Parsed p = parse({std::string("--") + flag + "=yes"});
    EXPECT_EQ(p.outcome, ParseOutcome::kExitUsage) << flag;
    EXPECT_EQ(p.error, std::string("option '--") + flag + "' takes no value");
  }
}

TEST(ParseOptions, MissingValue) {
  for (const char *name : {"--socket", "--max-queue", "--allow-user", "--mode", "--group"}) {
    Parsed p = parse({"--foreground", name});
    EXPECT_EQ(p.outcome, ParseOutcome::kExitUsage) << name;
    EXPECT_EQ(p.error, std::string("option '") + name + "' needs a value");
  }
}

TEST(ParseOptions, UnexpectedArgument) {
  Parsed p = parse({"--foreground", "extra"});
  EXPECT_EQ(p.outcome, ParseOutcome::kExitUsage);
  EXPECT_EQ(p.error, "unexpected argument 'extra'");
  Parsed first = parse({"stray", "--max-queue", "3"});
  EXPECT_EQ(first.outcome, ParseOutcome::kExitUsage);
  EXPECT_EQ(first.error, "unexpected argument 'stray'");
}

TEST(ParseOptions, HelpAndVersion) {
  EXPECT_EQ(parse({"--help"}).outcome, ParseOutcome::kShowHelp);
  EXPECT_EQ(parse({"--version"}).outcome, ParseOutcome::kShowVersion);
  EXPECT_EQ(parse({"--foreground", "--help", "--max-queue", "0"}).outcome,
            ParseOutcome::kShowHelp);
  EXPECT_EQ(parse({"--version", "--help"}).outcome, ParseOutcome::kShowVersion);
  // A bad option before them is reported first.
  EXPECT_EQ(parse({"--max-queue", "0", "--help"}).outcome, ParseOutcome::kExitUsage);
}

TEST(VersionText, NamesTheProgramOnOneLine) {
  const std::string text = version_text();
  EXPECT_EQ(text.rfind("cmpi-hostd ", 0), 0u);
  EXPECT_GT(text.size(), std::string("cmpi-hostd \n").size());
  EXPECT_EQ(text.back(), '\n');
  EXPECT_EQ(text.find('\n'), text.size() - 1);
}

// ---- the help text -----------------------------------------------------------------------------

// The option names as options.cpp lists them in its table.
std::vector<std::string> option_names_in_source() {
  std::ifstream in(HOSTD_OPTIONS_SOURCE);
  EXPECT_TRUE(in.good()) << HOSTD_OPTIONS_SOURCE;
  std::stringstream text;
  text << in.rdbuf();
  const std::string source = text.str();
  const std::regex entry(R"re(\{"([a-z][a-z-]*)", k(Flag|Path|Text|List|Number),)re");
  std::vector<std::string> names;
  for (std::sregex_iterator it(source.begin(), source.end(), entry), end; it != end; ++it) {
    names.push_back((*it)[1].str());
  }
  return names;
}

TEST(HelpText, MentionsEveryOption) {
  const std::vector<std::string> names = option_names_in_source();
  ASSERT_GE(names.size(), 31u);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
  const std::string text = help_text("cmpi-hostd");
  for (const std::string &name : names) {
    const std::string option = "--" + name;
    std::size_t at = text.find(option);
    // The name itself, not the start of a longer one.
    while (at != std::string::npos) {
      const std::size_t end = at + option.size();
      if (end == text.size() || !(std::isalnum(static_cast<unsigned char>(text[end])) ||
                                  text[end] == '-')) {
        break;
      }
      at = text.find(option, end);
    }
    EXPECT_NE(at, std::string::npos) << option;
  }
}

TEST(HelpText, EveryListedNameIsAnOption) {
  for (const std::string &name : option_names_in_source()) {
    Parsed p = parse({"--" + name});
    EXPECT_EQ(p.error.find("unknown option"), std::string::npos) << name << ": " << p.error;
  }
}

TEST(HelpText, StartsWithTheUsageOfTheGivenProgramName) {
  const std::string text = help_text("/usr/sbin/my-hostd");
  EXPECT_EQ(text.rfind("Usage: /usr/sbin/my-hostd [OPTION]...\n", 0), 0u);
  EXPECT_EQ(text.back(), '\n');
}

}  // namespace
}  // namespace hostd
