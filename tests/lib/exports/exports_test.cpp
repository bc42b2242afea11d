// The shared library's exported interface, read from the built .so with nm and objdump.
//
// kInterface is the library's whole external interface. The library exports exactly that set:
// nothing outside it, and all of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {

const std::set<std::string> kInterface = {
    // records
    "getClientReq", "getResponseStruct", "releaseRequestData", "releaseResponseData",
    "_Z25releaseClientResponseDataP10ServerResp",
    // codecs
    "doSerialization", "doDeserialization", "doDeserialization", "serializeResponse", "deserializeResp",
    // response stream
    "CMUtilSETStringTokenize", "CMUtilGETStringTokenize", "CMUtilGETClassStringTokenize",
    "CMUtilCreateInstStringTokenize", "CMUtilInvokeStringTokenize", "CMUtilEnumStringTokenize",
    "parseResponse",
    // schema look-ups: C++ linkage with exactly these parameter types
    "_Z15GetProviderNamePKc", "_Z30GetPersistentProviderClassNamev",
    "_Z25GetPersistentProviderNamev", "_Z23GetProviderUnloadStatusPci",
    // in-process provider calls
    "LocalGetInstance", "CBEnumInstance",
    // sockets; xsetsockopt(int, int, int, void*, socklen_t) has C++ linkage
    "createServersock", "blockServersock", "xselect", "_Z11xsetsockoptiiiPvj", "acceptServer",
    "serverRecv", "serverSend", "serverAcceptclose", "serverSockclose",
    "clientConnectServersock", "clientSend", "clientRecv", "clientCloseConnection",
    // identity switching
    "initPriv", "assignBasePriv",
};

// What the library provides today: the whole interface.
const std::set<std::string> &kImplemented = kInterface;

std::string run(const std::string &command) {
  FILE *pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return {};
  std::string out;
  char buffer[512];
  while (fgets(buffer, sizeof buffer, pipe) != nullptr) out += buffer;
  pclose(pipe);
  return out;
}

// Names of the defined dynamic symbols, without the version node (an absolute symbol).
std::set<std::string> exported_symbols() {
  std::istringstream lines(run(std::string("nm -D --defined-only ") + CMPIUTILITY_SO));
  std::set<std::string> names;
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string address, type, name;
    if (!(fields >> address >> type >> name)) continue;
    if (type == "A") continue;
    names.insert(name.substr(0, name.find('@')));
  }
  return names;
}

TEST(Exports, NmReadsTheLibrary) {
  std::string out = run(std::string("nm -D --defined-only ") + CMPIUTILITY_SO);
  EXPECT_EQ(out.find("No such file"), std::string::npos) << out;
  EXPECT_EQ(out.find("nm:"), std::string::npos) << out;
}

TEST(Exports, NothingOutsideTheInterfaceIsExported) {
  for (const std::string &name : exported_symbols())
    EXPECT_TRUE(kInterface.count(name) == 1) << "exported but not part of the interface: " << name;
}

TEST(Exports, EverythingImplementedIsExported) {
  std::set<std::string> exported = exported_symbols();
  for (const std::string &name : kImplemented)
    EXPECT_TRUE(exported.count(name) == 1) << "missing from the library: " << name;
  EXPECT_TRUE(std::includes(kInterface.begin(), kInterface.end(), kImplemented.begin(),
                            kImplemented.end()));
}

TEST(Exports, SonameIsVersionZero) {
  std::string out = run(std::string("objdump -p ") + CMPIUTILITY_SO);
  EXPECT_NE(out.find("SONAME               libcmpiutility.so.0"), std::string::npos) << out;
}

// The version script and this test must name the same interface.
TEST(Exports, VersionScriptListsExactlyTheInterface) {
  std::ifstream in(CMPIUTILITY_EXPORT_MAP);
  ASSERT_TRUE(in.good());
  std::stringstream text;
  text << in.rdbuf();
  std::string map = text.str();
  // Drop comments, then collect the names between "global:" and "local:".
  std::string stripped;
  for (size_t i = 0; i < map.size(); ++i) {
    if (map.compare(i, 2, "/*") == 0) {
      size_t end = map.find("*/", i + 2);
      ASSERT_NE(end, std::string::npos);
      i = end + 1;
      continue;
    }
    stripped += map[i];
  }
  size_t begin = stripped.find("global:");
  size_t end = stripped.find("local:");
  ASSERT_NE(begin, std::string::npos);
  ASSERT_NE(end, std::string::npos);
  std::string list = stripped.substr(begin + 7, end - begin - 7);
  std::replace(list.begin(), list.end(), ';', ' ');
  std::istringstream words(list);
  std::set<std::string> listed;
  std::string word;
  while (words >> word) listed.insert(word);
  EXPECT_EQ(listed, kInterface);
}

}  // namespace
