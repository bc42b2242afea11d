// The request frames the program writes: one terminator, at the end, whatever text the values,
// keys, arguments and queries hold; and the library's own request parser reads every text back.
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cli_error.h"
#include "cmpi_build.h"
#include "path_syntax.h"
#include "request_frame.h"
#include "value_syntax.h"
#include "value_text.h"

namespace {

using cli::OwnedData;

// Texts that end a frame early, or look like the pieces of one, if they reach the wire as written.
const std::vector<std::string> kAwkwardTexts = {
    "xCMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF",
    "CMPI_EO",
    "MPI_EOF",
    "CMPI_EOFCMPI_EO",
    "CMPIERROR:1",
    "CMPIOPERATION_COMPLETE",
    "CMPI_EOF",
    "CMPI_EOFCMPI_EOF",
    "CMPI_EOFCMPIERROR:1CMPI_EOF",
};

int occurrences(const std::string &text, const std::string &needle) {
  int n = 0;
  for (std::size_t at = text.find(needle); at != std::string::npos;
       at = text.find(needle, at + needle.size())) {
    ++n;
  }
  return n;
}

struct RecordReleaser {
  void operator()(ClientReq *req) const { releaseRequestData(req); }
};
using RecordPtr = std::unique_ptr<ClientReq, RecordReleaser>;

// A parsed request record and its fields, copied out of the packed record (whose pointers sit
// at addresses a reference may not bind to).
struct Parsed {
  RecordPtr record;
  int type = 0;
  CMPIObjectPath *cop = nullptr;
  CMPIInstance *inst = nullptr;
  CMPIArgs *args = nullptr;
  const char *text = nullptr;  // the method name or the query
};

// Checks that frame has exactly one terminator, at its end, and parses the document before it
// with the library's request parser.
Parsed parse_frame(const std::string &frame) {
  EXPECT_EQ(occurrences(frame, "CMPI_EOF"), 1) << frame;
  EXPECT_GE(frame.size(), 8u);
  EXPECT_EQ(frame.substr(frame.size() - 8), "CMPI_EOF") << frame;
  const std::string document = frame.substr(0, frame.size() - 8);
  Parsed parsed;
  parsed.record.reset(doDeserialization(document.c_str()));
  if (ClientReq *req = parsed.record.get()) {
    parsed.type = req->type;
    parsed.cop = req->COP;
    parsed.inst = req->CI;
    parsed.args = req->ArgsIn;
    parsed.text = req->QueryString;
  }
  return parsed;
}

std::string string_datum(CMPIData data) {
  OwnedData d(data);
  EXPECT_EQ(d.type(), CMPI_string);
  if (d.type() != CMPI_string || d.is_null()) return "<not a string>";
  return cli::text_of(d.value().string);
}

std::string key_of(const CMPIObjectPath *path, const char *name) {
  return string_datum(CMGetKey(path, name, nullptr));
}

cli::PathPtr path_of(const std::string &text) {
  return cli::build_path(cli::parse_path(text), "root/cimv2");
}

// "Demo_Chassis.Tag=\"<text>\"" with the quote and backslash escaped as the path syntax wants.
std::string chassis_path(const std::string &tag) {
  std::string quoted;
  for (char c : tag) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return "Demo_Chassis.Tag=\"" + quoted + "\"";
}

TEST(RequestFrame, CreateCarriesPropertyKeyAndArrayTextsExactly) {
  for (const std::string &text : kAwkwardTexts) {
    SCOPED_TRACE(text);
    const cli::ParsedPath parsed = cli::parse_path(chassis_path(text));
    const std::vector<cli::ParsedValue> values = {
        cli::parse_value("Model=" + text),
        cli::parse_value("Tags:string[]=[a, \"" + text + "\", " + text + "]")};
    cli::PathPtr path = cli::build_path(parsed, "root/cimv2");
    cli::InstancePtr inst(makeNewCMPIInstance(path.get(), nullptr));
    ASSERT_TRUE(inst);
    cli::set_key_properties(inst.get(), parsed, values, "root/cimv2");
    for (const cli::ParsedValue &value : values) cli::set_property(inst.get(), value, "root/cimv2");
    cli::Request request("root", CREATEINST, std::move(path), std::move(inst), nullptr, nullptr,
                         "");
    Parsed got = parse_frame(request.frame());
    ASSERT_TRUE(got.record);
    EXPECT_EQ(got.type, CREATEINST);
    ASSERT_NE(got.inst, nullptr);
    EXPECT_EQ(string_datum(CMGetProperty(got.inst, "Model", nullptr)), text);
    EXPECT_EQ(string_datum(CMGetProperty(got.inst, "Tag", nullptr)), text);
    OwnedData tags(CMGetProperty(got.inst, "Tags", nullptr));
    ASSERT_EQ(tags.type(), CMPI_string | CMPI_ARRAY);
    ASSERT_EQ(CMGetArrayCount(tags.value().array, nullptr), 3u);
    EXPECT_EQ(string_datum(CMGetArrayElementAt(tags.value().array, 1, nullptr)), text);
    EXPECT_EQ(string_datum(CMGetArrayElementAt(tags.value().array, 2, nullptr)), text);
    ASSERT_NE(got.cop, nullptr);
    EXPECT_EQ(key_of(got.cop, "Tag"), text);
  }
}

TEST(RequestFrame, GetCarriesTheKeyExactly) {
  // GetInstance frames go through the library's fixed buffer rather than the growing one.
  for (const std::string &text : kAwkwardTexts) {
    SCOPED_TRACE(text);
    cli::Request request("root", GETINST, path_of(chassis_path(text)), nullptr, nullptr, nullptr,
                         "");
    Parsed got = parse_frame(request.frame());
    ASSERT_TRUE(got.record);
    ASSERT_NE(got.cop, nullptr);
    EXPECT_EQ(key_of(got.cop, "Tag"), text);
  }
}

TEST(RequestFrame, InvokeCarriesArgumentsAndTheMethodNameExactly) {
  for (const std::string &text : kAwkwardTexts) {
    SCOPED_TRACE(text);
    cli::ArgsPtr args(makeNewCMPIArgs(nullptr));
    ASSERT_TRUE(args);
    cli::add_argument(args.get(), cli::parse_value("Note=" + text), "root/cimv2");
    cli::Request request("root", INVOKEMETHOD, path_of("Demo_Fan"), nullptr, std::move(args),
                         nullptr, "CMPI_EOF");
    Parsed got = parse_frame(request.frame());
    ASSERT_TRUE(got.record);
    ASSERT_NE(got.args, nullptr);
    EXPECT_EQ(string_datum(CMGetArg(got.args, "Note", nullptr)), text);
    ASSERT_NE(got.text, nullptr);
    EXPECT_STREQ(got.text, "CMPI_EOF");
  }
}

TEST(RequestFrame, QueryIsCarriedExactly) {
  for (const std::string &text : kAwkwardTexts) {
    SCOPED_TRACE(text);
    const std::string query = "SELECT * FROM Demo_Chassis WHERE Model = '" + text + "'";
    cli::Request request("root", EXECQUERY, path_of("Demo_Chassis"), nullptr, nullptr, nullptr,
                         query);
    Parsed got = parse_frame(request.frame());
    ASSERT_TRUE(got.record);
    ASSERT_NE(got.text, nullptr);
    EXPECT_EQ(std::string(got.text), query);
  }
}

TEST(RequestFrame, OrdinaryFramesAreWrittenAsTheLibraryWritesThem) {
  cli::Request request("root", GETINST, path_of("Demo_Chassis.Tag=\"chassis0\""), nullptr,
                       nullptr, nullptr, "");
  EXPECT_EQ(request.frame(),
            "{\"ClassName\":\"Demo_Chassis\",\"NameSpace\":\"root/cimv2\",\"Principal\":\"root\","
            "\"RequestType\":3,\"key\":\"Tag=chassis0,\"}CMPI_EOF");
  cli::Request guarded("root", GETINST, path_of("Demo_Chassis.Tag=\"aCMPI_EOFb\""), nullptr,
                       nullptr, nullptr, "");
  EXPECT_EQ(guarded.frame(),
            "{\"ClassName\":\"Demo_Chassis\",\"NameSpace\":\"root/cimv2\",\"Principal\":\"root\","
            "\"RequestType\":3,\"key\":\"Tag=aCMPI\\u005fEOFb,\"}CMPI_EOF");
}

TEST(RequestFrame, TheLengthLimitCountsTheDocumentAsTheLibraryWritesIt) {
  // 900 terminators in the query: the library's document stays below its 8181 characters, the
  // guarded frame grows past them and is sent whole.
  std::string texts;
  for (int i = 0; i < 900; ++i) texts += "CMPI_EOF";
  const std::string query = "SELECT * FROM Demo_Chassis WHERE Model = '" + texts + "'";
  cli::Request request("root", EXECQUERY, path_of("Demo_Chassis"), nullptr, nullptr, nullptr,
                       query);
  const std::string frame = request.frame();
  EXPECT_GT(frame.size(), 8181u + 8u);
  Parsed got = parse_frame(frame);
  ASSERT_TRUE(got.record);
  ASSERT_NE(got.text, nullptr);
  EXPECT_EQ(std::string(got.text), query);
  // A document the library cuts is still refused.
  cli::Request too_long("root", EXECQUERY, path_of("Demo_Chassis"), nullptr, nullptr, nullptr,
                        query + std::string(1000, 'x'));
  EXPECT_THROW(too_long.frame(), cli::UsageError);
}

}  // namespace
