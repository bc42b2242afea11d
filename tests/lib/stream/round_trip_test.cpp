// Round trips host → client for every request type: real platform objects → getResponseStruct →
// serializeResponse → frame → the matching tokenizer, fed the stream in two pieces cut at every
// byte boundary (inside "CMPI_EOF" and the control frames too) and in one piece. The caller must
// receive equivalent objects (written back as document text and compared), the same statuses,
// and the operation must end as its control frame says.
#include <cmpimacs.h>
#include <cmpiutility/response.h>
#include <cmpiutility/stream.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "response_objects.h"
#include "stream_helpers.h"

namespace {

using namespace resptest;
using namespace streamtest;
using cmpiutility::status_code;

// ---- the host side --------------------------------------------------------------------------------

// The frame serializeResponse writes for a record made by getResponseStruct.
std::string host_frame(int type, CMPIInstance *inst, CMPIObjectPath *path, CMPIStatus *status,
                       CMPIConstClass *cls = nullptr, CMPIArgs *args = nullptr,
                       CMPIType retType = 0) {
  ServerResp *resp = nullptr;
  CMPIValue retVal;
  retVal.args = args;
  EXPECT_EQ(getResponseStruct(&resp, type, inst, path, retVal, retType, status, cls), 0);
  std::vector<char> fixed(FRAME_BUFFER_SIZE, '\0');
  char *method = nullptr;
  void *buffer = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(serializeResponse(resp, fixed.data(), &method, &length, &buffer), 0);
  std::string text;
  if (buffer != nullptr) {
    text = static_cast<char *>(buffer);
  } else if (method != nullptr) {
    text = method;
  } else {
    text = fixed.data();
  }
  if (buffer != nullptr || method != nullptr) {
    EXPECT_EQ(length, text.size());
  }
  free(buffer);
  free(method);
  releaseResponseData(resp);
  return text;
}

// ---- the client side ------------------------------------------------------------------------------

// One operation as its caller drives it: feeds pieces to the member and sums up what it got.
class Client {
 public:
  virtual ~Client() = default;
  virtual void feed(const std::string &piece) = 0;
  // What the caller holds after the stream: delivered objects as text, statuses, completion.
  virtual std::string summary() = 0;

  // Whether the caller stops reading: the completion flag or a non-zero code returned. (The
  // callers of the two set members decide by the status they receive; they read on here.)
  bool done() const { return complete != 0 || !codes.empty(); }

  Slot slot;
  uint32_t complete = 0;
  std::vector<int> codes;  // non-zero codes the member returned

 protected:
  void returned(CMPIStatus st) {
    if (status_code(st) != 0) codes.push_back(status_code(st));
  }
  std::string ending() const {
    std::string out = ";complete=" + std::to_string(complete) + ";codes=";
    for (int code : codes) out += std::to_string(code) + ",";
    return out;
  }
  static std::string message(CMPIStatus &st) {
    std::string text = st.msg != nullptr ? CMGetCharPtr(st.msg) : "NULL";
    if (st.msg != nullptr) CMRelease(st.msg);
    st.msg = nullptr;
    return text;
  }
};

class GetClient : public Client {
 public:
  ~GetClient() override {
    if (result_ != nullptr) CMRelease(result_);
  }
  void feed(const std::string &piece) override {
    CMPIStatus st = CMUtilGETStringTokenize(piece.c_str(), &result_, &slot, &complete);
    if (st.msg != nullptr) message_ = message(st);
    returned(st);
  }
  std::string summary() override {
    return instance_text(result_) + ";message=" + message_ + ending();
  }

 private:
  CMPIInstance *result_ = nullptr;
  std::string message_ = "NULL";
};

class GetClassClient : public Client {
 public:
  ~GetClassClient() override { release_class(result_); }
  void feed(const std::string &piece) override {
    CMPIStatus st = CMUtilGETClassStringTokenize(piece.c_str(), &result_, &slot, &complete);
    if (st.msg != nullptr) message_ = message(st);
    returned(st);
  }
  std::string summary() override {
    return class_text(result_) + ";message=" + message_ + ending();
  }

 private:
  CMPIConstClass *result_ = nullptr;
  std::string message_ = "NULL";
};

class SetClient : public Client {
 public:
  ~SetClient() override {
    if (status_.msg != nullptr) CMRelease(status_.msg);
  }
  void feed(const std::string &piece) override {
    // The caller takes each message it is given before the next call.
    if (status_.msg != nullptr) message_ = message(status_);
    CMUtilSETStringTokenize(piece.c_str(), &slot, &status_);
  }
  std::string summary() override {
    if (status_.msg != nullptr) message_ = message(status_);
    return "status=" + std::to_string(status_code(status_)) + ";message=" + message_ + ending();
  }

 private:
  CMPIStatus status_ = {CMPI_RC_OK, nullptr};
  std::string message_ = "NULL";
};

class CreateClient : public Client {
 public:
  ~CreateClient() override {
    if (status_.msg != nullptr) CMRelease(status_.msg);
  }
  void feed(const std::string &piece) override {
    if (status_.msg != nullptr) message_ = message(status_);
    returned(CMUtilCreateInstStringTokenize(piece.c_str(), nullptr, &slot, &status_));
  }
  std::string summary() override {
    if (status_.msg != nullptr) message_ = message(status_);
    return "status=" + std::to_string(status_code(status_)) + ";message=" + message_ + ending();
  }

 private:
  CMPIStatus status_ = {CMPI_RC_OK, nullptr};
  std::string message_ = "NULL";
};

class InvokeClient : public Client {
 public:
  ~InvokeClient() override { CMRelease(out_); }
  void feed(const std::string &piece) override {
    returned(CMUtilInvokeStringTokenize(piece.c_str(), out_, &retType_, &slot, &complete));
  }
  std::string summary() override {
    return args_text(out_) + ";retType=" + std::to_string(retType_) + ending();
  }

 private:
  CMPIArgs *out_ = makeNewCMPIArgs(nullptr);
  uint32_t retType_ = 0;
};

class EnumClient : public Client {
 public:
  explicit EnumClient(CMPIType element) : array_(makeNewCMPIArray(0, element, nullptr)) {}
  ~EnumClient() override { CMRelease(array_); }
  void feed(const std::string &piece) override {
    returned(CMUtilEnumStringTokenize(piece.c_str(), array_, &slot, &complete));
  }
  std::string summary() override {
    std::string text;
    const CMPICount count = CMGetArrayCount(array_, nullptr);
    for (CMPICount i = 0; i < count; ++i) {
      CMPIData e = CMGetArrayElementAt(array_, i, nullptr);
      text += e.type == CMPI_ref ? path_text(e.value.ref) : instance_text(e.value.inst);
      text += "|";
      cmpiReleaseCMPIValue(e.type, &e.value);
    }
    return text + ending();
  }

 private:
  CMPIArray *array_;
};

// ---- the cases --------------------------------------------------------------------------------------

struct Ending {
  std::string frame;  // appended to the data frames
  bool control;       // the member ends the operation on it
  std::string summary;  // what it adds to the summary
};

std::vector<Ending> endings(bool knows_completion) {
  std::vector<Ending> all = {{"CMPIERROR:12CMPI_EOF", true, ";complete=0;codes=12,"},
                             {"CMPIERROR 0x10CMPI_EOF", true, ";complete=0;codes=16,"},
                             {"CMPIERROR:010CMPI_EOF", true, ";complete=0;codes=8,"}};
  if (knows_completion) {
    all.push_back({kComplete, true, ";complete=1;codes="});
  } else {
    all.push_back({"", false, ";complete=0;codes="});
  }
  return all;
}

struct Case {
  std::string name;
  std::vector<std::string> frames;
  std::function<std::unique_ptr<Client>()> client;
  bool knows_completion;
  std::string delivered;  // the summary up to the ending
  // For the set members, an error frame's code lands in the caller's status instead.
  bool error_code_in_status = false;
};

// The carry-over slot the caller must see after feeding the first k bytes of the stream.
std::string expected_slot(const std::string &stream, size_t k, size_t control_end) {
  if (control_end != std::string::npos && control_end <= k) return "<NULL>";
  size_t start = 0;
  for (size_t at = stream.find(kEof); at != std::string::npos && at + 8 <= k;
       at = stream.find(kEof, at + 8)) {
    start = at + 8;
  }
  return start == k ? "<NULL>" : stream.substr(start, k - start);
}

void run_case(const Case &c) {
  Quiet quiet;
  for (const Ending &ending : endings(c.knows_completion)) {
    std::string data;
    for (const std::string &f : c.frames) data += f;
    const std::string stream = data + ending.frame;
    const size_t control_end = ending.control ? stream.size() : std::string::npos;
    std::string expected = c.delivered + ending.summary;
    if (c.error_code_in_status && ending.frame.rfind("CMPIERROR", 0) == 0) {
      // The set member writes the error code into the caller's status and returns nothing.
      const std::string code = ending.summary.substr(ending.summary.find("codes=") + 6);
      const std::string plain = code.substr(0, code.size() - 1);
      expected = "status=" + plain + c.delivered.substr(c.delivered.find(';')) +
                 ";complete=0;codes=";
    }
    for (size_t k = 0; k <= stream.size(); ++k) {
      std::unique_ptr<Client> client = c.client();
      client->feed(stream.substr(0, k));
      ASSERT_EQ(client->slot.text(), expected_slot(stream, k, control_end))
          << c.name << " cut at " << k << " of " << stream;
      if (!client->done()) client->feed(stream.substr(k));
      ASSERT_EQ(client->slot.text(), "<NULL>") << c.name << " cut at " << k;
      ASSERT_EQ(client->summary(), expected) << c.name << " cut at " << k << " of " << stream;
    }
  }
}

// Reference keys are echoed to standard output each time one is written; the echo is kept out
// of the test output (and shown when a test fails).
class RoundTrip : public ::testing::Test {
 protected:
  void SetUp() override { testing::internal::CaptureStdout(); }
  void TearDown() override {
    const std::string echoed = testing::internal::GetCapturedStdout();
    if (HasFailure()) std::fputs(echoed.c_str(), stdout);
    for (CMPIInstance *inst : instances) CMRelease(inst);
    for (CMPIObjectPath *path : paths) CMRelease(path);
    for (CMPIStatus &st : statuses) {
      if (st.msg != nullptr) CMRelease(st.msg);
    }
  }
  CMPIInstance *keep(CMPIInstance *inst) {
    instances.push_back(inst);
    return inst;
  }
  CMPIObjectPath *keep(CMPIObjectPath *path) {
    paths.push_back(path);
    return path;
  }
  CMPIStatus *keep(CMPIStatus st) {
    statuses.push_back(st);
    return &statuses.back();
  }
  std::string text_of(CMPIInstance *inst) { return instance_text(inst); }

  std::vector<CMPIInstance *> instances;
  std::vector<CMPIObjectPath *> paths;
  std::vector<CMPIStatus> statuses;
};

TEST_F(RoundTrip, EnumerationsOfInstances) {
  statuses.reserve(8);
  for (int type : {ENUMINST, ASSOCIATORS, EXECQUERY}) {
    CMPIInstance *fan = keep(fan_instance());
    CMPIInstance *small = keep(small_instance());
    Case c;
    c.name = "instances of type " + std::to_string(type);
    c.frames = {host_frame(type, fan, nullptr, nullptr), host_frame(type, small, nullptr, nullptr)};
    c.client = [] { return std::make_unique<EnumClient>(CMPI_instance); };
    c.knows_completion = true;
    c.delivered = text_of(fan) + "|" + text_of(small) + "|";
    run_case(c);
  }
}

TEST_F(RoundTrip, EnumerationOfInstanceNames) {
  CMPIObjectPath *fan = keep(fan_path());
  CMPIObjectPath *system = keep(system_path());
  Case c;
  c.name = "instance names";
  c.frames = {host_frame(ENUMINSTNAMES, nullptr, fan, nullptr),
              host_frame(ENUMINSTNAMES, nullptr, system, nullptr)};
  c.client = [] { return std::make_unique<EnumClient>(CMPI_ref); };
  c.knows_completion = true;
  c.delivered = path_text(fan) + "|" + path_text(system) + "|";
  run_case(c);
}

TEST_F(RoundTrip, GetInstance) {
  statuses.reserve(8);
  CMPIInstance *fan = keep(fan_instance());
  Case c;
  c.name = "get instance";
  c.frames = {host_frame(GETINST, fan, nullptr, keep(status_of(CMPI_RC_OK)))};
  c.client = [] { return std::make_unique<GetClient>(); };
  c.knows_completion = true;
  c.delivered = text_of(fan) + ";message=NULL";
  run_case(c);
}

// Code 4 brings its message back; another code arrives without it and ends the operation by
// itself, so any control frame behind it is never looked at.
TEST_F(RoundTrip, FailedGetInstance) {
  statuses.reserve(8);
  CMPIInstance *fan = keep(fan_instance());
  struct Variant {
    CMPIrc code;
    const char *message;
    std::string delivered;
  };
  for (const Variant &v : {Variant{CMPI_RC_ERR_INVALID_PARAMETER, "bad key",
                                   "<no instance>;message=bad key;complete=0;codes=4,"},
                           Variant{CMPI_RC_ERR_NOT_FOUND, "no such disk",
                                   "<no instance>;message=NULL;complete=0;codes=6,"}}) {
    const std::string data = host_frame(GETINST, fan, nullptr, keep(status_of(v.code, v.message)));
    Quiet quiet;
    for (const std::string &tail : {std::string(kComplete), std::string("CMPIERROR:12CMPI_EOF")}) {
      const std::string stream = data + tail;
      for (size_t k = 0; k <= stream.size(); ++k) {
        GetClient client;
        client.feed(stream.substr(0, k));
        if (!client.done()) client.feed(stream.substr(k));
        ASSERT_EQ(client.slot.text(), "<NULL>");
        ASSERT_EQ(client.summary(), v.delivered) << "cut at " << k;
      }
    }
  }
}

TEST_F(RoundTrip, ModifyAndDeleteInstance) {
  statuses.reserve(8);
  for (int type : {MODIFYINST, DELETEINST}) {
    Case c;
    c.name = "set instance of type " + std::to_string(type);
    c.frames = {host_frame(type, nullptr, nullptr,
                           keep(status_of(CMPI_RC_ERR_ACCESS_DENIED, "not yours")))};
    c.client = [] { return std::make_unique<SetClient>(); };
    c.knows_completion = false;
    c.delivered = "status=2;message=not yours";
    c.error_code_in_status = true;
    run_case(c);
  }
}

TEST_F(RoundTrip, InvokeMethod) {
  CMPIArgs *args = method_args();
  Case c;
  c.name = "invoke method";
  c.frames = {host_frame(INVOKEMETHOD, nullptr, nullptr, nullptr, nullptr, args, CMPI_uint32)};
  c.client = [] { return std::make_unique<InvokeClient>(); };
  c.knows_completion = true;
  c.delivered = args_text(args) + ";retType=160";
  run_case(c);
  CMRelease(args);
}

TEST_F(RoundTrip, CreateInstance) {
  statuses.reserve(8);
  CMPIObjectPath *fan = keep(fan_path());
  Case with_path;
  with_path.name = "create instance";
  with_path.frames = {host_frame(CREATEINST, nullptr, fan, keep(status_of(CMPI_RC_OK)))};
  with_path.client = [] { return std::make_unique<CreateClient>(); };
  with_path.knows_completion = false;
  with_path.delivered = "status=0;message=NULL";
  run_case(with_path);

  Case without_path = with_path;
  without_path.name = "create instance that exists";
  without_path.frames = {host_frame(CREATEINST, nullptr, nullptr,
                                    keep(status_of(CMPI_RC_ERR_ALREADY_EXISTS, "exists")))};
  without_path.delivered = "status=11;message=exists";
  run_case(without_path);
}

TEST_F(RoundTrip, GetClass) {
  CMPIConstClass *cls = fan_class();
  Case c;
  c.name = "get class";
  c.frames = {host_frame(GETCLASS, nullptr, nullptr, nullptr, cls)};
  c.client = [] { return std::make_unique<GetClassClient>(); };
  c.knows_completion = true;
  c.delivered = class_text(cls) + ";message=NULL";
  run_case(c);
  release_class(cls);
}

// GetClass with code 4 gets the code's digits as message; another code no message. Either ends
// the operation.
TEST_F(RoundTrip, FailedGetClass) {
  statuses.reserve(8);
  for (CMPIrc code : {CMPI_RC_ERR_INVALID_PARAMETER, CMPI_RC_ERR_INVALID_CLASS}) {
    const std::string data =
        host_frame(GETCLASS, nullptr, nullptr, keep(status_of(code, "no such class")));
    const std::string expected =
        std::string("<no class>;message=") + (code == 4 ? "4" : "NULL") +
        ";complete=0;codes=" + std::to_string(code) + ",";
    const std::string stream = data + kComplete;
    Quiet quiet;
    for (size_t k = 0; k <= stream.size(); ++k) {
      GetClassClient client;
      client.feed(stream.substr(0, k));
      if (!client.done()) client.feed(stream.substr(k));
      ASSERT_EQ(client.slot.text(), "<NULL>");
      ASSERT_EQ(client.summary(), expected) << "cut at " << k;
    }
  }
}

}  // namespace
