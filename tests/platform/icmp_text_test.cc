#include "platform/icmp_text.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

// The sum over a message with its checksum is all ones.
bool Adds(const std::string& message) {
  uint32_t sum = 0;
  for (size_t at = 0; at < message.size(); at += 2) {
    sum += static_cast<uint32_t>(static_cast<uint8_t>(message[at])) << 8;
    if (at + 1 < message.size()) sum += static_cast<uint8_t>(message[at + 1]);
  }
  while (sum >> 16 != 0) sum = (sum & 0xFFFF) + (sum >> 16);
  return sum == 0xFFFF;
}

TEST(EchoRequest, IsAsOthersReadIt) {
  EXPECT_EQ(EchoRequest(false, {0x1234, 2, "ab"}), std::string("\x08\x00\x84\x67\x12\x34\x00\x02"
                                                               "ab",
                                                               10));
  for (const char* payload : {"", "a", "ab", "abc"}) EXPECT_TRUE(Adds(EchoRequest(false, {1, 2, payload}))) << payload;
}

TEST(ReadEchoReply, RepliesAlone) {
  const std::string request = EchoRequest(false, {7, 9, "xyz"});
  EXPECT_FALSE(ReadEchoReply(false, request)) << "one's own question comes back on loopback";
  std::string reply = request;
  reply[0] = 0;
  const auto echo = ReadEchoReply(false, reply);
  ASSERT_TRUE(echo);
  EXPECT_EQ(echo->id, 7);
  EXPECT_EQ(echo->sequence, 9);
  EXPECT_EQ(echo->payload, "xyz");
  EXPECT_FALSE(ReadEchoReply(true, reply));
  for (size_t n = 0; n < kEchoHeaderBytes; ++n) EXPECT_FALSE(ReadEchoReply(false, reply.substr(0, n))) << n;
}

TEST(MessageInPacket, BehindTheHeader) {
  const std::string packet = "\x46" + std::string(23, '\0') + "message";
  EXPECT_EQ(MessageInPacket(packet), "message");
  EXPECT_EQ(MessageInPacket(packet.substr(0, 22)), "") << "the header is longer than that";
  EXPECT_EQ(MessageInPacket("\x41" + std::string(30, '\0')), "");
  EXPECT_EQ(MessageInPacket("\x60" + std::string(50, '\0')), "");
  EXPECT_EQ(MessageInPacket(""), "");
}

TEST(IcmpText, InWords) {
  EXPECT_EQ(IcmpText(false, 3, 1), "host unreachable");
  EXPECT_EQ(IcmpText(true, 1, 3), "host unreachable");
  EXPECT_EQ(IcmpText(false, 3, 13), "forbidden by a filter");
  EXPECT_EQ(IcmpText(false, 3, 99), "unreachable (ICMP type 3, code 99)");
  EXPECT_TRUE(IsTimeExceeded(false, 11));
  EXPECT_TRUE(IsTimeExceeded(true, 3));
  EXPECT_TRUE(IsPortUnreachable(false, 3, 3));
  EXPECT_TRUE(IsPortUnreachable(true, 1, 4));
}

struct OutputCase {
  const char *name, *text;
  int bytes, ttl;
  int64_t us;
};

constexpr OutputCase kOutputs[] = {
    {"iputils",
     "PING 10.0.0.1 (10.0.0.1) 32(60) bytes of data.\n40 bytes from 10.0.0.1: icmp_seq=1 ttl=64 time=0.045 ms\n", 32,
     64, 45},
    {"whole milliseconds", "40 bytes from ::1: icmp_seq=1 ttl=55 time=123 ms\n", 32, 55, 123'000},
    {"inetutils", "40 bytes from 10.0.0.1: icmp_seq=0 ttl=63 time=1,5 ms\n", 32, 63, 1'000},
    {"a limit of hops", "64 bytes from ::1: icmp_seq=1 hlim=55 time=1.5 ms\n", 56, 55, 1'500},
};

TEST(ReadPingOutput, OfEachProgram) {
  for (const OutputCase& c : kOutputs) {
    const auto reply = ReadPingOutput(c.text);
    ASSERT_TRUE(reply) << c.name;
    EXPECT_EQ(reply->bytes, c.bytes) << c.name;
    EXPECT_EQ(reply->ttl, c.ttl) << c.name;
    EXPECT_EQ(reply->time_us, c.us) << c.name;
  }
  for (const char* none : {"", "PING x\n", "From 10.0.0.1 icmp_seq=1 Destination Host Unreachable\n",
                           "40 bytes from 10.0.0.1: icmp_seq=1\n"}) {
    EXPECT_FALSE(ReadPingOutput(none)) << none;
  }
}

}  // namespace
}  // namespace vantry
