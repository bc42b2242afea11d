// request_quiet_test.cpp - standard output is silenced exactly for the request records that can
// make the library print, and nothing reaches it while any frame is written.
#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/request.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "cmpi_build.h"
#include "request_frame.h"

namespace {

// Everything a record is made of, made afresh for each of the two writers.
struct Parts {
  cli::PathPtr path;
  cli::InstancePtr inst;
  cli::ArgsPtr args;
  CMAssocReq *assoc = nullptr;
};

cli::PathPtr path(const char *cls, const char *tag) {
  cli::PathPtr p(makeNewObjectPath("root/cimv2", cls, nullptr));
  if (tag != nullptr) CMAddKey(p.get(), "Tag", tag, CMPI_chars);
  return p;
}

// A path whose key Chassis is a reference to Demo_Chassis.Tag="c0".
cli::PathPtr path_with_reference_key() {
  cli::PathPtr p(makeNewObjectPath("root/cimv2", "Demo_ChassisFan", nullptr));
  cli::PathPtr target = path("Demo_Chassis", "c0");
  CMPIValue v;
  v.ref = target.get();
  CMAddKey(p.get(), "Chassis", &v, CMPI_ref);
  return p;
}

// An instance with a string property and a reference property.
cli::InstancePtr instance_with_reference(const cli::PathPtr &of) {
  cli::InstancePtr inst(makeNewCMPIInstance(of.get(), nullptr));
  CMSetProperty(inst.get(), "Model", "m1", CMPI_chars);
  cli::PathPtr target = path("Demo_Chassis", "c0");
  CMPIValue v;
  v.ref = target.get();
  CMSetProperty(inst.get(), "Owner", &v, CMPI_ref);
  return inst;
}

cli::ArgsPtr arguments_with_reference() {
  cli::ArgsPtr args(makeNewCMPIArgs(nullptr));
  CMAddArg(args.get(), "Note", "CMPI_EOF inside", CMPI_chars);
  cli::PathPtr target = path("Demo_Chassis", "c0");
  CMPIValue v;
  v.ref = target.get();
  CMAddArg(args.get(), "Target", &v, CMPI_ref);
  return args;
}

CMAssocReq *assoc_of(const char *assoc_class) {
  auto *assoc = static_cast<CMAssocReq *>(std::calloc(1, sizeof(CMAssocReq)));
  assoc->AssocClass = assoc_class != nullptr ? strdup(assoc_class) : nullptr;
  return assoc;
}

struct Case {
  const char *name;
  int type;
  std::function<Parts()> make;
  std::string text;
  bool may_print;
};

std::vector<Case> cases() {
  return {
      {"GetInstance", GETINST, [] { return Parts{path("Demo_Chassis", "chassis0"), {}, {}, nullptr}; },
       "", false},
      {"GetInstance, terminator in the key", GETINST,
       [] { return Parts{path("Demo_Chassis", "aCMPI_EOFb"), {}, {}, nullptr}; }, "", false},
      {"GetInstance, reference key", GETINST,
       [] { return Parts{path_with_reference_key(), {}, {}, nullptr}; }, "", false},
      {"DeleteInstance", DELETEINST, [] { return Parts{path("Demo_Chassis", "x"), {}, {}, nullptr}; },
       "", false},
      {"EnumerateInstances", ENUMINST, [] { return Parts{path("Demo_Chassis", nullptr), {}, {}, nullptr}; },
       "", false},
      {"EnumerateInstanceNames", ENUMINSTNAMES,
       [] { return Parts{path("Demo_Chassis", nullptr), {}, {}, nullptr}; }, "", false},
      {"Associators", ASSOCIATORS,
       [] { return Parts{path("Demo_Chassis", "c0"), {}, {}, assoc_of("Demo_ChassisFan")}; }, "",
       false},
      {"ExecQuery", EXECQUERY, [] { return Parts{path("Demo_Chassis", nullptr), {}, {}, nullptr}; },
       "SELECT * FROM Demo_Chassis WHERE Model = 'CMPI_EOF'", false},
      {"CreateInstance, reference property", CREATEINST,
       [] {
         Parts p;
         p.path = path("Demo_Chassis", "new");
         p.inst = instance_with_reference(p.path);
         return p;
       },
       "", true},
      {"ModifyInstance, reference property", MODIFYINST,
       [] {
         Parts p;
         p.path = path("Demo_Chassis", "c0");
         p.inst = instance_with_reference(p.path);
         return p;
       },
       "", true},
      {"InvokeMethod, reference argument", INVOKEMETHOD,
       [] { return Parts{path("Demo_Fan", nullptr), {}, arguments_with_reference(), nullptr}; },
       "SetSpeed", true},
  };
}

// File descriptor 1 sent into a pipe while it lives; taken() ends that and returns what was
// written. Nothing may be asserted meanwhile: the test framework reports on standard output.
class CapturedStdout {
 public:
  CapturedStdout() {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    if (pipe2(pipe_, O_NONBLOCK) != 0) return;
    dup2(pipe_[1], STDOUT_FILENO);
  }
  ~CapturedStdout() { taken(); }
  std::string taken() {
    if (saved_ < 0) return text_;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    saved_ = -1;
    close(pipe_[1]);
    char buffer[4096];
    ssize_t n = 0;
    while ((n = read(pipe_[0], buffer, sizeof buffer)) > 0) text_.append(buffer, static_cast<std::size_t>(n));
    close(pipe_[0]);
    return text_;
  }

 private:
  int saved_ = -1;
  int pipe_[2] = {-1, -1};
  std::string text_;
};

TEST(RequestFrame, OnlyRecordsWithAnInstanceOrArgumentsMayPrint) {
  for (const Case &c : cases()) {
    Parts p = c.make();
    cli::Request request("alice", c.type, std::move(p.path), std::move(p.inst),
                       std::move(p.args), p.assoc, c.text);
    EXPECT_EQ(request.may_print(), c.may_print) << c.name;
  }
}

TEST(RequestFrame, NothingReachesStandardOutputWhileFramesAreWritten) {
  for (const Case &c : cases()) {
    SCOPED_TRACE(c.name);
    // What the library itself prints for this record, written without any silencing.
    std::string printed;
    {
      Parts p = c.make();
      ClientReq *req = nullptr;
      ASSERT_EQ(getClientReq(&req, "alice", c.type, p.path.release(), p.args.release(),
                             p.inst.release(), p.assoc, c.text.empty() ? nullptr : c.text.c_str()),
                0);
      char fixed[FRAME_BUFFER_SIZE];
      char *dynamic = static_cast<char *>(std::calloc(FRAME_BUFFER_SIZE, 1));
      CapturedStdout capture;
      const int rc = doSerialization(req, fixed, &dynamic);
      printed = capture.taken();
      std::free(dynamic);
      releaseRequestData(req);
      ASSERT_EQ(rc, 0);
    }
    // The rule request_frame.h relies on: the library prints for exactly the records with an
    // instance or arguments holding references (all of this table's that have either).
    EXPECT_EQ(!printed.empty(), c.may_print) << printed;

    Parts p = c.make();
    cli::Request request("alice", c.type, std::move(p.path), std::move(p.inst),
                       std::move(p.args), p.assoc, c.text);
    std::string frame;
    std::string leaked;
    {
      CapturedStdout capture;
      frame = request.frame();
      leaked = capture.taken();
    }
    EXPECT_FALSE(frame.empty());
    EXPECT_EQ(leaked, "");
  }
}

}  // namespace
