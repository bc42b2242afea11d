// Tests of the worker's encoder thread (frame_encoder_thread.h) and of the streaming result
// that hands it the instances of larger enumerations: the frames are the very bytes the
// provider's thread would have written, in the order returned; failures are logged with the
// right result number and fail the provider's later returns; memory stays bounded while the
// client is slow; instances the thread must not own are encoded in their place.
#include "frame_encoder_thread.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "frame_sink.h"
#include "log_capture.h"
#include "response_frames.h"
#include "streaming_result.h"
#include "wire.h"
#include "wire_fit.h"

namespace hostd {
namespace {

using cmpitest::LogCapture;
using cmpitest::LogLine;
using Instance = FittedInstance;
using Path = FittedPath;

LogLine daemon_error(const std::string &text) { return cmpitest::Line(text, 2, 232); }

// An instance of Test_Item with key Id and a few typed properties.
Instance make_item(unsigned i) {
  Path path(makeNewObjectPath("root/cimv2", "Test_Item", nullptr));
  const std::string id = "item" + std::to_string(i);
  CMAddKey(path.get(), "Id", id.c_str(), CMPI_chars);
  Instance inst(makeNewCMPIInstance(path.get(), nullptr));
  CMSetProperty(inst.get(), "Id", id.c_str(), CMPI_chars);
  CMPIUint32 index = i;
  CMSetProperty(inst.get(), "Index", &index, CMPI_uint32);
  CMPIBoolean even = i % 2 == 0;
  CMSetProperty(inst.get(), "Even", &even, CMPI_boolean);
  CMSetProperty(inst.get(), "Note", "a \"quoted\" note", CMPI_chars);
  return inst;
}

CMPIInstance *copy_of(const Instance &inst) { return CMClone(inst.get(), nullptr); }

// The frame the provider's thread writes for one instance.
std::string frame_of(const Instance &inst, int type = ENUMINST) {
  ResponseParts parts;
  parts.instance = inst.get();
  std::string frame;
  EXPECT_TRUE(append_response_frame(type, parts, &frame));
  return frame;
}

std::size_t frame_count(const std::string &text) { return wire::count_frames(text); }

// A sink whose sends can be slowed down, counted and refused from the n-th frame on.
class TestSink : public FrameSink {
 public:
  bool send(const std::string &frames) override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++calls_;
    const std::size_t count = frame_count(frames);
    if (refuse_from_ != 0 && frames_ + count >= refuse_from_) {
      errno = EPIPE;
      return false;
    }
    if (delay_us_ > 0) usleep(static_cast<useconds_t>(delay_us_ * count));
    if (count > 1) widest_of_several_ = std::max(widest_of_several_, frames.size());
    text_ += frames;
    frames_ += count;
    return true;
  }
  std::string text() {
    std::lock_guard<std::mutex> lock(mutex_);
    return text_;
  }
  std::size_t frames() {
    std::lock_guard<std::mutex> lock(mutex_);
    return frames_;
  }
  std::size_t calls() {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }
  // The widest piece passed on that held more than one frame.
  std::size_t widest_of_several() {
    std::lock_guard<std::mutex> lock(mutex_);
    return widest_of_several_;
  }
  void refuse_from(std::size_t frame) { refuse_from_ = frame; }
  void delay_per_frame_us(int us) { delay_us_ = us; }

 private:
  std::mutex mutex_;
  std::string text_;
  std::size_t frames_ = 0;
  std::size_t calls_ = 0;
  std::size_t widest_of_several_ = 0;
  std::size_t refuse_from_ = 0;
  int delay_us_ = 0;
};

TEST(FrameEncoderThread, FramesArriveInTheOrderPushedWithTheProviderThreadsOwnBytes) {
  FrameEncoderThread encoder;
  ASSERT_TRUE(encoder.start());
  TestSink sink;
  std::string expected;
  encoder.begin(ENUMINST, &sink, 0);
  EXPECT_TRUE(encoder.open());
  for (unsigned i = 0; i < 500; ++i) {
    Instance inst = make_item(i);
    expected += frame_of(inst);
    ASSERT_TRUE(encoder.push(copy_of(inst)));
  }
  const FrameEncoderThread::Outcome done = encoder.finish();
  EXPECT_FALSE(encoder.open());
  EXPECT_EQ(done.frames, 500u);
  EXPECT_FALSE(done.failed);
  EXPECT_EQ(sink.text(), expected);
  // Passed on in batches, not one send per frame and not all at the end.
  EXPECT_LT(sink.calls(), 500u);
  EXPECT_GT(sink.calls(), 1u);
}

TEST(FrameEncoderThread, LargeFramesArePassedOnInPiecesNoWiderThanAPieceOrOneFrame) {
  FrameEncoderThread encoder;
  ASSERT_TRUE(encoder.start());
  TestSink sink;
  std::string expected;
  encoder.begin(ENUMINST, &sink, 0);
  for (unsigned i = 0; i < 120; ++i) {
    Instance inst = make_item(i);
    // From 1 KiB to about 120 KiB: some frames share pieces, some are wider than one.
    const std::string note(1024u * (i + 1), 'n');
    CMSetProperty(inst.get(), "Note", note.c_str(), CMPI_chars);
    expected += frame_of(inst);
    ASSERT_TRUE(encoder.push(copy_of(inst)));
  }
  EXPECT_EQ(encoder.finish().frames, 120u);
  EXPECT_EQ(sink.text(), expected);
  EXPECT_GT(sink.widest_of_several(), 0u) << "small frames still share pieces";
  EXPECT_LE(sink.widest_of_several(), FrameEncoderThread::kPieceBytes);
}

TEST(FrameEncoderThread, OneThreadServesStreamAfterStream) {
  FrameEncoderThread encoder;
  ASSERT_TRUE(encoder.start());
  for (int stream = 0; stream < 3; ++stream) {
    TestSink sink;
    std::string expected;
    encoder.begin(ENUMINST, &sink, 0);
    for (unsigned i = 0; i < 40u + 7u * stream; ++i) {
      Instance inst = make_item(i);
      expected += frame_of(inst);
      ASSERT_TRUE(encoder.push(copy_of(inst)));
    }
    const FrameEncoderThread::Outcome done = encoder.finish();
    EXPECT_EQ(done.frames, 40u + 7u * stream);
    EXPECT_EQ(sink.text(), expected);
  }
}

TEST(FrameEncoderThread, AFinishWithoutAStreamIsEmpty) {
  FrameEncoderThread encoder;
  const FrameEncoderThread::Outcome done = encoder.finish();
  EXPECT_EQ(done.frames, 0u);
  EXPECT_FALSE(done.failed);
  EXPECT_FALSE(encoder.open());
  EXPECT_FALSE(encoder.running());
}

TEST(FrameEncoderThread, APushWithoutTheThreadIsRefusedAndNothingWaits) {
  FrameEncoderThread encoder;
  TestSink sink;
  encoder.begin(ENUMINST, &sink, 0);
  EXPECT_FALSE(encoder.push(copy_of(make_item(1))));
  EXPECT_EQ(encoder.finish().frames, 0u);
  EXPECT_EQ(sink.frames(), 0u);
}

TEST(FrameEncoderThread, AFewInstancesBelowTheWakeUpMarkArriveWhenTheStreamIsFinished) {
  FrameEncoderThread encoder;
  ASSERT_TRUE(encoder.start());
  TestSink sink;
  encoder.begin(ENUMINST, &sink, 0);
  Instance inst = make_item(1);
  ASSERT_TRUE(encoder.push(copy_of(inst)));
  const FrameEncoderThread::Outcome done = encoder.finish();
  EXPECT_EQ(done.frames, 1u);
  EXPECT_EQ(sink.text(), frame_of(inst));
}

TEST(FrameEncoderThread, AFrameTheSinkRefusesFailsTheStreamAndNamesItsResult) {
  FrameEncoderThread encoder;
  ASSERT_TRUE(encoder.start());
  TestSink sink;
  sink.refuse_from(30);
  LogCapture log;
  // Eight results of the answer went out before the thread took over.
  encoder.begin(ENUMINST, &sink, 8);
  unsigned pushed = 0;
  bool refused = false;
  for (unsigned i = 0; i < 2000 && !refused; ++i) {
    refused = !encoder.push(copy_of(make_item(i)));
    ++pushed;
  }
  const FrameEncoderThread::Outcome done = encoder.finish();
  EXPECT_TRUE(refused) << "a push after the failure is refused";
  EXPECT_LT(pushed, 2000u);
  EXPECT_TRUE(done.failed);
  EXPECT_LT(done.frames, 30u);
  EXPECT_EQ(sink.frames(), done.frames);
  // The batch that was refused began right after the frames passed on.
  const std::string line = "result " + std::to_string(8 + done.frames + 1) +
                           " of request type " + std::to_string(ENUMINST) +
                           " cannot be passed on: " + std::strerror(EPIPE);
  EXPECT_TRUE(log.contains(daemon_error(line))) << line;
}

TEST(FrameEncoderThread, AnInstanceThatCannotBeEncodedEndsTheStreamAfterTheFramesBeforeIt) {
  FrameEncoderThread encoder;
  ASSERT_TRUE(encoder.start());
  TestSink sink;
  LogCapture log;
  encoder.begin(ENUMINST, &sink, 8);
  std::string expected;
  for (unsigned i = 0; i < 20; ++i) {
    Instance inst = make_item(i);
    expected += frame_of(inst);
    ASSERT_TRUE(encoder.push(copy_of(inst)));
  }
  // Unfitted, a null reference cannot be encoded (the provider's thread fits it away first;
  // this one was handed over unfitted on purpose).
  Instance bad = make_item(20);
  CMSetProperty(bad.get(), "Owner", nullptr, CMPI_ref);
  encoder.push(copy_of(bad));
  for (unsigned i = 21; i < 30; ++i) encoder.push(copy_of(make_item(i)));
  const FrameEncoderThread::Outcome done = encoder.finish();
  EXPECT_TRUE(done.failed);
  EXPECT_EQ(done.frames, 20u);
  EXPECT_EQ(sink.text(), expected);
  EXPECT_TRUE(log.contains(daemon_error("result 29 of request type " + std::to_string(ENUMINST) +
                                        " cannot be encoded; the answer ends with an error")));
  // The next stream starts clean.
  TestSink next;
  encoder.begin(ENUMINST, &next, 0);
  EXPECT_TRUE(encoder.push(copy_of(make_item(1))));
  EXPECT_FALSE(encoder.finish().failed);
  EXPECT_EQ(next.frames(), 1u);
}

TEST(FrameEncoderThread, MemoryStaysBoundedWhileTheClientIsSlow) {
  FrameEncoderThread encoder;
  ASSERT_TRUE(encoder.start());
  TestSink sink;
  sink.delay_per_frame_us(20);
  encoder.begin(ENUMINST, &sink, 0);
  // Instances pushed and not yet passed on: at most those waiting, those being encoded, and
  // the frames encoded but not passed on.
  std::size_t most = 0;
  for (unsigned i = 0; i < 1500; ++i) {
    ASSERT_TRUE(encoder.push(copy_of(make_item(i))));
    most = std::max(most, static_cast<std::size_t>(i + 1) - sink.frames());
  }
  EXPECT_EQ(encoder.finish().frames, 1500u);
  EXPECT_LE(most, 3 * FrameEncoderThread::kQueueMax);
}

TEST(FrameEncoderThread, DestructionFinishesAnOpenStream) {
  TestSink sink;
  {
    FrameEncoderThread encoder;
    ASSERT_TRUE(encoder.start());
    encoder.begin(ENUMINST, &sink, 0);
    for (unsigned i = 0; i < 50; ++i) ASSERT_TRUE(encoder.push(copy_of(make_item(i))));
  }
  EXPECT_EQ(sink.frames(), 50u);
}

// ---- the streaming result with an encoder thread ---------------------------------------------

// What a provider sends when it reuses one instance for every result and changes it between
// returns, as providers may.
std::string enumerate_reusing(unsigned count, FrameEncoderThread *encoder, bool *failed,
                              unsigned long *frames) {
  StringSink sink;
  {
    StreamingResult result(ENUMINST, &sink, nullptr, encoder);
    Instance inst = make_item(0);
    for (unsigned i = 0; i < count; ++i) {
      const std::string id = "item" + std::to_string(i);
      CMSetProperty(inst.get(), "Id", id.c_str(), CMPI_chars);
      CMPIUint32 index = i;
      CMSetProperty(inst.get(), "Index", &index, CMPI_uint32);
      EXPECT_EQ(CMReturnInstance(result.result(), inst.get()).rc, CMPI_RC_OK);
    }
    result.finish_stream();
    *failed = result.failed();
    *frames = result.frames();
  }
  return sink.text;
}

TEST(StreamingResultWithEncoder, AnEnumerationGivesTheSameBytesAsWithoutIt) {
  FrameEncoderThread encoder;
  bool failed_alone = true;
  bool failed_beside = true;
  unsigned long frames_alone = 0;
  unsigned long frames_beside = 0;
  const std::string alone = enumerate_reusing(700, nullptr, &failed_alone, &frames_alone);
  const std::string beside = enumerate_reusing(700, &encoder, &failed_beside, &frames_beside);
  EXPECT_TRUE(encoder.running()) << "a larger enumeration starts the thread";
  EXPECT_EQ(beside, alone);
  EXPECT_EQ(frame_count(beside), 700u);
  EXPECT_EQ(frames_beside, 700u);
  EXPECT_EQ(frames_alone, 700u);
  EXPECT_FALSE(failed_beside);
  EXPECT_FALSE(failed_alone);
}

// An instance of somebody else's making: the object library's own record behind a table of
// the maker's own.
struct ForeignInstance {
  explicit ForeignInstance(const Instance &inst) : table(*inst->ft) {
    object.hdl = inst->hdl;
    object.ft = &table;
  }
  CMPIInstance object;
  CMPIInstanceFT table;
};

// Returns count new instances into one answer (the one at foreign_at through a foreign
// table); gives the frames the provider's thread alone would have written.
std::string return_items(unsigned count, FrameSink *sink, FrameEncoderThread *encoder,
                         unsigned foreign_at = ~0u) {
  std::string expected;
  StreamingResult result(ENUMINST, sink, nullptr, encoder);
  for (unsigned i = 0; i < count; ++i) {
    Instance inst = make_item(i);
    expected += frame_of(inst);
    if (i == foreign_at) {
      ForeignInstance foreign(inst);
      EXPECT_EQ(cmpiIsOwnInstance(&foreign.object), 0);
      EXPECT_EQ(CMReturnInstance(result.result(), &foreign.object).rc, CMPI_RC_OK);
    } else {
      EXPECT_EQ(CMReturnInstance(result.result(), inst.get()).rc, CMPI_RC_OK);
    }
  }
  result.finish_stream();
  EXPECT_EQ(result.frames(), count);
  return expected;
}

// A sink whose receiver reads slower than the answer is made.
class HeldUpSink : public StringSink {
 public:
  bool held_up() const override { return true; }
};

TEST(StreamingResultWithEncoder, AnAnswerHeldUpByItsClientIsEncodedOnTheProvidersThread) {
  FrameEncoderThread encoder;
  HeldUpSink sink;
  const std::string expected = return_items(200, &sink, &encoder);
  EXPECT_FALSE(encoder.running()) << "nothing was handed over";
  EXPECT_EQ(sink.text, expected);
}

TEST(StreamingResultWithEncoder, ASmallAnswerDoesNotStartTheThread) {
  FrameEncoderThread encoder;
  bool failed = true;
  unsigned long frames = 0;
  enumerate_reusing(StreamingResult::kEncodedHere, &encoder, &failed, &frames);
  EXPECT_FALSE(encoder.running());
  EXPECT_EQ(frames, StreamingResult::kEncodedHere);
}

TEST(StreamingResultWithEncoder, AnInstanceOfAnotherMakeIsEncodedInItsPlace) {
  FrameEncoderThread encoder;
  StringSink sink;
  const std::string expected = return_items(100, &sink, &encoder, 50);
  EXPECT_TRUE(encoder.running());
  EXPECT_EQ(sink.text, expected);
}

TEST(StreamingResultWithEncoder, ASinkFailureOnTheThreadFailsALaterReturn) {
  FrameEncoderThread encoder;
  TestSink sink;
  sink.refuse_from(100);
  LogCapture log;
  StreamingResult result(ENUMINST, &sink, nullptr, &encoder);
  Instance inst = make_item(0);
  CMPIrc last = CMPI_RC_OK;
  unsigned returned = 0;
  for (; returned < 5000 && last == CMPI_RC_OK; ++returned) {
    last = CMReturnInstance(result.result(), inst.get()).rc;
  }
  EXPECT_EQ(last, CMPI_RC_ERR_FAILED);
  EXPECT_LT(returned, 5000u);
  // Refused from here on, without another try.
  EXPECT_EQ(CMReturnInstance(result.result(), inst.get()).rc, CMPI_RC_ERR_FAILED);
  result.finish_stream();
  EXPECT_TRUE(result.failed());
  EXPECT_LT(sink.frames(), 100u);
  const std::vector<LogLine> errors = log.at_level(2);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].text, "result " + std::to_string(sink.frames() + 1) +
                                " of request type " + std::to_string(ENUMINST) +
                                " cannot be passed on: " + std::strerror(EPIPE));
}

}  // namespace
}  // namespace hostd
