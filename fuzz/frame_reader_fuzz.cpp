// frame_reader_fuzz: deserializeResp's two readers on arbitrary document text. The frame view
// (FrameReader::kViewFirst, what deserializeResp uses) must give what the jsoncpp reading
// (FrameReader::kTree) gives: the same record (type, status, path, keys, instance), the same
// log lines and the same exception. Any difference aborts with both outcomes on stderr.
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/response.h>
#include <dlog.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "cmpi_describe.h"
#include "fuzz_setup.h"
#include "response/response_codec.h"

namespace {

using cmpiutility::FrameReader;

void collect(void *context, int level, int module, const char *text) {
  std::string &out = *static_cast<std::string *>(context);
  out += std::to_string(level) + "/" + std::to_string(module) + " " + text + "\n";
}

// Everything one reading leaves behind, as one text.
std::string read_frame(const std::string &text, FrameReader reader) {
  std::string out;
  ServerResp *record = nullptr;
  dlog_set_sink(&collect, &out);
  try {
    record = cmpiutility::deserialize_response(text.c_str(), reader);
  } catch (const std::exception &error) {
    out += std::string("exception: ") + error.what() + "\n";
  }
  dlog_set_sink(nullptr, nullptr);
  if (record == nullptr) return out + "no record\n";
  out += "type " + std::to_string(record->type) + " rc " +
         std::to_string(cmpiutility::status_code(record->status)) + "\n";
  if (record->status.msg != nullptr) {
    const char *chars = CMGetCharPtr(record->status.msg);
    out += std::string("message ") + (chars != nullptr ? chars : "<no chars>") + "\n";
  }
  out += "path " + cmpitest::describe_path(record->objectPath) + " " +
         cmpitest::describe_keys(record->objectPath) + "\n";
  if (record->instance != nullptr) {
    CMPIObjectPath *path = CMGetObjectPath(record->instance, nullptr);
    out += "instance " + cmpitest::describe_path(path) + " " +
           cmpitest::describe_properties(record->instance) + "\n";
    if (path != nullptr) CMRelease(path);
  }
  if (record->constClass != nullptr) {
    out += "class\n";
    record->constClass->ft->release(record->constClass);
  }
  if (record->type == INVOKEMETHOD && record->retVal.args != nullptr) {
    out += "args " + cmpitest::describe_args(record->retVal.args) + "\n";
    record->retVal.args->ft->release(record->retVal.args);
  }
  releaseClientResponseData(record);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  cmpifuzz::quiet_process();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  const std::string tree = read_frame(text, FrameReader::kTree);
  const std::string view = read_frame(text, FrameReader::kViewFirst);
  if (tree != view) {
    std::fprintf(stderr, "frame_reader_fuzz: the readers differ\n--- jsoncpp\n%s--- view\n%s",
                 tree.c_str(), view.c_str());
    std::abort();
  }
  return 0;
}
