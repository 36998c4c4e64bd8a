// `corvane hotspot`: makes a hot spot file from a frame of a video, and
// compares the frames of a video with a hot spot, area by area.
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

int RunHotSpot(const std::vector<std::string>& arguments) {
  const std::string action = arguments.empty() ? std::string() : arguments.front();
  if (action == "save") return SaveHotSpot(arguments);
  throw ToolError("expected save (see --help)");
}

const bool registered = RegisterCommand({
    "hotspot",
    "make a hot spot file from a video frame",
    "usage: corvane hotspot save REF.y4m [--frame N] --area L,T,R,B[:L,T,R,B] ... -o SPOT.xml\n"
    "\n"
    "Takes frame N (from 0, default 0) of REF.y4m as the reference picture of a\n"
    "hot spot and writes it with its areas to SPOT.xml. Each --area is a check\n"
    "area, left,top,right,bottom with right and bottom one past the last column\n"
    "and line, optionally followed by ':' and the area where its text is read\n"
    "(by default the check area itself).\n",
    RunHotSpot,
});

}  // namespace
}  // namespace corvane::tool
