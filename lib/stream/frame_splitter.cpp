// The frame splitter: one implementation of the stream tokenizers' algorithm (frame_splitter.h).
#include "stream/frame_splitter.h"

#include <cmpiutility/response.h>
#include <malloc.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "heap/heap.h"
#include "log/log.h"

namespace cmpiutility {
namespace {

constexpr char kTerminator[] = "CMPI_EOF";
constexpr size_t kTerminatorLength = sizeof kTerminator - 1;
constexpr size_t kUnderscoreAt = 4;  // where the terminator's underscore stands

// The first terminator starting in [from, length) of text, or nullptr. An underscore is rare in
// a frame: memchr finds it several times cheaper than memmem finds the whole terminator, and
// the bytes around it decide. Its place u lies in [at + kUnderscoreAt, length - 4].
const char *find_terminator(const char *text, size_t from, size_t length) {
  size_t at = from;  // where the next terminator may start
  while (at + kTerminatorLength <= length) {
    const size_t first = at + kUnderscoreAt;
    const void *underscore =
        memchr(text + first, '_', length - (kTerminatorLength - kUnderscoreAt) + 1 - first);
    if (underscore == nullptr) return nullptr;
    const size_t pos =
        static_cast<size_t>(static_cast<const char *>(underscore) - text) - kUnderscoreAt;
    if (memcmp(text + pos, kTerminator, kTerminatorLength) == 0) return text + pos;
    at = pos + 1;
  }
  return nullptr;
}

constexpr char kErrorToken[] = "CMPIERROR";
constexpr char kCompletionToken[] = "CMPIOPERATION_COMPLETE";
// The error code stands behind the token and one separator byte of any value.
constexpr size_t kCodeOffset = sizeof kErrorToken;

// What a carry-over block records about its tail, at the end of its spare capacity.
struct Trailer {
  uint64_t length;  // the tail's string length
  uint64_t resume;  // where the terminator search of the next call starts
  uint64_t check;   // ties the two to this block and its size
};
constexpr size_t kTrailerSize = sizeof(Trailer);

// A block this large, holding a tail four times smaller, is shrunk before it is handed over.
constexpr size_t kShrinkFloor = 64 * 1024;

class Meter {
 public:
  explicit Meter(WorkMeter *meter) : meter_(meter) {}
  void copied(size_t n) {
    if (meter_ != nullptr) meter_->copied += n;
  }
  void searched(size_t n) {
    if (meter_ != nullptr) meter_->searched += n;
  }

 private:
  WorkMeter *meter_;
};

// A mix of the block's address and size with the recorded values: a trailer is believed only
// where this block wrote it for this size, so leftovers in a block made elsewhere are ignored.
uint64_t trailer_check(const char *block, size_t usable, uint64_t length, uint64_t resume) {
  uint64_t h = 0x9e3779b97f4a7c15ull ^ static_cast<uint64_t>(reinterpret_cast<uintptr_t>(block));
  h = (h ^ length) * 0xbf58476d1ce4e5b9ull;
  h = (h ^ resume) * 0x94d049bb133111ebull;
  h = (h ^ usable) * 0xbf58476d1ce4e5b9ull;
  return h ^ (h >> 31);
}

// The block must have room for the tail, its NUL and the trailer.
void write_trailer(char *block, size_t length, size_t resume) {
  const size_t usable = malloc_usable_size(block);
  const Trailer trailer = {length, resume, trailer_check(block, usable, length, resume)};
  memcpy(block + usable - kTrailerSize, &trailer, sizeof trailer);
}

struct Tail {
  size_t length;
  size_t resume;
};

// The length of a carried tail and where to resume searching it: from its trailer when it has a
// valid one, otherwise by measuring it and searching it from its start.
Tail measure_tail(const char *block, Meter &meter) {
  const size_t usable = malloc_usable_size(const_cast<char *>(block));
  if (usable >= kTrailerSize + 2) {
    Trailer trailer;
    memcpy(&trailer, block + usable - kTrailerSize, sizeof trailer);
    if (trailer.check == trailer_check(block, usable, trailer.length, trailer.resume) &&
        trailer.length < usable - kTrailerSize && trailer.resume <= trailer.length &&
        block[trailer.length] == '\0') {
      return Tail{static_cast<size_t>(trailer.length), static_cast<size_t>(trailer.resume)};
    }
  }
  const size_t length = strlen(block);
  meter.searched(length);
  return Tail{length, 0};
}

// The carried block while a call works on it: the old tail with the new piece appended in place.
// Freed on every way out unless its tail is handed over to the slot.
class Block {
 public:
  Block() = default;
  Block(const Block &) = delete;
  Block &operator=(const Block &) = delete;
  ~Block() { free(data_); }

  bool held() const { return data_ != nullptr; }
  const char *data() const { return data_; }
  char *writable() { return data_; }
  size_t length() const { return length_; }

  void adopt(char *block, size_t length) {
    data_ = block;
    length_ = length;
    capacity_ = malloc_usable_size(block);
  }

  // Appends n bytes, growing the block geometrically; false when it cannot grow (the block stays
  // as it was).
  bool append(const char *piece, size_t n, Meter &meter) {
    const size_t needed = length_ + n + 1 + kTrailerSize;
    if (needed > capacity_) {
      const size_t grown = (capacity_ * 2 > needed) ? capacity_ * 2 : needed;
      char *moved = static_cast<char *>(cmpiu_realloc(data_, grown));
      if (moved == nullptr) return false;
      meter.copied(length_);
      data_ = moved;
      capacity_ = malloc_usable_size(moved);
    }
    memcpy(data_ + length_, piece, n);
    meter.copied(n);
    length_ += n;
    data_[length_] = '\0';
    return true;
  }

  // Drops the first `consumed` bytes (once, however many frames they held) and hands the block
  // over holding the rest, with its trailer.
  char *hand_over_tail(size_t consumed, size_t resume, Meter &meter) {
    const size_t tail = length_ - consumed;
    if (consumed > 0) {
      memmove(data_, data_ + consumed, tail);
      meter.copied(tail);
    }
    length_ = tail;
    data_[tail] = '\0';
    const size_t needed = tail + 1 + kTrailerSize;
    if (capacity_ > kShrinkFloor && capacity_ / 4 > needed) {
      // A failed shrink keeps the larger block, which is just as good.
      char *smaller = static_cast<char *>(cmpiu_realloc(data_, 2 * needed));
      if (smaller != nullptr) {
        meter.copied(tail);
        data_ = smaller;
        capacity_ = malloc_usable_size(smaller);
      }
    }
    write_trailer(data_, tail, resume);
    char *block = data_;
    data_ = nullptr;
    return block;
  }

 private:
  char *data_ = nullptr;
  size_t length_ = 0;
  size_t capacity_ = 0;
};

// One frame's text, NUL-terminated, without its terminator.
struct FrameText {
  const char *text;
  size_t length;
  bool starts_with(const char *token, size_t token_length) const {
    return length >= token_length && memcmp(text, token, token_length) == 0;
  }
};

// Makes the frame ending at `at` available as a NUL-terminated text. In the carried block it is
// terminated in place (the terminator's first byte is set aside and put back by restore()); in
// the caller's read-only piece it is copied out once.
class FrameCutter {
 public:
  FrameCutter(Block &block, const char *text) : block_(block), text_(text) {}
  FrameText cut(size_t begin, size_t at, Meter &meter) {
    if (block_.held()) {
      char *writable = block_.writable();
      at_ = at;
      saved_ = writable[at];
      writable[at] = '\0';
      return FrameText{writable + begin, at - begin};
    }
    copy_.assign(text_ + begin, at - begin);
    meter.copied(at - begin);
    return FrameText{copy_.c_str(), copy_.size()};
  }
  // Puts the terminator back where cut() ended the frame in place.
  void restore() {
    if (block_.held() && saved_ != '\0') block_.writable()[at_] = saved_;
    saved_ = '\0';
  }

 private:
  Block &block_;
  const char *text_;
  std::string copy_;
  size_t at_ = 0;
  char saved_ = '\0';
};

// The splitter owns each decoded record: a class or output arguments that the delivery step did
// not take stay with the record and go with it.
void release_record(ServerResp *record) {
  if (record->constClass != nullptr) {
    record->constClass->ft->release(record->constClass);
    record->constClass = nullptr;
  }
  if (record->type == INVOKEMETHOD && record->retVal.args != nullptr) {
    record->retVal.args->ft->release(record->retVal.args);
    record->retVal.args = nullptr;
  }
  releaseClientResponseData(record);
}

}  // namespace

SplitOutcome split_frames(const char *piece, char **carry, const SplitterWording &wording,
                          uint32_t *complete, DeliveryStep deliver, WorkMeter *work) {
  const char *operation = wording.operation;
  Meter meter(work);
  // Without a slot the tail has nowhere to go; it is kept in a local one and dropped.
  char *no_slot = nullptr;
  struct DropLocal {
    char **slot;
    ~DropLocal() { free(*slot); }
  } drop_local{&no_slot};
  if (carry == nullptr) carry = &no_slot;
  if (piece == nullptr) piece = "";

  // Take over the tail of the previous call; the slot is NULL from here on.
  Block block;
  size_t search_from = 0;
  if (*carry != nullptr) {
    char *tail = *carry;
    *carry = nullptr;
    if (tail[0] == '\0') {
      free(tail);
    } else {
      const Tail measured = measure_tail(tail, meter);
      CMPIU_TRACE("%s: buffer from last read data is present: %s", operation, tail);
      block.adopt(tail, measured.length);
      search_from = measured.resume;
    }
  }

  // The working text: the piece as it is, or the old tail with the piece appended.
  const size_t piece_length = strlen(piece);
  meter.searched(piece_length);
  const char *text = piece;
  size_t length = piece_length;
  if (block.held()) {
    if (!block.append(piece, piece_length, meter)) {
      CMPIU_ERROR("%s: ERROR in memory allocation for response buffer", operation);
      return SplitOutcome{SplitEnd::kOutOfMemory, 0};
    }
    text = block.data();
    length = block.length();
  }
  CMPIU_TRACE("%s: received string to tokenize %s", operation, text);

  // Frames are walked with two offsets: `consumed` is where the first unconsumed frame starts,
  // `search_from` where the terminator search goes on.
  size_t consumed = 0;
  SplitEnd end = SplitEnd::kNoMoreFrames;
  FrameCutter cutter(block, text);
  for (;;) {
    const char *found = find_terminator(text, search_from, length);
    if (found == nullptr) {
      meter.searched(length - search_from);
      break;
    }
    const size_t at = static_cast<size_t>(static_cast<const char *>(found) - text);
    meter.searched(at + kTerminatorLength - search_from);
    // The frame text always has storage (in place or a copy): the members' line for a frame
    // without storage ("tokenized string comes NULL") has no case to report here.
    const FrameText frame = cutter.cut(consumed, at, meter);
    CMPIU_TRACE("%s: tokenized string%s", operation, frame.text);

    if (frame.starts_with(kErrorToken, sizeof kErrorToken - 1)) {
      // A frame of "CMPIERROR" and at most one more byte has no code: it reads as 0.
      const char *code_text = frame.length >= kCodeOffset ? frame.text + kCodeOffset : "";
      CMPIU_TRACE("%s: tokenized string %s", operation, code_text);
      const long value = strtol(code_text, nullptr, 0);
      const int32_t code = static_cast<int32_t>(static_cast<uint32_t>(value));
      if (wording.logs_error_code) CMPIU_TRACE("%s: rc.rc %d", operation, code);
      return SplitOutcome{SplitEnd::kErrorFrame, code};
    }
    if (wording.knows_completion &&
        frame.starts_with(kCompletionToken, sizeof kCompletionToken - 1)) {
      CMPIU_TRACE("%s: tokenized string %s", operation, frame.text);
      if (complete != nullptr) *complete = 1;
      return SplitOutcome{SplitEnd::kCompletionFrame, 0};
    }

    ServerResp *record = deserializeResp(frame.text);
    cutter.restore();
    if (record == nullptr) {
      CMPIU_TRACE("%s: deserializeResp returns NULL SERVERRSP, need to skip this token",
                  operation);
      // Not consumed, and not looked at again in this call (a second look would fail the same
      // way, forever): it is carried forward with everything behind it.
      end = SplitEnd::kFrameKept;
      break;
    }
    const Delivery delivery = deliver(record);
    release_record(record);
    if (delivery == Delivery::kKeepFrame) {
      // As above: the frame stays unconsumed and is carried forward; no re-scan in this call.
      end = SplitEnd::kFrameKept;
      break;
    }
    consumed = at + kTerminatorLength;
    search_from = consumed;
    if (delivery == Delivery::kEndCall) return SplitOutcome{SplitEnd::kEndedByMember, 0};
  }

  // Carry the unconsumed text forward.
  const size_t tail = length - consumed;
  if (tail == 0) {
    CMPIU_TRACE("%s: no buffer left to carry forward", operation);
    return SplitOutcome{end, 0};
  }
  // A tail behind the last consumed frame holds no complete terminator, so the next search can
  // start at its last 7 bytes; a kept frame must be searched from its start again.
  const size_t resume =
      (end == SplitEnd::kFrameKept || tail < kTerminatorLength) ? 0 : tail - (kTerminatorLength - 1);
  char *carried = nullptr;
  if (block.held()) {
    carried = block.hand_over_tail(consumed, resume, meter);
  } else {
    carried = static_cast<char *>(cmpiu_malloc(tail + 1 + kTrailerSize));
    if (carried == nullptr) {
      CMPIU_ERROR("%s: ERROR in memory allocation for response buffer", operation);
      return SplitOutcome{end, 0};
    }
    memcpy(carried, text + consumed, tail);
    meter.copied(tail);
    carried[tail] = '\0';
    write_trailer(carried, tail, resume);
  }
  *carry = carried;
  CMPIU_LOG(wording.carry_level, kLogModule, "%s: buffer to be appended next cycle %s:%s",
            operation, carried, *carry);
  return SplitOutcome{end, 0};
}

}  // namespace cmpiutility
