// tokenizer_bench: CMUtilEnumStringTokenize on a stream of 10,000 EnumerateInstances frames of
// Demo_Fan-shaped instances (documents written by serializeResponse, about 1.9 KB each), ended by
// the completion frame, collected into a CMPI array as a client does.
//
//   Tokenizer/FramePerPiece    every frame arrives as a piece of its own (10,001 calls)
//   Tokenizer/OnePiece         all frames and the completion frame in one piece (one call)
//   Tokenizer/Pieces64K        the stream cut into 64 KiB pieces, as the client's read loop gets
//                              it from a busy socket (frames straddle the cuts)
//   Tokenizer/DecodeOnly       deserializeResp + releaseClientResponseData of the same documents,
//                              already cut out (what the codec alone costs)
//   Tokenizer/Floor            the least a tokenizer must do: find each "CMPI_EOF" with memmem,
//                              parse the document with jsoncpp and walk its properties
//
// One item is one frame; "per_frame" is the time per frame. Tokenizer minus DecodeOnly is the
// cost of splitting, of copying each instance into the array and of the array itself.
#include <benchmark/benchmark.h>
#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/response.h>
#include <cmpiutility/stream.h>
#include <json/json.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "bench_instances.h"
#include "bench_main.h"

namespace {

constexpr size_t kFrames = 10000;
constexpr size_t kPiece = 64 * 1024;
constexpr const char kComplete[] = "CMPIOPERATION_COMPLETECMPI_EOF";

struct Stream {
  std::vector<std::string> documents;  // without "CMPI_EOF"
  std::string text;                    // every frame and the completion frame
};

// Built once: 10,000 serializations take a while.
const Stream &stream() {
  static const Stream built = [] {
    Stream s;
    CMPIInstance *fan = bench::make_fan("fan0");
    for (size_t i = 0; i < kFrames; ++i) {
      const std::string id = "fan" + std::to_string(i);
      CMSetProperty(fan, "DeviceID", id.c_str(), CMPI_chars);
      s.documents.push_back(bench::response_document(fan, ENUMINST));
      s.text += s.documents.back();
      s.text += "CMPI_EOF";
    }
    CMRelease(fan);
    s.text += kComplete;
    return s;
  }();
  return built;
}

void report(benchmark::State &state) {
  const double frames = static_cast<double>(kFrames);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kFrames));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream().text.size()));
  state.counters["per_frame"] =
      benchmark::Counter(frames * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Feeds the pieces to the tokenizer; false unless every frame landed and the operation completed.
bool tokenize(const std::vector<std::string> &pieces) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_instance, nullptr);
  char *carry = nullptr;
  uint32_t complete = 0;
  int rc = 0;
  for (const std::string &piece : pieces) {
    CMPIStatus st = CMUtilEnumStringTokenize(piece.c_str(), array, &carry, &complete);
    rc = static_cast<int>(st.rc);
    if (st.msg != nullptr) CMRelease(st.msg);
    if (complete != 0 || rc != 0) break;
  }
  const bool good = complete == 1 && rc == 0 && CMGetArrayCount(array, nullptr) == kFrames;
  free(carry);
  CMRelease(array);
  return good;
}

void run_pieces(benchmark::State &state, const std::vector<std::string> &pieces) {
  if (!tokenize(pieces)) {
    state.SkipWithError("the tokenizer did not deliver every frame");
    return;
  }
  for (auto _ : state) {
    if (!tokenize(pieces)) state.SkipWithError("the tokenizer did not deliver every frame");
  }
  report(state);
}

void FramePerPiece(benchmark::State &state) {
  std::vector<std::string> pieces;
  for (const std::string &doc : stream().documents) pieces.push_back(doc + "CMPI_EOF");
  pieces.push_back(kComplete);
  run_pieces(state, pieces);
}

void OnePiece(benchmark::State &state) { run_pieces(state, {stream().text}); }

void Pieces64K(benchmark::State &state) {
  std::vector<std::string> pieces;
  const std::string &text = stream().text;
  for (size_t at = 0; at < text.size(); at += kPiece) pieces.push_back(text.substr(at, kPiece));
  run_pieces(state, pieces);
}

void DecodeOnly(benchmark::State &state) {
  const std::vector<std::string> &docs = stream().documents;
  for (auto _ : state) {
    for (const std::string &doc : docs) {
      ServerResp *resp = deserializeResp(doc.c_str());
      benchmark::DoNotOptimize(resp);
      releaseClientResponseData(resp);
    }
  }
  report(state);
}

uint64_t walk(const Json::Value &doc) {
  uint64_t sum = doc["RequestType"].asUInt();
  const char *begin = nullptr;
  const char *end = nullptr;
  const Json::Value &props = doc["InstanceProps"];
  for (auto it = props.begin(); it != props.end(); ++it) {
    const Json::Value &v = *it;
    sum += v["DataType"].asUInt() + v["DataState"].asUInt();
    const Json::Value &value = v.isMember("CMPIInstance") ? v["CMPIInstance"] : v["Value"];
    if (value.isString()) {
      value.getString(&begin, &end);
      sum += static_cast<uint64_t>(end - begin);
    } else if (value.isUInt64()) {
      sum += value.asUInt64();
    } else if (value.isDouble()) {
      sum += static_cast<uint64_t>(value.asDouble() * 8);
    } else if (value.isObject() || value.isArray()) {
      sum += value.size();
    }
  }
  return sum;
}

void Floor(benchmark::State &state) {
  const std::string &text = stream().text;
  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  for (auto _ : state) {
    const char *at = text.c_str();
    const char *const last = at + text.size();
    size_t frames = 0;
    while (const char *eof = static_cast<const char *>(memmem(at, last - at, "CMPI_EOF", 8))) {
      if (eof - at == 22 && memcmp(at, "CMPIOPERATION_COMPLETE", 22) == 0) break;
      Json::Value doc;
      std::string errors;
      if (!reader->parse(at, eof, &doc, &errors)) state.SkipWithError("parse failed");
      benchmark::DoNotOptimize(walk(doc));
      ++frames;
      at = eof + 8;
    }
    if (frames != kFrames) state.SkipWithError("frames lost");
  }
  report(state);
}

BENCHMARK(FramePerPiece)
    ->Name("Tokenizer/FramePerPiece")
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1);
BENCHMARK(OnePiece)->Name("Tokenizer/OnePiece")->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(Pieces64K)->Name("Tokenizer/Pieces64K")->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(DecodeOnly)->Name("Tokenizer/DecodeOnly")->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(Floor)->Name("Tokenizer/Floor")->Unit(benchmark::kMillisecond)->MinTime(1);

}  // namespace

CMPIUTILITY_BENCH_MAIN((void)0)
