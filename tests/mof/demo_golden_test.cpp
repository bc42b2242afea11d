// share/demo-classes.sql is what cmpi-mof prints for share/demo.mof, to the byte.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "tool_runner.h"

namespace {

TEST(MofDemo, DemoClassesSqlIsGeneratedFromDemoMof) {
  // Run from the source folder with the relative path, as the file's first line says.
  const moftest::ToolResult result = moftest::RunTool({"--sql", "share/demo.mof"}, SOURCE_DIR);
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  std::ifstream in(std::string(SOURCE_DIR) + "/share/demo-classes.sql", std::ios::binary);
  std::stringstream committed;
  committed << in.rdbuf();
  EXPECT_TRUE(committed.str() == result.out)
      << "share/demo-classes.sql is not what cmpi-mof makes of share/demo.mof. Regenerate it "
         "from the source folder with\n  "
      << MOF_BINARY << " --sql share/demo.mof > share/demo-classes.sql\nand commit both files.";
}

TEST(MofDemo, DemoMofDeclaresTheDemoClassesAndTheirProvider) {
  moftest::TempDir dir;
  const std::string db = dir.path() + "/schema.db";
  const moftest::ToolResult result =
      moftest::RunTool({"--database", db, std::string(SOURCE_DIR) + "/share/demo.mof"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(moftest::Rows(db, "SELECT * FROM Tbl_ClassMetadata ORDER BY ClassName"),
            (std::vector<std::string>{"Demo_Chassis|DemoProvider|root/cimv2|0",
                                      "Demo_ChassisFan|DemoProvider|root/cimv2|0",
                                      "Demo_Fan|DemoProvider|root/cimv2|0"}));
  EXPECT_EQ(moftest::Rows(db, "SELECT * FROM Tbl_Class ORDER BY ClassName"),
            (std::vector<std::string>{"Demo_Chassis|NULL|root/cimv2|0|0",
                                      "Demo_ChassisFan|NULL|root/cimv2|1|0",
                                      "Demo_Fan|NULL|root/cimv2|0|0",
                                      "Demo_Sensor|NULL|root/cimv2|0|0"}));
  EXPECT_EQ(moftest::Rows(db, "SELECT PropertyName, DataType, ReferenceClass FROM "
                              "Tbl_ClassProperty WHERE DataType IN (4096, 4352) ORDER BY 1"),
            (std::vector<std::string>{"Chassis|4352|Demo_Chassis",
                                      "GroupComponent|4352|Demo_Chassis",
                                      "PartComponent|4352|Demo_Fan", "Sensor|4096|NULL"}));
}

}  // namespace
