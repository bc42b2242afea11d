// codec_bench: the response codec against bare jsoncpp on the same documents.
//
//   Codec/Serialize/<n>        getResponseStruct + serializeResponse + free of one
//                              EnumerateInstances result whose instance has <n> properties (the
//                              instance is built once: a provider host builds it anyway)
//   Codec/SerializeFloor/<n>   the least any encoder of that document must do: build the same
//                              Json::Value tree from plain C++ data and write it with the writer
//                              settings the library uses (the text is checked to be identical)
//   Codec/Deserialize/<n>      deserializeResp + releaseClientResponseData of that document (the
//                              client gets a CMPI instance with <n> properties)
//   Codec/DeserializeFloor/<n> parse the same text with the reader the library uses and walk every
//                              property, reading each type code, state and value (no copies)
//
// One item is one document; bytes are the document's length. The ratio library / floor is the
// cost of going through CMPI objects.
#include <benchmark/benchmark.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <cmpiutility/response.h>
#include <json/json.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "bench_instances.h"
#include "bench_main.h"

namespace {

using bench::Kind;
using bench::Property;

// The encoded value object of one property, from plain data.
Json::Value floor_value(const Property &p) {
  Json::Value v(Json::objectValue);
  v["DataState"] = 0;
  v["DataType"] = static_cast<Json::UInt>(bench::type_of(p.kind));
  const unsigned i = p.index;
  switch (p.kind) {
    case Kind::kString:
      v["Value"] = bench::text_value(i);
      break;
    case Kind::kUint32:
      v["Value"] = static_cast<Json::UInt64>(bench::uint32_value(i));
      break;
    case Kind::kUint64:
      v["Value"] = static_cast<Json::UInt64>(bench::uint64_value(i));
      break;
    case Kind::kSint32:
      // Signed integers travel as their two's complement in 64 bits.
      v["Value"] = static_cast<Json::UInt64>(static_cast<int64_t>(bench::sint32_value(i)));
      break;
    case Kind::kBoolean:
      v["Value"] = bench::boolean_value(i) ? 1 : 0;
      break;
    case Kind::kReal64:
      // Reals travel in single precision.
      v["Value"] = static_cast<double>(static_cast<float>(bench::real64_value(i)));
      break;
    case Kind::kDateTime:
      v["Value"] = bench::date_value();
      break;
    case Kind::kReference: {
      Json::Value ref(Json::objectValue);
      ref["ClassName"] = bench::kReferencedClass;
      ref["NameSpace"] = bench::kNameSpace;
      ref["key"] = std::string(bench::kReferencedKey) + "=" + bench::reference_key_value(i) + ",";
      v["Value"] = std::move(ref);
      break;
    }
    case Kind::kUint32Array: {
      Json::Value array(Json::arrayValue);
      for (uint32_t e : bench::uint32_array_value(i)) array.append(static_cast<Json::UInt64>(e));
      v["Value"] = std::move(array);
      break;
    }
    case Kind::kStringArray: {
      Json::Value array(Json::arrayValue);
      for (const std::string &e : bench::string_array_value(i)) array.append(e);
      v["Value"] = std::move(array);
      break;
    }
  }
  return v;
}

std::string floor_write(const std::vector<Property> &properties,
                        const Json::StreamWriterBuilder &writer) {
  Json::Value doc(Json::objectValue);
  doc["ClassName"] = bench::kDeviceClass;
  doc["NameSpace"] = bench::kNameSpace;
  doc["RequestType"] = ENUMINST;
  Json::Value &props = doc["InstanceProps"];
  props = Json::Value(Json::objectValue);
  for (const Property &p : properties) props[p.name] = floor_value(p);
  return Json::writeString(writer, doc);
}

Json::StreamWriterBuilder compact_writer() {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return writer;
}

// Reads everything a decoder needs from one value object; returns something to keep.
uint64_t walk_value(const Json::Value &v) {
  uint64_t sum = v["DataType"].asUInt() + v["DataState"].asUInt();
  const Json::Value &value = v["Value"];
  const char *begin = nullptr;
  const char *end = nullptr;
  switch (value.type()) {
    case Json::stringValue:
      value.getString(&begin, &end);
      sum += static_cast<uint64_t>(end - begin);
      break;
    case Json::uintValue:
    case Json::intValue:
      sum += value.asUInt64();
      break;
    case Json::realValue:
      sum += static_cast<uint64_t>(value.asDouble() * 8);
      break;
    case Json::arrayValue:
      for (const Json::Value &e : value) {
        if (e.isString()) {
          e.getString(&begin, &end);
          sum += static_cast<uint64_t>(end - begin);
        } else {
          sum += e.asUInt64();
        }
      }
      break;
    case Json::objectValue:
      for (const char *member : {"ClassName", "NameSpace", "key"}) {
        value[member].getString(&begin, &end);
        sum += static_cast<uint64_t>(end - begin);
      }
      break;
    default:
      break;
  }
  return sum;
}

struct Fixture {
  std::vector<Property> properties;
  CMPIInstance *instance = nullptr;
  std::string document;  // what the library writes
  explicit Fixture(size_t count)
      : properties(bench::property_set(count)), instance(bench::make_instance(properties)) {
    document = bench::response_document(instance, ENUMINST);
  }
  ~Fixture() { CMRelease(instance); }
  Fixture(const Fixture &) = delete;
  Fixture &operator=(const Fixture &) = delete;
};

void report(benchmark::State &state, const std::string &document) {
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document.size()));
  state.counters["doc_bytes"] = static_cast<double>(document.size());
}

void Serialize(benchmark::State &state) {
  Fixture f(static_cast<size_t>(state.range(0)));
  if (f.document.empty()) {
    state.SkipWithError("serializeResponse refused the instance");
    return;
  }
  CMPIStatus ok = {CMPI_RC_OK, nullptr};
  CMPIValue none;
  none.uint64 = 0;
  char fixed[FRAME_BUFFER_SIZE];
  for (auto _ : state) {
    ServerResp *resp = nullptr;
    getResponseStruct(&resp, ENUMINST, f.instance, nullptr, none, CMPI_null, &ok, nullptr);
    char *method = nullptr;
    uint32_t length = 0;
    void *buffer = nullptr;
    if (serializeResponse(resp, fixed, &method, &length, &buffer) != 0) {
      state.SkipWithError("serializeResponse failed");
    }
    benchmark::DoNotOptimize(buffer);
    free(buffer);
    releaseResponseData(resp);
  }
  report(state, f.document);
}

void SerializeFloor(benchmark::State &state) {
  Fixture f(static_cast<size_t>(state.range(0)));
  const Json::StreamWriterBuilder writer = compact_writer();
  const std::string check = floor_write(f.properties, writer);
  if (check != f.document) {
    fprintf(stderr, "codec_bench: the floor writes another document\n library: %s\n floor:   %s\n",
            f.document.c_str(), check.c_str());
    state.SkipWithError("floor document differs from the library's");
    return;
  }
  for (auto _ : state) {
    std::string text = floor_write(f.properties, writer);
    benchmark::DoNotOptimize(text.data());
  }
  report(state, f.document);
}

void Deserialize(benchmark::State &state) {
  Fixture f(static_cast<size_t>(state.range(0)));
  {
    ServerResp *probe = deserializeResp(f.document.c_str());
    const bool good = probe != nullptr && probe->type == ENUMINST && probe->instance != nullptr &&
                      CMGetPropertyCount(probe->instance, nullptr) == f.properties.size();
    releaseClientResponseData(probe);
    if (!good) {
      state.SkipWithError("deserializeResp did not give the instance back");
      return;
    }
  }
  for (auto _ : state) {
    ServerResp *resp = deserializeResp(f.document.c_str());
    benchmark::DoNotOptimize(resp);
    releaseClientResponseData(resp);
  }
  report(state, f.document);
}

void DeserializeFloor(benchmark::State &state) {
  Fixture f(static_cast<size_t>(state.range(0)));
  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  const char *text = f.document.c_str();
  for (auto _ : state) {
    Json::Value doc;
    std::string errors;
    const size_t length = strlen(text);  // the library takes a C string too
    if (!reader->parse(text, text + length, &doc, &errors)) state.SkipWithError("parse failed");
    uint64_t sum = doc["RequestType"].asUInt();
    const char *begin = nullptr;
    const char *end = nullptr;
    doc["ClassName"].getString(&begin, &end);
    sum += static_cast<uint64_t>(end - begin);
    doc["NameSpace"].getString(&begin, &end);
    sum += static_cast<uint64_t>(end - begin);
    const Json::Value &props = doc["InstanceProps"];
    for (auto it = props.begin(); it != props.end(); ++it) {
      sum += it.name().size() + walk_value(*it);
    }
    benchmark::DoNotOptimize(sum);
  }
  report(state, f.document);
}

BENCHMARK(Serialize)->Name("Codec/Serialize")->Arg(10)->Arg(100)->MinTime(0.3);
BENCHMARK(SerializeFloor)->Name("Codec/SerializeFloor")->Arg(10)->Arg(100)->MinTime(0.3);
BENCHMARK(Deserialize)->Name("Codec/Deserialize")->Arg(10)->Arg(100)->MinTime(0.3);
BENCHMARK(DeserializeFloor)->Name("Codec/DeserializeFloor")->Arg(10)->Arg(100)->MinTime(0.3);

}  // namespace

CMPIUTILITY_BENCH_MAIN((void)0)
