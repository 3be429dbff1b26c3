#include "base/byte_ring.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <thread>
#include <vector>

namespace vantaro {
namespace {

// Both modes; the wrap round the end of the storage at every offset is the
// load test's below.
TEST(ByteRing, WritesAndReadsAreAllOrNothing) {
  for (bool locked : {false, true}) {
    ByteRing ring(10, locked);
    const char data[] = "abcdefghijkl";
    EXPECT_TRUE(ring.Write(data, 6));
    EXPECT_FALSE(ring.Write(data, 5)) << "5 bytes do not fit in the 4 left";
    EXPECT_EQ(ring.Available(), 6u) << "a refused write leaves nothing behind";
    EXPECT_TRUE(ring.Write(data + 6, 4));
    EXPECT_EQ(ring.Free(), 0u);
    char out[16] = {};
    EXPECT_FALSE(ring.Read(out, 11));
    EXPECT_EQ(out[0], 0) << "a refused read delivers nothing";
    EXPECT_TRUE(ring.Read(out, 7));
    EXPECT_TRUE(ring.Write("mnopqr", 6));
    EXPECT_TRUE(ring.Read(out + 7, 9));
    EXPECT_EQ(std::string(out, 16), "abcdefghijmnopqr");
    EXPECT_FALSE(ring.Read(out, 1)) << "empty ring";
    ASSERT_TRUE(ring.Write("xy", 2));
    ring.Clear();
    EXPECT_EQ(ring.Available(), 0u);
  }
}

// One writer and one reader on two threads, with block sizes that do not
// divide the capacity: every byte arrives once and in order.
TEST(ByteRing, OneWriterOneReaderKeepOrderUnderLoad) {
  ByteRing ring(1000);
  constexpr std::uint32_t kWords = 13 * 7 * 2000;
  std::thread writer([&] {
    std::uint32_t next = 0;
    while (next < kWords) {
      std::uint32_t block[13];
      std::iota(block, block + 13, next);
      if (ring.Write(block, sizeof block)) next += 13;
    }
  });
  std::uint32_t expected = 0;
  while (expected < kWords) {
    std::uint32_t block[7];
    if (!ring.Read(block, sizeof block)) continue;
    for (std::uint32_t i = 0; i < 7; ++i) ASSERT_EQ(block[i], expected + i);
    expected += 7;
  }
  writer.join();
  EXPECT_EQ(ring.Available(), 0u);
}

}  // namespace
}  // namespace vantaro
