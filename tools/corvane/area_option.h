// Picture areas given on the command line as "left,top,right,bottom", right
// and bottom one past the last column and line.
#pragma once

#include <string>

#include "core/types.h"

namespace corvane::tool {

// A check area and the area where its text is read.
struct AreaOption {
  CRect check;
  CRect ocr;
};

// "L,T,R,B" or, with `allowPartner`, "L,T,R,B:L,T,R,B" where the second
// rectangle is the OCR area; without it the OCR area is the check area.
// Throws ToolError naming the text.
AreaOption ParseAreaOption(const std::string& text, bool allowPartner);

// Throws ToolError unless the area is not empty and lies within the picture.
void CheckAreaInside(const CRect& area, int width, int height, const std::string& what);

}  // namespace corvane::tool
