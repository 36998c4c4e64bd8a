// Settings of `corvane deinterlace` that its demo step shares.
#pragma once

namespace corvane::tool {

// Thresholds a user can start with. A comb product of 400 is a row that
// stands 20 levels off both rows of the other field in the same direction;
// 100, 10 levels, marks the pixels repaired around such rows.
inline constexpr int kDefaultCombThreshold = 400;
inline constexpr int kDefaultMotionThreshold = 100;

}  // namespace corvane::tool
