// `corvane hotspot`: makes a hot spot file from a frame of a video, and
// compares the frames of a video with a hot spot, area by area.
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "area_option.h"
#include "args.h"
#include "command.h"
#include "output_file.h"
#include "recognition/image_hot_spot.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

// Luma steps that compression noise seldom reaches and a change of screen does.
constexpr int kDefaultThreshold = 24;

// The long spelling of the output option; "-o" is its short form.
std::vector<std::string> WithLongOptions(std::vector<std::string> arguments) {
  for (std::string& argument : arguments) {
    if (argument == "-o") argument = "--out";
  }
  return arguments;
}

int SaveHotSpot(const std::vector<std::string>& arguments) {
  const Args args(WithLongOptions(arguments), {"frame", "area", "out"});
  args.ExpectPositional(2, "save REF.y4m");
  const std::string input = args.Positional()[1];
  const std::string output = args.Get("out", "");
  if (output.empty()) throw ToolError("hotspot save needs -o SPOT.xml");
  if (output == "-") throw ToolError("hotspot save writes a file, not standard output");
  const int wanted = args.GetInt("frame", 0, 0, 1 << 30);

  CImageHotSpot spot;
  Y4MReader reader(input);
  for (int index = 0; index <= wanted; ++index) {
    if (!reader.ReadFrame(spot.m_referenceFrame)) {
      throw ToolError(input + ": has " + std::to_string(index) + " frames, no frame " + std::to_string(wanted));
    }
  }
  for (const std::string& text : args.GetAll("area")) {
    const AreaOption area = ParseAreaOption(text, true);
    CheckAreaInside(area.check, spot.m_referenceFrame.width, spot.m_referenceFrame.height, "check area");
    CheckAreaInside(area.ocr, spot.m_referenceFrame.width, spot.m_referenceFrame.height, "OCR area");
    spot.m_checkAreas.push_back(area.check);
    spot.m_ocrAreas.push_back(area.ocr);
  }

  OutputFile file(output);
  spot.SaveHotSpotDataToFile(file.WorkingPath());
  // Saving reports no failure of its own; reading the file back does.
  if (!CImageHotSpot().LoadHotSpotDataFromFile(file.WorkingPath())) throw ToolError(output + ": write failed");
  file.Commit();
  std::printf("%s: frame %d of %s, %dx%d, %zu areas\n", output.c_str(), wanted, input.c_str(),
              spot.m_referenceFrame.width, spot.m_referenceFrame.height, spot.m_checkAreas.size());
  return 0;
}

int MatchHotSpot(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"threshold"});
  args.ExpectPositional(3, "match SPOT.xml IN.y4m");
  const std::string spotPath = args.Positional()[1];
  const std::string input = args.Positional()[2];
  const int threshold = args.GetInt("threshold", kDefaultThreshold, 0, 255);

  CImageHotSpot spot;
  if (!spot.LoadHotSpotDataFromFile(spotPath)) throw ToolError(spotPath + ": not a hot spot file");
  const CYUVFrame& reference = spot.m_referenceFrame;
  if (spot.m_checkAreas.empty()) throw ToolError(spotPath + ": the hot spot has no areas");
  for (const CRect& area : spot.m_checkAreas) {
    CheckAreaInside(area, reference.width, reference.height, spotPath + ": check area");
  }
  Y4MReader reader(input);
  if (reader.Format().width != reference.width || reader.Format().height != reference.height) {
    throw ToolError(input + ": frames are " + std::to_string(reader.Format().width) + "x" +
                    std::to_string(reader.Format().height) + ", the hot spot's reference is " +
                    std::to_string(reference.width) + "x" + std::to_string(reference.height));
  }

  std::printf("%6s %5s %10s %8s %4s\n", "frame", "area", "differing", "pixels", "max");
  CYUVFrame frame;
  CYUVFrame difference;
  for (uint64_t index = 0; reader.ReadFrame(frame); ++index) {
    for (size_t area = 0; area < spot.m_checkAreas.size(); ++area) {
      int count = 0;
      unsigned char maximum = 0;
      const float share = spot.CountDiff(static_cast<int>(area), frame, difference, threshold, count, maximum);
      std::printf("%6" PRIu64 " %5zu %10.6f %8d %4d\n", index, area, share, count, maximum);
    }
  }
  return 0;
}

int RunHotSpot(const std::vector<std::string>& arguments) {
  const std::string action = arguments.empty() ? std::string() : arguments.front();
  if (action == "save") return SaveHotSpot(arguments);
  if (action == "match") return MatchHotSpot(arguments);
  throw ToolError("expected save or match (see --help)");
}

const bool registered = RegisterCommand({
    "hotspot",
    "make a hot spot file from a video frame, or compare a video with one",
    "usage: corvane hotspot save REF.y4m [--frame N] --area L,T,R,B[:L,T,R,B] ... -o SPOT.xml\n"
    "       corvane hotspot match SPOT.xml IN.y4m [--threshold T]\n"
    "\n"
    "save takes frame N (from 0, default 0) of REF.y4m as the reference picture\n"
    "of a hot spot and writes it with its areas to SPOT.xml. Each --area is a\n"
    "check area, left,top,right,bottom with right and bottom one past the last\n"
    "column and line, optionally followed by ':' and the area where its text is\n"
    "read (by default the check area itself).\n"
    "\n"
    "match compares every frame of IN.y4m with the hot spot, area by area, and\n"
    "prints the share of the area's pixels whose luma differs from the\n"
    "reference by T or more (default 24), their number and the largest\n"
    "difference. A share near 0 means the frame shows the hot spot's screen.\n",
    RunHotSpot,
});

}  // namespace
}  // namespace corvane::tool
