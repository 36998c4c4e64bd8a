#include "core/settings_catalogue.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::RunProcess;
using Strings = std::vector<std::string>;

TEST(SettingsCatalogueTest, RowsHoldTheirTextsInTableOrder) {
  const CSettingEntry& first = g_settingsCatalogue[0];
  EXPECT_EQ((Strings{first.section, first.key, first.description, first.defaultValue}),
            (Strings{"Special", "AllowBadAC3PESHeaders", "Allow processing of improper AC3 PES packets", "1"}));
  EXPECT_EQ(first.type, SETTING_SWITCH);
  EXPECT_STREQ(g_settingsCatalogue[kSettingsCatalogueRows - 1].key, "OverrideTSBitrateMode");
  // Texts kept as they are, quotes and spelling included.
  EXPECT_STREQ(g_settingsCatalogue[14].description, "Strip \"User Data\" blocks from Video Frames");
  EXPECT_STREQ(g_settingsCatalogue[32].description, "Display hundreths of seconds in timecode");
}

TEST(SettingsCatalogueTest, EveryDefaultMatchesItsType) {
  std::set<std::pair<std::string, std::string>> names;
  int counts[10] = {};
  for (const CSettingEntry& entry : g_settingsCatalogue) {
    ASSERT_NE(entry.key, nullptr);
    EXPECT_TRUE(names.emplace(entry.section, entry.key).second) << entry.key << " appears twice";
    EXPECT_NE(std::strlen(entry.description), 0u) << entry.key;
    const std::string value = entry.defaultValue;
    switch (entry.type) {
      case SETTING_NUMBER:
        EXPECT_FALSE(value.empty()) << entry.key;
        for (char c : value) EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(c))) << entry.key;
        break;
      case SETTING_SWITCH:
        EXPECT_TRUE(value == "0" || value == "1") << entry.key;
        break;
      case SETTING_TEXT:
        break;
      default:
        ADD_FAILURE() << entry.key << " has type " << entry.type;
    }
    if (entry.type >= 0 && entry.type < 10) ++counts[entry.type];
  }
  // Counted by hand from the catalogue: 26 numbers, 3 texts, 49 switches.
  EXPECT_EQ(counts[SETTING_NUMBER], 26);
  EXPECT_EQ(counts[SETTING_TEXT], 3);
  EXPECT_EQ(counts[SETTING_SWITCH], 49);
}

TEST(SettingsCatalogueTest, TypedAccessorBySectionAndKey) {
  EXPECT_EQ(SettingDefaultNumber("GeneralParameters", "SeekWaitMsecs"), 50000);
  EXPECT_STREQ(FindSetting("GeneralParameters", "SeekWaitMsecs")->defaultValue, "50000");
  EXPECT_EQ(SettingDefaultNumber("dvrms", "dvrmswritervideobuffer"), 3000000);  // names ignore case
  EXPECT_EQ(SettingDefaultNumber("AdvancedStream", "MultipleAudioStreamSupport"), 1);
  EXPECT_EQ(SettingDefaultSwitch("AdvancedStream", "MultipleAudioStreamSupport"), std::nullopt);  // a number
  EXPECT_EQ(SettingDefaultSwitch("Special", "ClearBuffersOnSave"), std::nullopt);
  EXPECT_EQ(SettingDefaultSwitch("StartUp", "SingleInstance"), false);
  EXPECT_EQ(SettingDefaultSwitch("H264Options", "OverrideTSBitrateMode"), true);
  EXPECT_EQ(SettingDefaultNumber("Special", "WINAMPPluginDLL"), std::nullopt);  // text
  EXPECT_STREQ(FindSetting("Special", "WINAMPPluginDLL")->defaultValue, "");
  EXPECT_STREQ(FindSetting("Special", "UserBatchCommand")->defaultValue, "");
  EXPECT_STREQ(FindSetting("Special", "LogFileDisplayApp")->defaultValue, "notepad.exe");
  EXPECT_EQ(FindSetting("GeneralParameters", "AllowBadAC3PESHeaders"), nullptr);  // key of another section
  EXPECT_EQ(FindSetting("Special", "AllowBadAC3PESHeader"), nullptr);
  EXPECT_EQ(SettingDefaultNumber("Special", "Missing"), std::nullopt);
}

// What can go wrong in the table is a lost or repeated id or a missing
// closing row; a few rows are checked for their texts.
TEST(OutputFileTypesTest, IdsAreUniqueAndTheTableIsClosed) {
  std::set<int> ids;
  for (size_t row = 0; row < kOutputFileTypeRows; ++row) {
    EXPECT_TRUE(ids.insert(g_outputFileTypes[row].id).second) << "row " << row;
    EXPECT_GT(g_outputFileTypes[row].id, 0) << "row " << row;
    EXPECT_NE(std::strlen(g_outputFileTypes[row].name), 0u);
  }
  EXPECT_STREQ(g_outputFileTypes[2].name, "DVD Folder");
  EXPECT_EQ(g_outputFileTypes[2].id, 10) << "ids do not follow the row order";
  EXPECT_STREQ(g_outputFileTypes[5].extension, "dvr-ms");
  EXPECT_STREQ(g_outputFileTypes[13].name, "MP4 (PSP)");
  // Several types share an extension; only the id tells them apart.
  EXPECT_STREQ(g_outputFileTypes[7].extension, g_outputFileTypes[8].extension);
  const COutputFileType& closing = g_outputFileTypes[kOutputFileTypeRows];
  EXPECT_EQ((Strings{closing.name, closing.extension, std::to_string(closing.id)}), (Strings{"", "", "0"}));
}

// The tool's view of the tables; the log goes to a file so that standard
// error holds only what the command itself says.
std::string RunSettings(const std::string& arguments, const corvane::test::TempFolder& folder, int expectedStatus) {
  const auto result = RunProcess("CORVANE_LOG='" + folder.Path() + "/log' '" + CORVANE_TOOL_PATH + "' settings " +
                                 arguments + " 2>&1");
  EXPECT_EQ(result.exitStatus, expectedStatus) << arguments << "\n" << result.output;
  return result.output;
}

size_t CountLines(const std::string& text) {
  size_t lines = 0;
  for (char c : text) lines += c == '\n';
  return lines;
}

TEST(SettingsCommandTest, PrintsTheCatalogueOrOneSectionOrTheFileTypes) {
  corvane::test::TempFolder folder;
  const std::string all = RunSettings("", folder, 0);
  EXPECT_EQ(CountLines(all), kSettingsCatalogueRows + 1);  // a heading, then one line a setting
  EXPECT_NE(all.find("SeekWaitMsecs"), std::string::npos);
  EXPECT_NE(all.find("\"notepad.exe\""), std::string::npos);

  const std::string dvd = RunSettings("--section dvdfolders", folder, 0);
  EXPECT_EQ(CountLines(dvd), 5u);  // DVDOverheadMB, KeepDVD_CC, DVDSilentAC3Frames, MaxDVDShrinkPct
  EXPECT_NE(dvd.find("Force silent DVD AC3 when audio bit rates don't match"), std::string::npos);

  const std::string types = RunSettings("--file-types", folder, 0);
  EXPECT_EQ(CountLines(types), kOutputFileTypeRows + 1);
  EXPECT_NE(types.find("20  mkv        MKV File\n"), std::string::npos) << types;

  const std::string unknown = RunSettings("--section Nowhere", folder, 1);
  EXPECT_EQ(CountLines(unknown), 1u) << unknown;
  EXPECT_NE(unknown.find("no section 'Nowhere'"), std::string::npos);
}

}  // namespace
