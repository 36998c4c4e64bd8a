#include "recognition/image_hot_spot.h"

#include "image/image_support.h"
#include "platform/xml_node.h"

namespace {

// Larger than any picture a host shows, small enough that a hostile file
// cannot make the plane sizes overflow.
constexpr int kMaxFrameSide = 8192;

bool IsFrameSize(int width, int height) {
  const bool empty = width == 0 && height == 0;
  const bool inRange = width > 0 && height > 0 && width <= kMaxFrameSide && height <= kMaxFrameSide;
  return empty || inRange;
}

bool IsChroma(int chroma) { return chroma == CHROMA_420 || chroma == CHROMA_422 || chroma == CHROMA_444; }

}  // namespace

bool CImageHotSpot::SaveHotSpotDataToFile(const CString& path) {
  XMLNode document = XMLNode::createXMLTopNode();
  XMLNode hotSpot = document.addChildNode("hot_spot", 0);
  XMLNode areas = hotSpot.addChildNode("areas_list", 0);
  for (size_t i = 0; i < m_checkAreas.size(); ++i) {
    XMLNode area = areas.addChildNode("area", 0);
    area.addAttributeValue("area_number", static_cast<int>(i));
    area.AddNode("check_area", m_checkAreas[i]);
    area.AddNode("ocr_area", i < m_ocrAreas.size() ? m_ocrAreas[i] : CRect());
  }
  XMLNode frame = hotSpot.addChildNode("yuv_frame", 0);
  frame.addAttributeValue("width", m_referenceFrame.width);
  frame.addAttributeValue("height", m_referenceFrame.height);
  frame.addAttributeValue("chroma", static_cast<int>(m_referenceFrame.chroma));
  frame.AddNodeBase64Encoded("ydata", m_referenceFrame.y, static_cast<size_t>(m_referenceFrame.lumaPlaneSize));
  frame.AddNodeBase64Encoded("udata", m_referenceFrame.u, static_cast<size_t>(m_referenceFrame.chromaPlaneSize));
  frame.AddNodeBase64Encoded("vdata", m_referenceFrame.v, static_cast<size_t>(m_referenceFrame.chromaPlaneSize));
  document.saveXMLToFile(path, 0);
  return true;
}

bool CImageHotSpot::LoadHotSpotDataFromFile(const CString& path) {
  const XMLNode hotSpot = XMLNode::parseFile(path, "hot_spot", nullptr, 1);
  if (hotSpot.isEmpty()) return false;

  m_checkAreas.clear();
  m_ocrAreas.clear();
  const XMLNode areas = hotSpot.getChildNode("areas_list");
  int iterator = 0;
  for (XMLNode area = areas.getChildNode("area", &iterator); !area.isEmpty();
       area = areas.getChildNode("area", &iterator)) {
    CRect check;
    CRect ocr;
    area.GetValue("check_area", check);
    area.GetValue("ocr_area", ocr);
    m_checkAreas.push_back(check);
    m_ocrAreas.push_back(ocr);
  }

  const XMLNode frame = hotSpot.getChildNode("yuv_frame");
  int width = 0;
  int height = 0;
  int chroma = 0;
  if (!frame.GetAttribute("width", width) || !frame.GetAttribute("height", height) ||
      !frame.GetAttribute("chroma", chroma) || !IsFrameSize(width, height) || !IsChroma(chroma)) {
    return false;
  }
  m_referenceFrame.Reformat(width, height, static_cast<CHROMA>(chroma));
  // A plane shorter than its data keeps the rest of its bytes, a longer one
  // is cut at the plane's size.
  frame.GetValueBase64Encoded("ydata", m_referenceFrame.y, static_cast<size_t>(m_referenceFrame.lumaPlaneSize));
  frame.GetValueBase64Encoded("udata", m_referenceFrame.u, static_cast<size_t>(m_referenceFrame.chromaPlaneSize));
  frame.GetValueBase64Encoded("vdata", m_referenceFrame.v, static_cast<size_t>(m_referenceFrame.chromaPlaneSize));
  return true;
}

float CImageHotSpot::CountDiff(int areaIndex, const CYUVFrame& frame, CYUVFrame& difference, int threshold, int& count,
                               unsigned char& maxDifference) {
  const CRect& area = m_checkAreas[static_cast<size_t>(areaIndex)];
  CImageSupport::CreateDifferenceFrame2(frame, m_referenceFrame, difference, m_differenceFrame, area,
                                        static_cast<unsigned char>(threshold), count, maxDifference);
  return static_cast<float>(static_cast<double>(count) / ((area.bottom - area.top) * (area.right - area.left)));
}
