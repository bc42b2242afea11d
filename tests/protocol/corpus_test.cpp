// corpus_test.cpp - replays every case file of docs/protocol/ against a fresh cmpi-hostd with the
// demo provider and its initial state, one connection per request, and compares the answers
// byte for byte with the recorded ones, after replacing the workspace directory (the only text
// of an answer that differs from run to run) by <workspace>.
//
// With CMPI_CORPUS_UPDATE=1 in the environment the answers received are written into the files
// instead; ./dev corpus does that.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "corpus_file.h"
#include "hostd_client.h"
#include "hostd_harness.h"

namespace {

std::vector<std::string> case_names() {
  std::vector<std::string> names;
  DIR *dir = opendir(CORPUS_DIR);
  if (dir == nullptr) return names;
  while (const dirent *entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".txt") == 0) names.push_back(name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

bool updating() {
  const char *value = std::getenv("CMPI_CORPUS_UPDATE");
  return value != nullptr && std::string(value) == "1";
}

std::string read_text(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

class Corpus : public ::testing::TestWithParam<std::string> {};

TEST_P(Corpus, TheDaemonAnswersAsRecorded) {
  const std::string path = std::string(CORPUS_DIR) + "/" + GetParam();
  corpus::CaseFile file;
  std::string error;
  ASSERT_TRUE(corpus::parse(read_text(path), &file, &error)) << path << ": " << error;
  ASSERT_FALSE(file.exchanges.empty()) << path << " holds no request";

  e2e::Workspace ws;
  e2e::HostDaemon daemon(ws);
  ASSERT_TRUE(daemon.start());
  e2e::RawOptions options;
  options.shutdown_write = true;
  options.read_limit_s = 15;
  for (std::size_t i = 0; i < file.exchanges.size(); ++i) {
    corpus::Exchange &exchange = file.exchanges[i];
    const std::string answer = corpus::replace_all(
        e2e::exchange_raw(ws.socket, exchange.request, options), ws.dir, "<workspace>");
    if (updating()) {
      exchange.response = answer;
      exchange.has_response = true;
      continue;
    }
    ASSERT_TRUE(exchange.has_response)
        << path << ": request " << i + 1 << " has no recorded answer (./dev corpus records it)";
    EXPECT_EQ(corpus::line_for("<<<", answer), corpus::line_for("<<<", exchange.response))
        << path << ", request " << i + 1
        << ": the daemon's answer changed; if the change is meant, ./dev corpus records it and "
           "docs/protocol.md must say so";
  }
  const int status = daemon.stop();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
  if (updating()) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << corpus::format(file);
    EXPECT_TRUE(out.good()) << "cannot write " << path;
  }
}

std::string test_name(const ::testing::TestParamInfo<std::string> &info) {
  std::string name = info.param.substr(0, info.param.size() - 4);
  for (char &c : name) {
    if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Cases, Corpus, ::testing::ValuesIn(case_names()), test_name);

TEST(CorpusDirectory, HoldsCases) { EXPECT_GE(case_names().size(), 30u) << CORPUS_DIR; }

}  // namespace
