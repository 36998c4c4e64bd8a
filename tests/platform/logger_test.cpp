#include "platform/logger.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/buffer_alloc.h"

namespace {

TEST(LoggerTest, SinkReceivesFormattedLinesWithoutLineFeed) {
  std::vector<std::string> lines;
  CLogger::SetSink([&](int level, const std::string& line) { lines.push_back(std::to_string(level) + ":" + line); });
  CLogger::Log(0, "Image   support lib: %s, %s", "1.0", "portable");
  CLogger::Log(2, "%d frames\n", 12);
  CLogger::SetSink(nullptr);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "0:Image   support lib: 1.0, portable");
  EXPECT_EQ(lines[1], "2:12 frames");
}

TEST(BufferAllocatorTest, CountsBlocksAndBytesPerPool) {
  const int64_t blocks = BufferLiveBlocks();
  const int64_t bytes = BufferLiveBytes();
  const int64_t largeBlocks = LargeBufferLiveBlocks();
  void* a = BufferMalloc(100);
  void* b = LargeBufferMalloc(1000);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % 64, 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % 64, 0u);
  EXPECT_EQ(BufferLiveBlocks(), blocks + 1);
  EXPECT_EQ(BufferLiveBytes(), bytes + 100);
  EXPECT_EQ(LargeBufferLiveBlocks(), largeBlocks + 1);
  BufferFree(a);
  LargeBufferFree(b);
  BufferFree(nullptr);
  EXPECT_EQ(BufferLiveBlocks(), blocks);
  EXPECT_EQ(BufferLiveBytes(), bytes);
  EXPECT_EQ(LargeBufferLiveBlocks(), largeBlocks);
}

TEST(BufferAllocatorDeathTest, BlockGivenToTheWrongPoolAborts) {
  void* block = BufferMalloc(16);
  EXPECT_DEATH(LargeBufferFree(block), "not allocated by this pool");
  BufferFree(block);
}

}  // namespace
