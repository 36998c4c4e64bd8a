// The status line: its font, where and how it is drawn, and its log line.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "deinterlace/deinterlace_test_support.h"
#include "deinterlace/status_font.h"

namespace {

using namespace deinterlace_test;

using StatusLineTest = LeakCheckedTest;

bool Ink(const std::string& text, int x, int y) {
  const size_t cell = static_cast<size_t>(x / status_font::kCellWidth);
  if (y < 60 || y >= 80 || cell >= text.size()) return false;
  return status_font::IsSet(status_font::Glyph(text[cell])[y - 60], x % status_font::kCellWidth);
}

bool InCell(const std::string& text, int x, int y) {
  return y >= 60 && y < 80 && x < static_cast<int>(text.size()) * status_font::kCellWidth;
}

TEST(StatusFontTest, GlyphsAreDistinctAndInkedOnlyInTheirArea) {
  std::set<std::vector<uint16_t>> shapes;
  for (int c = status_font::kFirstChar; c <= status_font::kLastChar; ++c) {
    const uint16_t* glyph = status_font::Glyph(static_cast<char>(c));
    uint16_t ink = 0;
    for (int row = 0; row < 20; ++row) {
      if (row < 2 || row > 18) {
        EXPECT_EQ(glyph[row], 0) << "char " << c << " row " << row;
      }
      EXPECT_EQ(glyph[row] & ~0x7fc0, 0) << "char " << c << " row " << row << ": bits 14..6 only";
      ink |= glyph[row];
    }
    EXPECT_EQ(ink != 0, c != ' ') << "char " << c;
    shapes.insert(std::vector<uint16_t>(glyph, glyph + 20));
  }
  EXPECT_EQ(shapes.size(), 95u) << "every character has a shape of its own";
  EXPECT_EQ(status_font::Glyph('\n'), status_font::Glyph(' '));
  EXPECT_EQ(status_font::Glyph('\x7f'), status_font::Glyph(' '));
}

TEST(StatusFontTest, MinusAndBarByHand) {
  // '-' is one bar, two rows high, over design row 3; '|' a stem two pixels
  // wide in the middle column, from row 2 to row 17.
  const uint16_t* minus = status_font::Glyph('-');
  const uint16_t* bar = status_font::Glyph('|');
  for (int row = 0; row < 20; ++row) {
    EXPECT_EQ(minus[row], row == 8 || row == 9 ? 0x7f80 : 0) << row;
    EXPECT_EQ(bar[row], row >= 2 && row <= 17 ? 0x0c00 : 0) << row;
  }
}

TEST_F(StatusLineTest, DrawnFromRow60WithDimmedGroundAndNeutralChroma) {
  const std::string text = "PTS -5: Clean frame";
  // Each cell pixel without ink takes its chroma sample halfway to 128, ink sets 128.
  const int afterVisits[] = {40, 84, 106, 117, 122};
  for (CHROMA chroma : {CHROMA_420, CHROMA_422, CHROMA_444}) {
    SCOPED_TRACE(chroma);
    Settings settings;
    settings.showStatus = true;
    OpenDeinterlacer deinterlacer(settings);
    CYUVFrame frame = FlatFrame(320, 96, 201, 40, 40, chroma);
    frame.stampA = -5;
    LogCapture log;
    deinterlacer.DeinterlaceFrame(frame);
    EXPECT_TRUE(log.lines.empty()) << "showStatus alone does not log";
    for (int y = 0; y < 96; ++y) {
      for (int x = 0; x < 320; ++x) {
        const int expected = !InCell(text, x, y) ? 201 : Ink(text, x, y) ? 235 : 201 * 3 >> 2;  // 150.75 truncated
        ASSERT_EQ(Y(frame, x, y), expected) << x << "," << y;
      }
    }
    const int columns = chroma == CHROMA_444 ? 1 : 2;
    const int rows = chroma == CHROMA_420 ? 2 : 1;
    for (int y = 0; y < ChromaHeight(frame); ++y) {
      for (int x = 0; x < ChromaWidth(frame); ++x) {
        bool ink = false;
        int visits = 0;
        for (int k = 0; k < columns; ++k) {
          for (int r = 0; r < rows; ++r) {
            ink |= Ink(text, columns * x + k, rows * y + r);
            visits += InCell(text, columns * x + k, rows * y + r) ? 1 : 0;
          }
        }
        ASSERT_EQ(U(frame, x, y), ink ? 128 : afterVisits[visits]) << x << "," << y;
        ASSERT_EQ(V(frame, x, y), ink ? 128 : afterVisits[visits]) << x << "," << y;
      }
    }
  }
}

TEST_F(StatusLineTest, ClippedToSmallFramesAndLoggedAfterDrawing) {
  Settings settings;
  settings.deinterlaceAll = true;
  settings.showStatus = settings.logStatus = true;
  OpenDeinterlacer deinterlacer(settings);
  CYUVFrame frame = FlatFrame(60, 70, 200, 40, 40);
  const std::vector<uint8_t> before = Block(frame);
  frame.stampA = 123456789012;
  const std::string text = "PTS 123456789012: Deinterlacing all frames";
  std::vector<std::string> lines;
  bool drawnBeforeLogging = false;
  CLogger::SetSink([&](int, const std::string& line) {
    lines.push_back(line);
    drawnBeforeLogging = Y(frame, 0, 62) == (Ink(text, 0, 62) ? 235 : 150);
  });
  deinterlacer.DeinterlaceFrame(frame);
  CLogger::SetSink(nullptr);
  EXPECT_EQ(lines, std::vector<std::string>{"SmartDeinterlace: frame PTS 123456789012: Deinterlacing all frames"});
  EXPECT_TRUE(drawnBeforeLogging);
  // Picture rows 60..69 and columns 0..59 are drawn; padding stays.
  for (int y = 0; y < frame.paddedHeight; ++y) {
    for (int x = 0; x < frame.stride; ++x) {
      const size_t at = static_cast<size_t>(y * frame.stride + x);
      const bool drawn = x < 60 && y >= 60 && y < 70;
      ASSERT_EQ(frame.y[at], drawn ? (Ink(text, x, y) ? 235 : 150) : before[at]) << x << "," << y;
    }
  }
  for (int y = 0; y < frame.chromaHeight; ++y) {
    for (int x = 0; x < frame.chromaStride; ++x) {
      if (x >= 30 || y < 30 || y >= 35) {
        ASSERT_EQ(U(frame, x, y), 40) << x << "," << y;
      }
    }
  }

  CYUVFrame shortFrame = FlatFrame(64, 60, 200, 40, 40);
  const std::vector<uint8_t> shortBefore = Block(shortFrame);
  LogCapture log;
  deinterlacer.DeinterlaceFrame(shortFrame);
  EXPECT_EQ(log.lines.size(), 1u);
  EXPECT_EQ(Block(shortFrame), shortBefore) << "a frame of 60 rows has no room for the line";
}

}  // namespace
