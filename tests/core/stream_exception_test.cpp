#include "core/stream_exception.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {

TEST(StreamExceptionTest, TextsAtTheEdgesAndAroundTheGaps) {
  EXPECT_STREQ(CStreamException(1).GetMessage(), "Audio Stream not MPEG1");
  EXPECT_STREQ(CStreamException(12).GetMessage(), "Audio Corrupt Frame Header");
  EXPECT_STREQ(CStreamException(45).GetMessage(), "DVR-MS output error.");
  EXPECT_STREQ(CStreamException(47).GetMessage(), "DVD Muxer initialization error.");
  EXPECT_STREQ(CStreamException(50).GetMessage(), "Can't find a matching silent AC3 frame.");
  EXPECT_STREQ(CStreamException(69).GetMessage(), "WtvPacker.dll library not found.");
  EXPECT_STREQ(CStreamException(71).GetMessage(), "Open error for WTV output");
  EXPECT_STREQ(CStreamException(83).GetMessage(), "H.264 inside a program stream is not yet supported.");
  EXPECT_STREQ(CStreamException(12).GetName(), "MpegStreamExcept");
}

TEST(StreamExceptionTest, EveryCodeFrom1To83ButTheGapsHasItsOwnText) {
  std::set<std::string> texts;
  for (int code = 1; code <= 83; ++code) {
    if (code != 46 && code != 70) {
      EXPECT_TRUE(texts.insert(CStreamException(code).GetMessage()).second) << "code " << code << " repeats";
    }
  }
  EXPECT_EQ(texts.size(), 81u);
  for (int code : {0, -1, -2147483647 - 1, 46, 70, 84, 85, 1000}) {
    EXPECT_STREQ(CStreamException(code).GetMessage(), "Unknown error.") << "code " << code;
  }
}

TEST(StreamExceptionTest, CopyKeepsCodeAndDetailAndCatchesAsBase) {
  CStreamException original(31);
  std::strcpy(original.detail, "48000 Hz became 44100 Hz");
  const char* message = nullptr;
  try {
    throw original;
  } catch (const Except& caught) {
    EXPECT_EQ(caught.code, 31);
    EXPECT_STREQ(caught.detail, "48000 Hz became 44100 Hz");
    message = caught.GetMessage();
  }
  // The text is static: it outlives the exception.
  EXPECT_STREQ(message, "Audio sampling rate has changed.");
  EXPECT_EQ(CStreamException(5).detail[0], '\0');
}

}  // namespace
