// `corvane snapshot` and `corvane dump`: one frame as a BMP file, or frames as
// raw YUV dumps with their header side file.
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "args.h"
#include "command.h"
#include "image/image_support.h"
#include "output_file.h"
#include "platform/bitmap.h"
#include "platform/global_memory.h"
#include "progress.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

int RunSnapshot(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"frame"});
  args.ExpectPositional(2, "IN.y4m and OUT.bmp");
  const int wanted = args.GetInt("frame", 0, 0, 1 << 30);
  Y4MReader reader(args.Positional()[0]);
  const Y4MFormat& format = reader.Format();
  if (format.chroma == CHROMA_444) throw ToolError(args.Positional()[0] + ": snapshot needs 4:2:0 or 4:2:2 input");
  if (format.width > 2048) throw ToolError(args.Positional()[0] + ": snapshot takes pictures up to 2048 pixels wide");
  CYUVFrame frame;
  for (int index = 0; index <= wanted; ++index) {
    if (!reader.ReadFrame(frame)) {
      throw ToolError(args.Positional()[0] + ": the stream has only " + std::to_string(index) + " frames");
    }
  }
  CBitmap bitmap;
  CImageSupport::ConvertYUV2RGB(&bitmap, &frame, false, 0);
  HGLOBAL dib = static_cast<HGLOBAL>(CImageSupport::DDBToDIB(&bitmap));
  if (dib == nullptr) throw ToolError("the frame could not be made into a bitmap");
  OutputFile output(args.Positional()[1]);
  const int written = CImageSupport::WriteDIB(output.WorkingPath().c_str(), dib);
  GlobalFree(dib);
  if (written == 0) throw ToolError(args.Positional()[1] + ": cannot write the bitmap");
  output.Commit();
  std::fprintf(stderr, "snapshot: frame %d (%dx%d) written to %s\n", wanted, format.width, format.height,
               args.Positional()[1].c_str());
  return 0;
}

// Renames the finished dump files from their working names into place.
void Publish(const std::string& from, const std::string& to) {
  for (const char* suffix : {".YUV", ".YUV.header"}) {
    if (std::rename((from + suffix).c_str(), (to + suffix).c_str()) != 0) {
      throw ToolError(to + suffix + ": cannot finish the dump");
    }
  }
}

void RemoveDump(const std::string& base) {
  std::remove((base + ".YUV").c_str());
  std::remove((base + ".YUV.header").c_str());
}

int RunDump(const std::vector<std::string>& arguments) {
  const Args args(arguments, {}, {"numbered"});
  args.ExpectPositional(2, "IN.y4m and BASE");
  const std::string base = args.Positional()[1];
  const bool numbered = args.Has("numbered");
  Y4MReader reader(args.Positional()[0]);
  // Frames go to working names beside the target, published when all are in.
  const std::string working = base + ".part-" + std::to_string(getpid());
  std::vector<std::string> written;
  Progress progress("dump", reader.ExpectedFrames());
  CYUVFrame frame;
  int frames = 0;
  try {
    while (reader.ReadFrame(frame)) {
      if (numbered) {
        const std::string name = working + "-" + std::to_string(frames);
        CImageSupport::WriteYUVFrames(name.c_str(), &frame, 1, 0);
        written.push_back(name);
      } else {
        CImageSupport::WriteYUVFrames(working.c_str(), &frame, 1, frames);
      }
      progress.Update(static_cast<uint64_t>(++frames));
    }
  } catch (...) {
    for (const std::string& name : written) RemoveDump(name);
    RemoveDump(working);
    throw;
  }
  if (frames == 0) throw ToolError(args.Positional()[0] + ": the stream holds no frames");
  if (numbered) {
    for (size_t i = 0; i < written.size(); ++i) {
      std::string number = std::to_string(i);
      number.insert(0, number.size() < 5 ? 5 - number.size() : 0, '0');
      Publish(written[i], base + number);
    }
  } else {
    Publish(working, base);
  }
  std::fprintf(stderr, "dump: %d frames to %s%s.YUV with header files\n", frames, base.c_str(),
               numbered ? "NNNNN" : "");
  return 0;
}

const bool registeredSnapshot = RegisterCommand({
    "snapshot",
    "write one frame of a YUV4MPEG2 stream as a BMP file",
    "usage: corvane snapshot IN.y4m --frame N OUT.bmp\n"
    "\n"
    "  --frame N   the frame to take, counted from 0 (default 0)\n"
    "4:2:0 and 4:2:2 input up to 2048 pixels wide.\n",
    RunSnapshot,
});

const bool registeredDump = RegisterCommand({
    "dump",
    "dump the frames of a YUV4MPEG2 stream as raw planes with a header file",
    "usage: corvane dump IN.y4m BASE [--numbered]\n"
    "\n"
    "Writes BASE.YUV (every frame's padded planes, 1088 lines counted as 1080) and\n"
    "BASE.YUV.header (format, scan, line length, lines). With --numbered each frame\n"
    "goes to its own BASE00000.YUV, BASE00001.YUV, ... with its own header.\n",
    RunDump,
});

}  // namespace
}  // namespace corvane::tool
