#include "platform/logger.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/buffer_alloc.h"
#include "support/library_checks.h"

namespace {

TEST(LoggerTest, SinkReceivesFormattedLinesWithoutLineFeed) {
  corvane::test::LogCapture log;
  CLogger::Log(0, "Image   support lib: %s, %s", "1.0", "portable");
  CLogger::Log(2, "%d frames\n", 12);
  EXPECT_EQ(log.lines, (std::vector<std::string>{"0:Image   support lib: 1.0, portable", "2:12 frames"}));
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
