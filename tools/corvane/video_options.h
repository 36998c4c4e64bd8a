// Parsing of the picture options that several video commands share.
#pragma once

#include <string>

#include "args.h"
#include "core/types.h"

namespace corvane::tool {

// "WxH", each side from `minimum` to 16384.
CSize ParseSize(const std::string& text, const char* option, int minimum);
// "RRGGBB" in hexadecimal, as a colour word (R in the lowest byte).
unsigned long ParseColour(const std::string& text, const char* option);
// A rectangle option "l,t,r,b", or `fallback` when absent.
CRect GetRect(const Args& args, const std::string& name, const CRect& fallback);

}  // namespace corvane::tool
