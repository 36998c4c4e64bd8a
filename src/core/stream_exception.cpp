#include "core/stream_exception.h"

#include <cstring>

namespace {

constexpr int32_t kHighestCode = 84;

// Indexed by code; the numbers without a text (0, 46, 70, 84) are null.
constexpr const char* kMessages[kHighestCode + 1] = {
    nullptr,
    "Audio Stream not MPEG1",
    "Video Ring Buffer Overflow",
    "Video Frame Buffer Too Small",
    "Audio Ring Buffer Overflow",
    "Audio Packet Without a syncword",
    "Audio Frame has the wrong length",
    "GOP start without PTS",
    "Output Segment didn't start on GOP.",
    "Video frame without header, please check your log file.",
    "Unknown picture code type.",
    "Sequence header not found after a seek.",
    "Audio Corrupt Frame Header",
    "Temporal Reference much larger than expected.",
    "Buffer too small to store sequence header.",
    "No stored sequence header to add to GOP.",
    "Frame buffer didn't start with GOP when Decoding.",
    "Too many frames in decode pointer array.",
    "Decoding, temporal and PTS order are not in sync.",
    "Video output buffer not flushed when starting new segment.",
    "GOP header not found in AdjustGOP().",
    "Last Frame in buffer must be a GOP start.",
    "Couldn't find an I / P frame seqeuence to decode.",
    "Buffer wrap will looking for exact PTS.",
    "Bad return value from FindFirstFrame().",
    "Overflow the previous packet buffer.",
    "AC3 - Invalid bitrate index or sample rate.",
    "Audio frame too large to fit in buffer.",
    "Non-contiguous PTS in file. Try running StreamMend Fix.",
    "Negative Offset searching for PTS.",
    "PTS Adjustment array is full.",
    "Audio sampling rate has changed.",
    "No PIDs specified when trying to open a transport stream.",
    "No data found for the requested program(s).",
    "Video program stream not found.",
    "TS Muxer Error, details in the log file.",
    "TS Muxer Error, packet data buffer is full. Mux rate may be too low.",
    "TS Muxer Buffer Underflow, details in the log file.",
    "Invalid Audio Output Bitrate or Sampling Rate.",
    "Error setting MPEG audio encoder options.",
    "Unable to init the audio decoder.",
    "Encoded frame audio frame where none expected.",
    "Bad or unknown output audio codec.",
    "Re-adjust buffer called without a GOP start.",
    "Open error for DVR-MS output",
    "DVR-MS output error.",
    nullptr,
    "DVD Muxer initialization error.",
    "DVD Muxer Timeout, details in the log file.",
    "DVD Muxer error writing temp file.",
    "Can't find a matching silent AC3 frame.",
    "Elementary stream muxer, file open error.",
    "Program stream muxer, file open error.",
    "DVR-MS/WTV output on Vista/Win7 need to be run with administrator privileges.",
    "Tivo file open error, please check your media access key.",
    "Unable to create a statistics output graph.",
    "MP4 muxer, file open error.",
    "H264 stream, missing info in the sequence parameter set.",
    "Unknown AAC audio mux type in an H264 stream.",
    "Transport stream muxer, error opening output file.",
    "CableLabs mux rate/type can not be used with H.264 streams.",
    "Unable to determine initial clock, details in the log file.",
    "H264, error in replenish buffer, details in the log file.",
    "EAC3 codecs are not yet installed.",
    "TWOS audio format is not yet supported.",
    "H263 (3gpp) video is not a supported source video codec.",
    "MPEG4 Part 2 video is not a supported source video codec.",
    "H.264 Diagnostic libraries not found.",
    "Mp4Packer.dll library not found.",
    "WtvPacker.dll library not found.",
    nullptr,
    "Open error for WTV output",
    "WTV output error in muxer.",
    "No audio stream found.",
    "AvBridge.dll library not found.",
    "OCX generic stream open error.",
    "Supplied RDD11 PID conflicts with audio or video PIDs",
    "Unsupported source video codec, check log file for details.",
    "Unsupported source audio codec, check log file for details.",
    "Variable frame rate video is not yet supported.",
    "FFmpeg muxer: error writing file header.",
    "FFmpeg muxer: error writing packet.",
    "FFmpeg muxer: error moving moov atom to start of file.",
    "H.264 inside a program stream is not yet supported.",
    nullptr,
};

}  // namespace

CStreamException::CStreamException(int32_t faultCode) {
  code = faultCode;
  detail[0] = '\0';
}

CStreamException::CStreamException(const CStreamException& other) : Except() {
  code = other.code;
  std::memcpy(detail, other.detail, sizeof(detail));
}

CStreamException& CStreamException::operator=(const CStreamException& other) {
  code = other.code;
  std::memcpy(detail, other.detail, sizeof(detail));
  return *this;
}

const char* CStreamException::GetName() const { return "MpegStreamExcept"; }

const char* CStreamException::GetMessage() const {
  if (code < 1 || code > kHighestCode || kMessages[code] == nullptr) return "Unknown error.";
  return kMessages[code];
}
