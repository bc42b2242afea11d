// Tests of the class hierarchy a worker reads from the schema database, and of the routing of
// operations over it.
#include "class_graph.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "routing.h"
#include "temp_dir.h"

namespace hostd {
namespace {

using Names = std::vector<std::string>;

// CIM_Device above Test_Disk and Test_Fan; Test_Link links a Test_Rack and a CIM_Device;
// Test_FanLink (a Test_Link) narrows Device to Test_Fan; Test_Orphan has a superclass the
// database does not list.
ClassGraph sample() {
  ClassGraph g;
  g.add_class("CIM_Device", "", false);
  g.add_class("Test_Disk", "CIM_Device", false);
  g.add_class("Test_Fan", "cim_device", false);
  g.add_class("Test_Rack", "", false);
  g.add_class("Test_Link", "", true);
  g.add_class("Test_FanLink", "Test_Link", false);
  g.add_class("Test_Orphan", "Missing_Base", false);
  g.add_reference("Test_Link", "Rack", "Test_Rack");
  g.add_reference("Test_Link", "Device", "CIM_Device");
  g.add_reference("Test_FanLink", "Device", "Test_Fan");
  for (const char *cls : {"Test_Disk", "Test_Fan", "Test_Rack", "Test_Link", "Test_FanLink"}) {
    g.add_provider(cls);
  }
  return g;
}

TEST(ClassGraph, IsAWalksTheSuperclassesWithoutRegardToCase) {
  ClassGraph g = sample();
  EXPECT_TRUE(g.is_a("Test_Disk", "CIM_Device"));
  EXPECT_TRUE(g.is_a("test_disk", "cim_DEVICE"));
  EXPECT_TRUE(g.is_a("Test_Disk", "Test_Disk"));
  EXPECT_FALSE(g.is_a("CIM_Device", "Test_Disk"));
  EXPECT_FALSE(g.is_a("Test_Rack", "CIM_Device"));
  EXPECT_TRUE(g.is_a("Test_Orphan", "Missing_Base")) << "a declared superclass counts";
  EXPECT_TRUE(g.is_a("Unknown_Class", "unknown_class")) << "names alone decide for the unknown";
  EXPECT_FALSE(g.is_a("Unknown_Class", "CIM_Device"));
}

TEST(ClassGraph, AncestorsAreNearestFirstAndDescendantsSortedByName) {
  ClassGraph g = sample();
  EXPECT_EQ(g.ancestors("Test_FanLink"), (Names{"Test_Link"}));
  EXPECT_EQ(g.ancestors("Test_Orphan"), (Names{"missing_base"}));
  EXPECT_EQ(g.descendants("CIM_Device"), (Names{"Test_Disk", "Test_Fan"}));
  EXPECT_TRUE(g.descendants("Test_Disk").empty());
}

TEST(ClassGraph, ACycleInAHandWrittenDatabaseEndsTheWalk) {
  ClassGraph g;
  g.add_class("A", "B", false);
  g.add_class("B", "A", false);
  EXPECT_LE(g.ancestors("A").size(), static_cast<std::size_t>(ClassGraph::kMaxDepth));
  EXPECT_TRUE(g.is_a("A", "B"));
  EXPECT_FALSE(g.is_a("A", "C"));
}

TEST(ClassGraph, ReferencesAreInheritedAndAnOwnPropertyReplacesTheInheritedOne) {
  ClassGraph g = sample();
  std::vector<ClassGraph::Reference> refs = g.references("Test_FanLink");
  ASSERT_EQ(refs.size(), 2u);
  EXPECT_EQ(refs[0].property, "Rack");
  EXPECT_EQ(refs[0].target, "Test_Rack");
  EXPECT_EQ(refs[1].property, "Device");
  EXPECT_EQ(refs[1].target, "Test_Fan");
  EXPECT_TRUE(g.is_association("Test_FanLink")) << "a subclass of an association is one";
  EXPECT_FALSE(g.is_association("Test_Disk"));
}

TEST(ClassGraph, AssociationsOfAClassAreThoseThatCanReferToIt) {
  ClassGraph g = sample();
  EXPECT_EQ(g.associations_of("Test_Disk"), (Names{"Test_Link"}));
  EXPECT_EQ(g.associations_of("Test_Fan"), (Names{"Test_FanLink", "Test_Link"}));
  EXPECT_EQ(g.associations_of("Test_Rack"), (Names{"Test_FanLink", "Test_Link"}));
  // A reference to a subclass can point at an instance named by its superclass.
  EXPECT_EQ(g.associations_of("CIM_Device"), (Names{"Test_FanLink", "Test_Link"}));
  EXPECT_TRUE(g.associations_of("Test_Orphan").empty());
}

TEST(ClassGraph, AnAssociationWithoutProviderIsNotAsked) {
  ClassGraph g;
  g.add_class("Test_Link", "", true);
  g.add_reference("Test_Link", "Rack", "Test_Rack");
  EXPECT_TRUE(g.associations_of("Test_Rack").empty());
  g.add_provider("Test_Link");
  EXPECT_EQ(g.associations_of("Test_Rack"), (Names{"Test_Link"}));
}

void run_sql(const std::string &path, const char *sql) {
  sqlite3 *db = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  char *error = nullptr;
  EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, &error), SQLITE_OK) << (error ? error : "");
  sqlite3_free(error);
  sqlite3_close(db);
}

TEST(ClassGraph, LoadReadsTheHierarchyReferencesAndProviders) {
  hostdtest::TempDir dir;
  const std::string db = dir.path() + "/schema.db";
  run_sql(db,
          "CREATE TABLE Tbl_ClassMetadata (ClassName TEXT, ProviderName TEXT, NameSpace TEXT, "
          "UnloadNever TEXT);"
          "CREATE TABLE Tbl_Class (ClassName TEXT, SuperClass TEXT, NameSpace TEXT, "
          "IsAssociation INTEGER, IsAbstract INTEGER);"
          "CREATE TABLE Tbl_ClassProperty (ClassName TEXT, PropertyName TEXT, DataType INTEGER, "
          "IsKey INTEGER, Position INTEGER, ReferenceClass TEXT, DefaultValue TEXT);"
          "INSERT INTO Tbl_Class VALUES ('CIM_Device', NULL, 'root/cimv2', 0, 1),"
          "('Test_Disk', 'CIM_Device', 'root/cimv2', 0, 0),"
          "('Test_Link', NULL, 'root/cimv2', 1, 0);"
          "INSERT INTO Tbl_ClassProperty VALUES ('Test_Link', 'Device', 4352, 1, 1, "
          "'CIM_Device', NULL), ('Test_Disk', 'Id', 5632, 1, 1, NULL, NULL);"
          "INSERT INTO Tbl_ClassMetadata VALUES ('Test_Disk', 'P', 'root/cimv2', '0'),"
          "('Test_Link', 'L', 'root/cimv2', '0'), ('Test_None', '', 'root/cimv2', '0');");
  ClassGraph g;
  std::string why;
  ASSERT_TRUE(g.load(db, &why)) << why;
  EXPECT_TRUE(g.is_a("Test_Disk", "CIM_Device"));
  EXPECT_TRUE(g.has_provider("test_disk"));
  EXPECT_FALSE(g.has_provider("CIM_Device"));
  EXPECT_FALSE(g.has_provider("Test_None")) << "an empty provider name is no provider";
  EXPECT_EQ(g.associations_of("Test_Disk"), (Names{"Test_Link"}));
  EXPECT_EQ(g.spelling("test_disk"), "Test_Disk");
}

TEST(ClassGraph, AnOlderDatabaseWithoutTheHierarchyReadsAsNamesOnly) {
  hostdtest::TempDir dir;
  const std::string db = dir.path() + "/schema.db";
  run_sql(db,
          "CREATE TABLE Tbl_ClassMetadata (ClassName TEXT, ProviderName TEXT, NameSpace TEXT, "
          "UnloadNever TEXT);"
          "INSERT INTO Tbl_ClassMetadata VALUES ('Demo_Fan', 'DemoProvider', 'root/cimv2', '0');");
  ClassGraph g;
  std::string why;
  ASSERT_TRUE(g.load(db, &why)) << why;
  EXPECT_TRUE(g.has_provider("Demo_Fan"));
  EXPECT_TRUE(g.ancestors("Demo_Fan").empty());
  EXPECT_TRUE(g.associations_of("Demo_Fan").empty());
}

TEST(ClassGraph, AMissingDatabaseIsAFailureThatSaysWhy) {
  ClassGraph g;
  std::string why;
  EXPECT_FALSE(g.load("/nonexistent/dir/schema.db", &why));
  EXPECT_NE(why.find("/nonexistent/dir/schema.db"), std::string::npos) << why;
}

// ---- routing -----------------------------------------------------------------------------------

MiRequest request(MiOperation op, const char *assoc_class = nullptr,
                  const char *result_class = nullptr) {
  MiRequest r;
  r.operation = op;
  r.assoc_class = assoc_class;
  r.result_class = result_class;
  return r;
}

std::vector<std::string> classes(const std::vector<Target> &targets) {
  std::vector<std::string> names;
  for (const Target &t : targets) {
    names.push_back(t.class_name + (t.same_path ? "" : "*") +
                    (t.association.empty() ? "" : "=" + t.association));
  }
  return names;
}

TEST(Routing, SingleInstanceOperationsGoToTheClassItself) {
  ClassGraph g = sample();
  for (MiOperation op : {MiOperation::kGetInstance, MiOperation::kCreateInstance,
                         MiOperation::kModifyInstance, MiOperation::kDeleteInstance,
                         MiOperation::kInvokeMethod}) {
    EXPECT_EQ(classes(plan_targets(g, "CIM_Device", request(op))), (Names{"CIM_Device"}));
  }
}

TEST(Routing, EnumerationsReachEverySubclassWithAProvider) {
  ClassGraph g = sample();
  EXPECT_EQ(classes(plan_targets(g, "CIM_Device", request(MiOperation::kEnumerateInstances))),
            (Names{"Test_Disk*", "Test_Fan*"}));
  EXPECT_EQ(classes(plan_targets(g, "Test_Disk", request(MiOperation::kExecQuery))),
            (Names{"Test_Disk"}));
  EXPECT_EQ(classes(plan_targets(g, "Test_Link",
                                 request(MiOperation::kEnumerateInstanceNames))),
            (Names{"Test_Link", "Test_FanLink*"}));
  EXPECT_EQ(classes(plan_targets(g, "Unknown", request(MiOperation::kEnumerateInstances))),
            (Names{"Unknown"}))
      << "a class the database does not list goes to its own look-up";
  ClassGraph bare;
  bare.add_class("Abstract_Only", "", false);
  EXPECT_TRUE(plan_targets(bare, "Abstract_Only", request(MiOperation::kEnumerateInstances))
                  .empty());
}

TEST(Routing, AssociatorsWithoutAnAssociationClassAskEveryAssociationThatCanReferToTheSource) {
  ClassGraph g = sample();
  EXPECT_EQ(classes(plan_targets(g, "Test_Fan", request(MiOperation::kAssociators))),
            (Names{"Test_FanLink=Test_FanLink", "Test_Link=Test_Link"}));
  EXPECT_EQ(classes(plan_targets(g, "Test_Disk", request(MiOperation::kAssociatorNames))),
            (Names{"Test_Link=Test_Link"}));
  EXPECT_EQ(classes(plan_targets(g, "Test_Fan", request(MiOperation::kAssociators, "Test_Link"))),
            (Names{"Test_Link"}));
  EXPECT_EQ(classes(plan_targets(g, "Test_Fan", request(MiOperation::kAssociators, ""))),
            (Names{"Test_FanLink=Test_FanLink", "Test_Link=Test_Link"}))
      << "an empty association class is none";
}

TEST(Routing, ReferencesHonourTheirResultClass) {
  ClassGraph g = sample();
  EXPECT_EQ(classes(plan_targets(g, "Test_Disk",
                                 request(MiOperation::kReferences, nullptr, "Test_FanLink"))),
            (Names{"Test_FanLink"}));
  EXPECT_EQ(classes(plan_targets(g, "Test_Disk", request(MiOperation::kReferenceNames))),
            (Names{"Test_Link=Test_Link"}));
}

TEST(Routing, WithoutKnownAssociationsTheSourceClassProviderIsAsked) {
  ClassGraph empty;
  EXPECT_EQ(classes(plan_targets(empty, "Demo_Chassis", request(MiOperation::kAssociators))),
            (Names{"Demo_Chassis"}));
  EXPECT_EQ(classes(plan_targets(empty, "Demo_Chassis", request(MiOperation::kReferences))),
            (Names{"Demo_Chassis"}));
}

}  // namespace
}  // namespace hostd
