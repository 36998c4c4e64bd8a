// `corvane convert`: chroma format and colour matrix conversion of a
// YUV4MPEG2 stream.
#include <cstdio>

#include "args.h"
#include "command.h"
#include "image/image_support.h"
#include "output_file.h"
#include "progress.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

CHROMA ChromaOption(const std::string& text) {
  if (text == "420") return CHROMA_420;
  if (text == "422") return CHROMA_422;
  throw ToolError("--chroma takes 420 or 422, not '" + text + "'");
}

int RunConvert(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"chroma"}, {"bt709-to-bt601"});
  args.ExpectPositional(2, "IN and OUT");
  Y4MReader reader(args.Positional()[0]);
  Y4MFormat format = reader.Format();
  const CHROMA chroma = args.Has("chroma") ? ChromaOption(args.Get("chroma", "")) : format.chroma;
  const bool matrix = args.Has("bt709-to-bt601");
  if (chroma != format.chroma && format.chroma == CHROMA_444) {
    throw ToolError(args.Positional()[0] + ": 4:4:4 input cannot be converted to another chroma format");
  }
  format.chroma = chroma;
  OutputFile output(args.Positional()[1]);
  Y4MWriter writer(output, format);
  Progress progress("convert", reader.ExpectedFrames());
  CYUVFrame source, converted, corrected;
  uint64_t frames = 0;
  while (reader.ReadFrame(source)) {
    CImageSupport::ConvertChroma(&source, &converted, chroma);
    if (matrix) {
      CImageSupport::ConvertColorSpace(CImageSupport::COLOR_SPACE_BT709_TO_BT601, converted, corrected);
      writer.WriteFrame(corrected);
    } else {
      writer.WriteFrame(converted);
    }
    progress.Update(++frames);
  }
  output.Commit();
  std::fprintf(stderr, "convert: %llu frames%s\n", static_cast<unsigned long long>(frames),
               matrix ? ", BT.709 to BT.601" : "");
  return 0;
}

const bool registered = RegisterCommand({
    "convert",
    "convert a YUV4MPEG2 stream between 4:2:0 and 4:2:2, or BT.709 to BT.601",
    "usage: corvane convert IN.y4m OUT.y4m [--chroma 420|422] [--bt709-to-bt601]\n"
    "\n"
    "  --chroma 420|422    output chroma format; 4:2:0 to 4:2:2 filters each field on\n"
    "                      its own unless the input is progressive\n"
    "  --bt709-to-bt601    convert the colour matrix of studio-range YCbCr\n",
    RunConvert,
});

}  // namespace
}  // namespace corvane::tool
