// stream_bench: the cost of splitting a response stream into frames.
//
//   LargeFrame/<MB>       one frame of <MB> megabytes arriving in 4 KB pieces, through the splitter
//                         with decoding (what a caller of the tokenizers pays)
//   DecodeLarge/<MB>      deserializeResp of the same document alone
//   FloorLarge/<MB>       the least any splitter must do: append each piece to a growing block,
//                         search the new bytes for the terminator, copy the frame out once
//   LargeTail/<MB>        the same frame without its terminator: the splitter only carries the
//                         growing tail from call to call (no decoding at all)
//   FloorTail/<MB>        the floor for that: append each piece, search the new bytes
//   ManyFrames/<count>    <count> small frames in one piece, through the splitter with decoding
//   DecodeMany/<count>    deserializeResp of the same frames alone
//   FloorMany/<count>     one search over the piece and one copy of each frame
//
// The splitter's own cost is LargeTail against FloorTail (and, with decoding, LargeFrame against
// DecodeLarge plus FloorLarge); the throughput must stay flat as the size grows (the work is
// linear in the bytes received).
#include <benchmark/benchmark.h>
#include <cmpiutility/response.h>
#include <string.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "stream/frame_splitter.h"

namespace {

using cmpiutility::Delivery;
using cmpiutility::DeliveryStep;
using cmpiutility::split_frames;
using cmpiutility::SplitterWording;

constexpr SplitterWording kWording = {"stream_bench", true, 4, false};
constexpr size_t kPiece = 4096;

std::string large_doc(size_t megabytes) {
  return "{\"RequestType\":8,\"SetInstStatus\":0,\"SetInstStatusMsg\":\"" +
         std::string(megabytes << 20, 'm') + "\"}";
}

std::string many_frames(size_t count) {
  std::string stream;
  for (size_t i = 0; i < count; ++i) {
    stream += "{\"RequestType\":8,\"SetInstStatus\":" + std::to_string(i % 12) +
              ",\"SetInstStatusMsg\":null}CMPI_EOF";
  }
  return stream;
}

// The pieces of a stream, each a NUL-terminated string as a socket read gives them.
std::vector<std::string> pieces_of(const std::string &stream) {
  std::vector<std::string> pieces;
  for (size_t at = 0; at < stream.size(); at += kPiece) pieces.push_back(stream.substr(at, kPiece));
  return pieces;
}

void LargeFrame(benchmark::State &state) {
  const std::string stream =
      large_doc(static_cast<size_t>(state.range(0))) + "CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF";
  const std::vector<std::string> pieces = pieces_of(stream);
  for (auto _ : state) {
    char *carry = nullptr;
    uint32_t complete = 0;
    int delivered = 0;
    auto step = [&](ServerResp *) {
      ++delivered;
      return Delivery::kNext;
    };
    for (const std::string &piece : pieces) {
      split_frames(piece.c_str(), &carry, kWording, &complete, DeliveryStep(step));
    }
    if (delivered != 1 || complete != 1) state.SkipWithError("frame not delivered");
    free(carry);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
}

void DecodeLarge(benchmark::State &state) {
  const std::string doc = large_doc(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    ServerResp *resp = deserializeResp(doc.c_str());
    releaseClientResponseData(resp);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.size()));
}

// Appends each piece to a growing block and searches the new bytes (and the 7 before them).
size_t floor_pass(const std::vector<std::string> &pieces, std::string *frame) {
  char *block = nullptr;
  size_t length = 0, capacity = 0;
  for (const std::string &piece : pieces) {
    const size_t n = strlen(piece.c_str());
    if (length + n + 1 > capacity) {
      capacity = (capacity * 2 > length + n + 1) ? capacity * 2 : length + n + 1;
      block = static_cast<char *>(realloc(block, capacity));
    }
    memcpy(block + length, piece.data(), n);
    const size_t from = length > 7 ? length - 7 : 0;
    length += n;
    const void *found = memmem(block + from, length - from, "CMPI_EOF", 8);
    if (found != nullptr && frame != nullptr && frame->empty()) {
      frame->assign(block, static_cast<const char *>(found) - block);
    }
  }
  free(block);
  return length;
}

void FloorLarge(benchmark::State &state) {
  const std::string stream =
      large_doc(static_cast<size_t>(state.range(0))) + "CMPI_EOFCMPIOPERATION_COMPLETECMPI_EOF";
  const std::vector<std::string> pieces = pieces_of(stream);
  for (auto _ : state) {
    std::string frame;
    floor_pass(pieces, &frame);
    benchmark::DoNotOptimize(frame.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
}

void LargeTail(benchmark::State &state) {
  const std::string stream = large_doc(static_cast<size_t>(state.range(0)));
  const std::vector<std::string> pieces = pieces_of(stream);
  for (auto _ : state) {
    char *carry = nullptr;
    auto step = [](ServerResp *) { return Delivery::kNext; };
    for (const std::string &piece : pieces) {
      split_frames(piece.c_str(), &carry, kWording, nullptr, DeliveryStep(step));
    }
    if (carry == nullptr || strlen(carry) != stream.size()) state.SkipWithError("tail lost");
    free(carry);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
}

void FloorTail(benchmark::State &state) {
  const std::string stream = large_doc(static_cast<size_t>(state.range(0)));
  const std::vector<std::string> pieces = pieces_of(stream);
  for (auto _ : state) benchmark::DoNotOptimize(floor_pass(pieces, nullptr));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
}

void ManyFrames(benchmark::State &state) {
  const std::string stream = many_frames(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    char *carry = nullptr;
    int delivered = 0;
    auto step = [&](ServerResp *) {
      ++delivered;
      return Delivery::kNext;
    };
    split_frames(stream.c_str(), &carry, kWording, nullptr, DeliveryStep(step));
    if (delivered != state.range(0)) state.SkipWithError("frames not delivered");
    free(carry);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
}

void DecodeMany(benchmark::State &state) {
  const std::string stream = many_frames(static_cast<size_t>(state.range(0)));
  std::vector<std::string> docs;
  for (size_t at = 0, end; (end = stream.find("CMPI_EOF", at)) != std::string::npos; at = end + 8) {
    docs.push_back(stream.substr(at, end - at));
  }
  for (auto _ : state) {
    for (const std::string &doc : docs) releaseClientResponseData(deserializeResp(doc.c_str()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
}

void FloorMany(benchmark::State &state) {
  const std::string stream = many_frames(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    const char *text = stream.c_str();
    const size_t length = strlen(text);
    std::string frame;
    size_t at = 0;
    while (const void *found = memmem(text + at, length - at, "CMPI_EOF", 8)) {
      const size_t end = static_cast<size_t>(static_cast<const char *>(found) - text);
      frame.assign(text + at, end - at);
      benchmark::DoNotOptimize(frame.data());
      at = end + 8;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
}

BENCHMARK(LargeFrame)->Arg(1)->Arg(5)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeLarge)->Arg(1)->Arg(5)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(FloorLarge)->Arg(1)->Arg(5)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(LargeTail)->Arg(1)->Arg(5)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(FloorTail)->Arg(1)->Arg(5)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(ManyFrames)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeMany)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(FloorMany)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
