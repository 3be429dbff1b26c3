#include "base/byte_ring.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <thread>
#include <vector>

namespace vantaro {
namespace {

TEST(ByteRing, WritesAndReadsAreAllOrNothing) {
  ByteRing ring(10);
  const char data[] = "abcdefghijkl";
  EXPECT_TRUE(ring.Write(data, 6));
  EXPECT_FALSE(ring.Write(data, 5)) << "5 bytes do not fit in the 4 left";
  EXPECT_EQ(ring.Available(), 6u) << "a refused write leaves nothing behind";
  EXPECT_TRUE(ring.Write(data + 6, 4));
  EXPECT_EQ(ring.Free(), 0u);

  char out[16] = {};
  EXPECT_FALSE(ring.Read(out, 11));
  EXPECT_EQ(out[0], 0) << "a refused read delivers nothing";
  EXPECT_TRUE(ring.Read(out, 10));
  EXPECT_EQ(std::string(out, 10), "abcdefghij");
  EXPECT_FALSE(ring.Read(out, 1)) << "empty ring";
}

TEST(ByteRing, WrapsAroundTheEndOfItsStorage) {
  ByteRing ring(7);
  std::vector<std::uint8_t> out(5);
  std::uint8_t next = 0, expected = 0;
  for (int round = 0; round < 50; ++round) {
    std::vector<std::uint8_t> in(5);
    for (auto& b : in) b = next++;
    ASSERT_TRUE(ring.Write(in.data(), in.size()));
    ASSERT_TRUE(ring.Read(out.data(), out.size()));
    for (auto b : out) ASSERT_EQ(b, expected++) << "round " << round;
  }
}

TEST(ByteRing, ClearEmptiesAndLockedModeBehavesTheSame) {
  for (bool locked : {false, true}) {
    ByteRing ring(8, locked);
    ASSERT_TRUE(ring.Write("12345678", 8));
    ring.Clear();
    EXPECT_EQ(ring.Available(), 0u);
    EXPECT_TRUE(ring.Write("xy", 2));
    char out[2];
    EXPECT_TRUE(ring.Read(out, 2));
    EXPECT_EQ(std::string(out, 2), "xy");
  }
}

// One writer and one reader on two threads, with block sizes that do not
// divide the capacity: every byte arrives once and in order.
TEST(ByteRing, OneWriterOneReaderKeepOrderUnderLoad) {
  ByteRing ring(1000);
  constexpr std::uint32_t kWords = 200000;
  std::thread writer([&] {
    std::uint32_t next = 0;
    while (next < kWords) {
      std::uint32_t block[13];
      const std::uint32_t count = std::min<std::uint32_t>(13, kWords - next);
      std::iota(block, block + count, next);
      if (ring.Write(block, count * 4)) next += count;
    }
  });
  std::uint32_t expected = 0;
  while (expected < kWords) {
    std::uint32_t block[7];
    const std::uint32_t count = std::min<std::uint32_t>(7, kWords - expected);
    if (!ring.Read(block, count * 4)) continue;
    for (std::uint32_t i = 0; i < count; ++i) ASSERT_EQ(block[i], expected + i);
    expected += count;
  }
  writer.join();
  EXPECT_EQ(ring.Available(), 0u);
}

}  // namespace
}  // namespace vantaro
