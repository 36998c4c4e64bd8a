// `corvane resize`: crop and scale a YUV4MPEG2 stream through the library's
// crop-and-resize block, field by field for interlaced input.
#include <cstdio>

#include "args.h"
#include "command.h"
#include "image/image_support.h"
#include "output_file.h"
#include "progress.h"
#include "video_options.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

// The crop names what is taken off each edge; negative values reach outside
// the picture and become bars.
CRect SourceAreaOf(const CRect& crop, const Y4MFormat& format) {
  const CRect area(crop.left, crop.top, format.width - crop.right, format.height - crop.bottom);
  const bool overlaps = area.left < format.width && area.top < format.height && area.right > 0 && area.bottom > 0;
  if (area.Width() <= 0 || area.Height() <= 0 || !overlaps) {
    throw ToolError("--crop leaves nothing of the " + std::to_string(format.width) + "x" +
                    std::to_string(format.height) + " picture");
  }
  return area;
}

void CheckMargins(const CRect& margins, const CSize& target) {
  if (margins.left < 0 || margins.top < 0 || margins.right < 0 || margins.bottom < 0 ||
      target.cx - margins.left - margins.right < 2 || target.cy - margins.top - margins.bottom < 2) {
    throw ToolError("--margins must be positive and leave at least 2x2 pixels of the " + std::to_string(target.cx) +
                    "x" + std::to_string(target.cy) + " output for the picture");
  }
}

int RunResize(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"size", "crop", "margins", "fill"}, {"supersample"});
  args.ExpectPositional(2, "IN and OUT");
  if (!args.Has("size")) throw ToolError("--size WIDTHxHEIGHT is required");
  const CSize target = ParseSize(args.Get("size", ""), "size", 2);
  const CRect margins = GetRect(args, "margins", CRect(0, 0, 0, 0));
  CheckMargins(margins, target);
  const unsigned long fill = ParseColour(args.Get("fill", "000000"), "fill");

  Y4MReader reader(args.Positional()[0]);
  Y4MFormat format = reader.Format();
  const CRect sourceArea = SourceAreaOf(GetRect(args, "crop", CRect(0, 0, 0, 0)), format);
  const auto quality = args.Has("supersample") ? CImageSupport::RESIZE_QUALITY_SUPERSAMPLE
                                               : CImageSupport::RESIZE_QUALITY_STANDARD;
  CCropResizeParams* params = nullptr;
  CImageSupport::CropResizeYUVInitialize(&params, CSize(format.width, format.height), target, sourceArea, margins,
                                         fill, format.chroma, 0, quality);
  struct Release {
    CCropResizeParams* params;
    ~Release() { CImageSupport::CropResizeYUVReleaseParamBlock(params); }
  } release{params};
  // The block places crops and bars in lines of picture width, which is the
  // frames' stride only for widths that are multiples of 16.
  if ((params->lumaSourceOffset != 0 && format.width % 16 != 0) ||
      (params->lumaTargetOffset != 0 && target.cx % 16 != 0)) {
    throw ToolError("--crop and --margins need picture widths that are multiples of 16");
  }

  format.width = target.cx;
  format.height = target.cy;
  OutputFile output(args.Positional()[1]);
  Y4MWriter writer(output, format);
  Progress progress("resize", reader.ExpectedFrames());
  CYUVFrame source, scaled;
  uint64_t frames = 0;
  while (reader.ReadFrame(source)) {
    CImageSupport::CropResizeYUV(scaled, source, *params);
    scaled.progressive = source.progressive;
    scaled.topFieldFirst = source.topFieldFirst;
    writer.WriteFrame(scaled);
    progress.Update(++frames);
  }
  output.Commit();
  std::fprintf(stderr, "resize: %llu frames to %dx%d (factors %.4f x %.4f, %s)\n",
               static_cast<unsigned long long>(frames), target.cx, target.cy, params->xFactor, params->yFactor,
               params->interpolation == 8 ? "supersampling" : "cubic");
  return 0;
}

const bool registered = RegisterCommand({
    "resize",
    "crop and scale a YUV4MPEG2 stream (field by field when interlaced)",
    "usage: corvane resize IN.y4m OUT.y4m --size WxH [--crop l,t,r,b] [--margins l,t,r,b]\n"
    "                      [--fill RRGGBB] [--supersample]\n"
    "\n"
    "  --size WxH          output picture size\n"
    "  --crop l,t,r,b      pixels taken off each edge of the source; negative values\n"
    "                      reach outside the picture and become bars\n"
    "  --margins l,t,r,b   insets of the picture in the output, the rest is bars\n"
    "  --fill RRGGBB       colour of the bars (default 000000)\n"
    "  --supersample       area averaging for reductions to 0.9 or less (else cubic)\n"
    "Interlaced input (y4m It/Ib) is scaled field by field. '-' reads stdin or writes stdout.\n",
    RunResize,
});

}  // namespace
}  // namespace corvane::tool
