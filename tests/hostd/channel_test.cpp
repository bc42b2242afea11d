// Tests of the front/worker channel: the header, the reader that cuts messages out of arbitrary
// pieces, and the blocking writes and reads over a real stream socketpair.
#include "channel.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace hostd {
namespace {

using Sent = std::pair<MessageKind, std::string>;

// A stream socketpair closed at the end of the test.
struct Pair {
  int fd[2] = {-1, -1};
  Pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0) << std::strerror(errno); }
  ~Pair() {
    close_end(0);
    close_end(1);
  }
  void close_end(int i) {
    if (fd[i] >= 0) close(fd[i]);
    fd[i] = -1;
  }
};

std::string encoded(const std::vector<Sent> &messages) {
  std::string bytes;
  for (const Sent &m : messages) bytes += message_header(m.first, m.second.size()) + m.second;
  return bytes;
}

// Drains every whole message the reader holds; false when it reported kBroken.
bool drain(MessageReader *reader, std::vector<Sent> *out) {
  for (;;) {
    MessageReader::Message m{};
    MessageReader::Next next = reader->next(&m);
    if (next == MessageReader::Next::kBroken) return false;
    if (next == MessageReader::Next::kNeedMore) return true;
    out->emplace_back(m.kind, std::string(m.payload));
  }
}

std::string header_words(uint32_t kind, uint32_t size) {
  uint32_t words[2] = {kind, size};
  return std::string(reinterpret_cast<const char *>(words), sizeof words);
}

const std::vector<Sent> &sample() {
  static const std::vector<Sent> messages = {
      {MessageKind::kRequest, "{\"RequestType\":3}"},
      {MessageKind::kFrames, ""},
      {MessageKind::kFrames, std::string("a\0b", 3) + "CMPI_EOF"},
      {MessageKind::kFrames, std::string(5000, 'x')},
      {MessageKind::kEnd, "CMPIOPERATION_COMPLETECMPI_EOF"},
      {MessageKind::kEnd, ""},
  };
  return messages;
}

// ---- header ------------------------------------------------------------------------------------

TEST(MessageHeader, HoldsKindAndSizeAsTwoHostOrderWords) {
  const std::string header = message_header(MessageKind::kFrames, 0x01020304);
  ASSERT_EQ(header.size(), kMessageHeader);
  uint32_t words[2];
  std::memcpy(words, header.data(), sizeof words);
  EXPECT_EQ(words[0], 2u);
  EXPECT_EQ(words[1], 0x01020304u);
  EXPECT_EQ(message_header(MessageKind::kRequest, 0), header_words(1, 0));
  EXPECT_EQ(message_header(MessageKind::kEnd, 17), header_words(3, 17));
}

// ---- MessageReader -----------------------------------------------------------------------------

TEST(MessageReader, CutsMessagesFedOneByteAtATime) {
  const std::string bytes = encoded(sample());
  MessageReader reader;
  std::vector<Sent> got;
  for (char c : bytes) {
    reader.append(&c, 1);
    ASSERT_TRUE(drain(&reader, &got));
  }
  EXPECT_EQ(got, sample());
  EXPECT_EQ(reader.buffered(), 0u);
}

TEST(MessageReader, CutsMessagesFedInOnePiece) {
  const std::string bytes = encoded(sample());
  MessageReader reader;
  reader.append(bytes.data(), bytes.size());
  EXPECT_EQ(reader.buffered(), bytes.size());
  std::vector<Sent> got;
  ASSERT_TRUE(drain(&reader, &got));
  EXPECT_EQ(got, sample());
  EXPECT_EQ(reader.buffered(), 0u);
}

TEST(MessageReader, WaitsForTheWholeHeaderAndTheWholePayload) {
  const std::string bytes = message_header(MessageKind::kFrames, 4) + "abcd";
  MessageReader reader;
  MessageReader::Message m{};
  EXPECT_EQ(reader.next(&m), MessageReader::Next::kNeedMore);
  reader.append(bytes.data(), 7);
  EXPECT_EQ(reader.next(&m), MessageReader::Next::kNeedMore);
  reader.append(bytes.data() + 7, 4);
  EXPECT_EQ(reader.next(&m), MessageReader::Next::kNeedMore);
  EXPECT_EQ(reader.buffered(), 11u);
  reader.append(bytes.data() + 11, 1);
  ASSERT_EQ(reader.next(&m), MessageReader::Next::kMessage);
  EXPECT_EQ(m.kind, MessageKind::kFrames);
  EXPECT_EQ(m.payload, "abcd");
  EXPECT_EQ(reader.next(&m), MessageReader::Next::kNeedMore);
}

// Many messages in pieces of sizes that never line up with them: the reader keeps what it has
// not handed out across its own housekeeping.
TEST(MessageReader, CutsManyMessagesAcrossPiecesOfEverySize) {
  std::vector<Sent> messages;
  const MessageKind kinds[] = {MessageKind::kRequest, MessageKind::kFrames, MessageKind::kEnd};
  for (int i = 0; i < 600; ++i) {
    std::string payload(static_cast<std::size_t>((i * 7919) % 3001), '\0');
    for (std::size_t j = 0; j < payload.size(); ++j) {
      payload[j] = static_cast<char>('a' + (i + static_cast<int>(j)) % 26);
    }
    messages.emplace_back(kinds[i % 3], payload);
  }
  const std::string bytes = encoded(messages);
  ASSERT_GT(bytes.size(), 4u * 65536u);
  for (std::size_t piece : {1u, 5u, 8u, 13u, 4096u, 65537u, 200000u}) {
    MessageReader reader;
    std::vector<Sent> got;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
      reader.append(bytes.data() + at, std::min(piece, bytes.size() - at));
      ASSERT_TRUE(drain(&reader, &got)) << "piece " << piece;
    }
    EXPECT_EQ(got.size(), messages.size()) << "piece " << piece;
    EXPECT_TRUE(got == messages) << "piece " << piece;
    EXPECT_EQ(reader.buffered(), 0u);
  }
}

TEST(MessageReader, UnknownKindIsBroken) {
  for (uint32_t kind : {0u, 5u, 0x100u, 0xFFFFFFFFu}) {
    MessageReader reader;
    const std::string bytes = header_words(kind, 0);
    reader.append(bytes.data(), bytes.size());
    MessageReader::Message m{};
    EXPECT_EQ(reader.next(&m), MessageReader::Next::kBroken) << "kind " << kind;
  }
}

TEST(MessageReader, UnknownKindAfterGoodMessagesIsBrokenThere) {
  std::string bytes = encoded({{MessageKind::kFrames, "one"}}) + header_words(9, 3) + "two";
  MessageReader reader;
  reader.append(bytes.data(), bytes.size());
  std::vector<Sent> got;
  EXPECT_FALSE(drain(&reader, &got));
  EXPECT_EQ(got, (std::vector<Sent>{{MessageKind::kFrames, "one"}}));
}

TEST(MessageReader, OversizedPayloadIsBrokenAtOnce) {
  MessageReader reader;
  const std::string too_large =
      header_words(static_cast<uint32_t>(MessageKind::kFrames),
                   static_cast<uint32_t>(kMaxMessagePayload + 1));
  reader.append(too_large.data(), too_large.size());
  MessageReader::Message m{};
  EXPECT_EQ(reader.next(&m), MessageReader::Next::kBroken);

  // The largest allowed size is only waited for.
  MessageReader patient;
  const std::string largest = header_words(static_cast<uint32_t>(MessageKind::kFrames),
                                           static_cast<uint32_t>(kMaxMessagePayload));
  patient.append(largest.data(), largest.size());
  EXPECT_EQ(patient.next(&m), MessageReader::Next::kNeedMore);
}

// ---- write_message / read_message --------------------------------------------------------------

TEST(Channel, MessagesGoThroughASocketpairInOrder) {
  Pair p;
  for (const Sent &m : sample()) ASSERT_TRUE(write_message(p.fd[0], m.first, m.second));
  std::vector<Sent> got;
  for (std::size_t i = 0; i < sample().size(); ++i) {
    MessageKind kind{};
    std::string payload = "left over";
    ASSERT_TRUE(read_message(p.fd[1], &kind, &payload)) << "message " << i;
    got.emplace_back(kind, payload);
  }
  EXPECT_EQ(got, sample());
}

TEST(Channel, EmptyPayloadIsOnlyAHeader) {
  Pair p;
  ASSERT_TRUE(write_message(p.fd[0], MessageKind::kEnd, ""));
  p.close_end(0);
  char raw[16];
  ASSERT_EQ(read(p.fd[1], raw, sizeof raw), static_cast<ssize_t>(kMessageHeader));
  EXPECT_EQ(std::string(raw, kMessageHeader), message_header(MessageKind::kEnd, 0));
}

TEST(Channel, WrittenMessagesAreCutByTheReader) {
  Pair p;
  for (const Sent &m : sample()) ASSERT_TRUE(write_message(p.fd[0], m.first, m.second));
  p.close_end(0);
  MessageReader reader;
  std::vector<Sent> got;
  char piece[777];
  ssize_t n;
  while ((n = read(p.fd[1], piece, sizeof piece)) > 0) {
    reader.append(piece, static_cast<std::size_t>(n));
    ASSERT_TRUE(drain(&reader, &got));
  }
  EXPECT_EQ(got, sample());
}

// Far more than a socket buffer holds: the writer blocks until the reader has taken it.
TEST(Channel, PayloadOfSeveralMebibytesFromAThread) {
  Pair p;
  std::string big(6u * 1024u * 1024u + 3u, '\0');
  for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>((i * 131u) >> 3);
  bool written = false;
  bool written_after = false;
  std::thread writer([&] {
    written = write_message(p.fd[0], MessageKind::kFrames, big);
    written_after = write_message(p.fd[0], MessageKind::kEnd, "done");
  });
  MessageKind kind{};
  std::string payload;
  const bool read_big = read_message(p.fd[1], &kind, &payload);
  MessageKind end_kind{};
  std::string end_payload;
  const bool read_end = read_message(p.fd[1], &end_kind, &end_payload);
  writer.join();
  ASSERT_TRUE(written);
  ASSERT_TRUE(written_after);
  ASSERT_TRUE(read_big);
  EXPECT_EQ(kind, MessageKind::kFrames);
  EXPECT_EQ(payload.size(), big.size());
  EXPECT_TRUE(payload == big);
  ASSERT_TRUE(read_end);
  EXPECT_EQ(end_kind, MessageKind::kEnd);
  EXPECT_EQ(end_payload, "done");
}

TEST(Channel, ReadReturnsFalseAtTheChannelsEnd) {
  Pair p;
  ASSERT_TRUE(write_message(p.fd[0], MessageKind::kEnd, "last"));
  p.close_end(0);
  MessageKind kind{};
  std::string payload;
  ASSERT_TRUE(read_message(p.fd[1], &kind, &payload));
  EXPECT_EQ(payload, "last");
  EXPECT_FALSE(read_message(p.fd[1], &kind, &payload));
}

TEST(Channel, ReadReturnsFalseWhenTheChannelEndsInsideAMessage) {
  for (std::size_t keep : {std::size_t{3}, kMessageHeader, kMessageHeader + 5}) {
    Pair p;
    const std::string bytes = message_header(MessageKind::kFrames, 10) + "0123456789";
    ASSERT_EQ(write(p.fd[0], bytes.data(), keep), static_cast<ssize_t>(keep));
    p.close_end(0);
    MessageKind kind{};
    std::string payload;
    EXPECT_FALSE(read_message(p.fd[1], &kind, &payload)) << "kept " << keep << " bytes";
  }
}

TEST(Channel, ReadRefusesAnUnknownKindOrAnOversizedPayload) {
  const std::string headers[] = {
      header_words(7, 0),
      header_words(static_cast<uint32_t>(MessageKind::kFrames),
                   static_cast<uint32_t>(kMaxMessagePayload + 1)),
  };
  for (const std::string &header : headers) {
    Pair p;
    ASSERT_EQ(write(p.fd[0], header.data(), header.size()),
              static_cast<ssize_t>(header.size()));
    MessageKind kind{};
    std::string payload;
    errno = 0;
    EXPECT_FALSE(read_message(p.fd[1], &kind, &payload));
    EXPECT_EQ(errno, EPROTO);
  }
}

TEST(Channel, WriteRefusesAnOversizedPayloadWithoutWriting) {
  // Address space only: nothing is ever touched, so nothing is committed.
  const std::size_t size = kMaxMessagePayload + 1;
  void *space = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(space, MAP_FAILED);
  Pair p;
  errno = 0;
  EXPECT_FALSE(write_message(p.fd[0], MessageKind::kFrames,
                             std::string_view(static_cast<const char *>(space), size)));
  EXPECT_EQ(errno, EMSGSIZE);
  munmap(space, size);
  p.close_end(0);
  char c;
  EXPECT_EQ(read(p.fd[1], &c, 1), 0);  // nothing was sent
}

TEST(Channel, WriteFailsWhenThePeerIsGone) {
  struct sigaction ignore {}, previous {};
  ignore.sa_handler = SIG_IGN;
  ASSERT_EQ(sigaction(SIGPIPE, &ignore, &previous), 0);
  Pair p;
  p.close_end(1);
  errno = 0;
  EXPECT_FALSE(write_message(p.fd[0], MessageKind::kFrames, "nobody reads this"));
  EXPECT_EQ(errno, EPIPE);
  sigaction(SIGPIPE, &previous, nullptr);
}

}  // namespace
}  // namespace hostd
