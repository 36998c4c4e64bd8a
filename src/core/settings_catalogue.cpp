#include "core/settings_catalogue.h"

#include <strings.h>

#include <charconv>
#include <cstring>

constexpr CSettingEntry g_settingsCatalogue[kSettingsCatalogueRows] = {
    {"Special", "AllowBadAC3PESHeaders", "Allow processing of improper AC3 PES packets", "1", SETTING_SWITCH},
    {"Special", "AllowDVRMSOutput", "Allow DVRMS Output", "0", SETTING_SWITCH},
    {"Special", "AllowRECOutput", "Allow Topfield Rec Output", "0", SETTING_SWITCH},
    {"Special", "AllowTIVOOutput", "Allow Tivo Output", "0", SETTING_SWITCH},
    {"Special", "AllowBlankNAVVobs", "Allow VOB output file type", "0", SETTING_SWITCH},
    {"StartUp", "SingleInstance", "Only allow a single instance of Tessaline", "0", SETTING_SWITCH},
    {"Special", "ResizeFineTuneSlider", "Resize fine-tune slider", "0", SETTING_SWITCH},
    {"Special", "VersionNoInLogFilename", "Append Tessaline version to log filename", "0", SETTING_SWITCH},
    {"Special", "WriteSystemHeader", "Write Program Stream System Header", "1", SETTING_SWITCH},
    {"AdvancedStream", "TSPMTMinimumReads2", "Number of times a PMT has to be read when opening a file", "10", SETTING_NUMBER},
    {"AdvancedStream", "SkipTsPIDswithCA", "Skip conditional access transport streams", "0", SETTING_SWITCH},
    {"AdvancedStream", "VideoBufferLength", "Number of frames in the video buffer", "128", SETTING_NUMBER},
    {"AdvancedStream", "AudioBufferLength", "Number of frames in the audio buffer", "256", SETTING_NUMBER},
    {"AdvancedStream", "SMFBufferLength", "Maximum number of frames when doing a StreamMendFix", "2048", SETTING_NUMBER},
    {"AdvancedStream", "StripUserDataFromVideo", "Strip \"User Data\" blocks from Video Frames", "0", SETTING_SWITCH},
    {"AdvancedStream", "RemoveDuplicate608Captions", "Remove duplicate SD NTSC closed captions", "0", SETTING_SWITCH},
    {"AdvancedStream", "InsertMissingGOPHdrs", "Add GOP Timecode to all GOPs", "0", SETTING_SWITCH},
    {"AdvancedStream", "DefaultAC3OutputStream", "Default AC3 Output Stream", "0", SETTING_NUMBER},
    {"AdvancedStream", "OutputEndOfSequence", "Output 'end of sequence' at end of saved file", "0", SETTING_SWITCH},
    {"AdvancedStream", "RestoreProgressiveFlag", "Restore missing 'progressive flags'", "0", SETTING_SWITCH},
    {"GeneralParameters", "MaxSyncAdjustmentMsec", "Max Msec for audio sync adjustment", "1000", SETTING_NUMBER},
    {"GeneralParameters", "SeekWaitMsecs", "Msec for seek completion before timeout", "50000", SETTING_NUMBER},
    {"GeneralParameters", "MaxAudioVolumeAdjust", "Maximum volume adjustment range", "5", SETTING_NUMBER},
    {"GeneralParameters", "EnableContextMenu", "Enable right-click menu options", "1", SETTING_SWITCH},
    {"DVRMS", "DVRMSWriterVideoBuffer", "Total Size of DVRMS Writer Video Buffer", "3000000", SETTING_NUMBER},
    {"Special", "TSMuxerBRLogging", "Log TS muxer video bit rate", "0", SETTING_SWITCH},
    {"Special", "IgnoreBTVMetaData", "Do not copy BTV Meta Data", "0", SETTING_SWITCH},
    {"Special", "DisableLogicalFileSort", "Use 'simple' not 'logical' file sort at open", "0", SETTING_SWITCH},
    {"ThumbnailOptions", "DumpTNAudioToLog", "Write Thumbnail Audio Data to Log File", "0", SETTING_SWITCH},
    {"ThumbnailOptions", "TNSequentialSearch", "Max frames for sequential Thumbnail search", "30", SETTING_NUMBER},
    {"Special", "WarningTriangleSecs", "Seconds before output warning triangle appears", "60", SETTING_NUMBER},
    {"Special", "FrameCaptureLinesToOmit", "Top lines to omit on frame capture", "0", SETTING_NUMBER},
    {"Special", "TimecodeInHundreds", "Display hundreths of seconds in timecode", "0", SETTING_SWITCH},
    {"Special", "WINAMPPluginDLL", "Winamp Plugin DLL", "", SETTING_TEXT},
    {"Special", "UserBatchCommand", "User Batch Command", "", SETTING_TEXT},
    {"Special", "LogFileDisplayApp", "Application to display the log file", "notepad.exe", SETTING_TEXT},
    {"Special", "XMLProjectFiles2", "Create project files in XML", "1", SETTING_SWITCH},
    {"Special", "FastEncoder", "Enable Fast MPEG2 Encoder", "0", SETTING_SWITCH},
    {"Special", "FastEncoderMultiThread", "Enable multiple threads in fast MPEG2 Encoder", "1", SETTING_SWITCH},
    {"Special", "FastEncoderDebugLogging", "Log fast MPEG2 Encoder actions", "0", SETTING_SWITCH},
    {"Special", "AlwaysUseDFTCFor60FPS", "Always use NTSC DFTC format for 59.97 FPS", "0", SETTING_SWITCH},
    {"AdvancedStream", "DVRMS25FPSCorrection", "Correct DVR-MS 25FPS NTSC files", "1", SETTING_SWITCH},
    {"DVRMS", "PatchASFDuration", "Patch the DVR-MS header with the actual file duration", "1", SETTING_SWITCH},
    {"AdvancedStream", "RecodeMinimumQuant", "Minimum quant x 100", "250", SETTING_NUMBER},
    {"AdvancedStream", "RecodePFactorPCT", "Recode P-Frames quant percent", "120", SETTING_NUMBER},
    {"AdvancedStream", "RecodeBFactorPCT", "Recode B-Frames quant percent", "120", SETTING_NUMBER},
    {"AdvancedStream", "RecodeTargetPct", "Lower bit rate percent of target", "90", SETTING_NUMBER},
    {"AdvancedStream", "MPEG2MinSmartRecodeBPS", "Minimum MPEG2 smart recoding bit rate (bps)", "0", SETTING_NUMBER},
    {"DVDFolders", "DVDOverheadMB", "MBytes to pad when estimating DVD size", "50", SETTING_NUMBER},
    {"DVDFolders", "KeepDVD_CC", "Keep closed captions (CC) when authoring", "1", SETTING_SWITCH},
    {"DVDFolders", "DVDSilentAC3Frames", "Force silent DVD AC3 when audio bit rates don't match", "0", SETTING_SWITCH},
    {"DVDFolders", "MaxDVDShrinkPct", "Maximum DVD shrink percentage", "0", SETTING_NUMBER},
    {"PlaybackDeviceOptions", "DisplayDimensionCustWidth", "Custom display width", "720", SETTING_NUMBER},
    {"PlaybackDeviceOptions", "DisplayDimensionCustHeight", "Custom display height", "480", SETTING_NUMBER},
    {"Special", "DoubleClickAutoZoomSecs", "Double-click automatic zoom area seconds", "0", SETTING_NUMBER},
    {"GeneralParameters", "DisableNoCutsWarning", "Disable warning when saving with no cuts", "0", SETTING_SWITCH},
    {"AdvancedStream", "AC3SurroundDownmix", "Downmix AC3 using surround matrix", "0", SETTING_SWITCH},
    {"Special", "UsingFFmpegForMP4", "Use FFmpeg for MP4 files", "1", SETTING_SWITCH},
    {"Special", "LeaveSPSInMP4Frames", "Leave SPS/PPS in MP4/MKV H.264 frames", "1", SETTING_SWITCH},
    {"Special", "FramesToCheckForVFR", "Frames to check for variable frame rate", "0", SETTING_NUMBER},
    {"H264Options", "RemoveH264EndOfSeqNALS", "Remove H.264 embedded End Of Sequence NALs", "1", SETTING_SWITCH},
    {"GeneralParameters", "EnableProfiles", "Enable output profiles", "1", SETTING_SWITCH},
    {"Special", "DisableH264MuxSyncAdjust", "Disable H264 Mux sync adjustment", "0", SETTING_SWITCH},
    {"GeneralParameters", "UseOldBatchManager", "Use old batch manager", "0", SETTING_SWITCH},
    {"AdvancedStream", "MultipleAudioStreamSupport", "Enable support for multiple audio streams", "1", SETTING_NUMBER},
    {"Special", "OutputAACAsM4A", "Output AAC ES as M4A", "1", SETTING_SWITCH},
    {"AdvancedStream", "IncludeLeadingBFrames", "Include initial B frames when first GOP is closed", "0", SETTING_SWITCH},
    {"Special", "ClearBuffersOnSave", "Clear display frame buffers on save", "1", SETTING_NUMBER},
    {"DebugOptions", "UseIPPMpeg2Decoder", "MPEG2 display uses IPP decoder", "1", SETTING_SWITCH},
    {"DebugOptions", "IPPThreadCount", "IPP thread count (0=auto)", "0", SETTING_NUMBER},
    {"Special", "ShowTrayIconInSilentMode", "Show tray icon in silent mode", "1", SETTING_SWITCH},
    {"GeneralParameters", "MinimizeBatchToTray", "Minimize batch manager to system tray", "1", SETTING_SWITCH},
    {"Special", "UseInternalWTVMetaDataReader", "Use internal metadata reader for WTV", "0", SETTING_SWITCH},
    {"GeneralParameters", "UseNewFileDialogs", "Use new style file and folder dialogs", "1", SETTING_SWITCH},
    {"GeneralParameters", "CutIncludesLastFrame", "Cut mode includes final frame", "0", SETTING_SWITCH},
    {"GeneralParameters", "AllowBackToBackCuts", "Allow back to back cuts", "0", SETTING_SWITCH},
    {"PlaybackDeviceOptions", "VMRWindowedMode", "Use windowed mode for VMR drivers", "0", SETTING_SWITCH},
    {"H264Options", "OverrideTSBitrateMode", "Override bitrate mode for transport streams", "1", SETTING_SWITCH},
};

constexpr COutputFileType g_outputFileTypes[kOutputFileTypeRows + 1] = {
    {"MPEG Program Stream", "mpg", 1},
    {"Elementary Streams", "mpv", 2},
    {"DVD Folder", "dvd", 10},
    {"DVD ISO", "iso", 11},
    {"Transport Stream", "ts", 4},
    {"DVR-MS", "dvr-ms", 7},
    {"Topfield REC", "rec", 6},
    {"Tivo", "tivo", 8},
    {"Tivo-TS", "tivo", 9},
    {"VOB", "vob", 3},
    {"Echostar Processing", "ts", 12},
    {"MP4 File", "mp4", 14},
    {"MP4 (iPod)", "mp4", 15},
    {"MP4 (PSP)", "mp4", 16},
    {"WMV File", "wmv", 17},
    {"M2TS File", "m2ts", 5},
    {"MKV File", "mkv", 20},
    {"WTV File", "wtv", 18},
    {"", "", 0},
};

// An extra row does not compile; these catch a missing one.
static_assert(g_settingsCatalogue[kSettingsCatalogueRows - 1].key != nullptr);
static_assert(g_outputFileTypes[kOutputFileTypeRows - 1].id != 0);

namespace {

bool SameName(std::string_view name, const char* tableName) {
  return name.size() == std::strlen(tableName) && strncasecmp(name.data(), tableName, name.size()) == 0;
}

}  // namespace

const CSettingEntry* FindSetting(std::string_view section, std::string_view key) {
  for (const CSettingEntry& entry : g_settingsCatalogue) {
    if (SameName(section, entry.section) && SameName(key, entry.key)) return &entry;
  }
  return nullptr;
}

std::optional<int64_t> SettingDefaultNumber(std::string_view section, std::string_view key) {
  const CSettingEntry* entry = FindSetting(section, key);
  if (entry == nullptr || entry->type == SETTING_TEXT) return std::nullopt;
  const char* text = entry->defaultValue;
  int64_t value = 0;
  std::from_chars(text, text + std::strlen(text), value);
  return value;
}

std::optional<bool> SettingDefaultSwitch(std::string_view section, std::string_view key) {
  const CSettingEntry* entry = FindSetting(section, key);
  if (entry == nullptr || entry->type != SETTING_SWITCH) return std::nullopt;
  return std::strcmp(entry->defaultValue, "1") == 0;
}
