// cmpi-mof's command line.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "command_line.h"

namespace {

using mof::Options;
using mof::ParseCommandLine;

std::string UsageErrorOf(const std::vector<std::string> &args) {
  try {
    ParseCommandLine(args);
  } catch (const mof::UsageError &e) {
    return e.what();
  }
  return "no error";
}

TEST(MofCommandLine, DatabaseImport) {
  const Options options = ParseCommandLine({"--database", "x.db", "a.mof", "b.mof"});
  EXPECT_EQ(options.action, Options::Action::Import);
  EXPECT_EQ(options.database, "x.db");
  EXPECT_EQ(options.nameSpace, "root/cimv2");
  EXPECT_FALSE(options.nameSpaceGiven);
  EXPECT_EQ(options.files, (std::vector<std::string>{"a.mof", "b.mof"}));
}

TEST(MofCommandLine, SqlWithNamespaceAndEqualsForms) {
  const Options options = ParseCommandLine({"a.mof", "--namespace=root/x", "--sql", "--", "-b.mof"});
  EXPECT_EQ(options.action, Options::Action::PrintSql);
  EXPECT_EQ(options.nameSpace, "root/x");
  EXPECT_TRUE(options.nameSpaceGiven);
  EXPECT_EQ(options.files, (std::vector<std::string>{"a.mof", "-b.mof"}));
  EXPECT_EQ(ParseCommandLine({"--database=d.db", "a.mof"}).database, "d.db");
}

TEST(MofCommandLine, HelpAndVersionWin) {
  EXPECT_EQ(ParseCommandLine({"--help"}).action, Options::Action::Help);
  EXPECT_EQ(ParseCommandLine({"--sql", "-h"}).action, Options::Action::Help);
  EXPECT_EQ(ParseCommandLine({"--version", "--database", "x"}).action, Options::Action::Version);
  EXPECT_NE(mof::HelpText().find("--database PATH"), std::string::npos);
}

TEST(MofCommandLine, UsageErrors) {
  EXPECT_EQ(UsageErrorOf({"a.mof"}), "give --database PATH or --sql");
  EXPECT_EQ(UsageErrorOf({"--sql"}), "no MOF file given");
  EXPECT_EQ(UsageErrorOf({"--sql", "--database", "d", "a"}), "--database and --sql exclude each other");
  EXPECT_EQ(UsageErrorOf({"--database"}), "--database needs a value");
  EXPECT_EQ(UsageErrorOf({"--database", "a", "--database", "b", "c"}), "--database is given twice");
  EXPECT_EQ(UsageErrorOf({"--database="}), "--database needs a file name");
  EXPECT_EQ(UsageErrorOf({"--sql", "--namespace", "", "a"}), "--namespace needs a namespace name");
  EXPECT_EQ(UsageErrorOf({"--sql=1", "a"}), "--sql takes no value");
  EXPECT_EQ(UsageErrorOf({"--sql", "-x", "a"}), "unknown option -x");
}

}  // namespace
