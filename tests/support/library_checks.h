// Fixtures shared by the library's tests: a leak check by the frame buffer
// allocator's counters, and a capture of the logged lines.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/buffer_alloc.h"
#include "platform/logger.h"

namespace corvane::test {

// Every test must give back exactly the blocks it took.
class LeakCheckedTest : public ::testing::Test {
 protected:
  void SetUp() override {
    largeBlocks_ = LargeBufferLiveBlocks();
    blocks_ = BufferLiveBlocks();
  }
  void TearDown() override {
    EXPECT_EQ(LargeBufferLiveBlocks(), largeBlocks_);
    EXPECT_EQ(BufferLiveBlocks(), blocks_);
  }

 private:
  int64_t largeBlocks_ = 0;
  int64_t blocks_ = 0;
};

// Collects the logged lines, as "level:line", while it lives.
class LogCapture {
 public:
  LogCapture() {
    CLogger::SetSink(
        [this](int level, const std::string& line) { lines.push_back(std::to_string(level) + ":" + line); });
  }
  ~LogCapture() { CLogger::SetSink(nullptr); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  std::vector<std::string> lines;
};

}  // namespace corvane::test
