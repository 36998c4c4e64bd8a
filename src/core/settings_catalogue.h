// The host's settings catalogue and its list of output file types, carried
// as constant data: the names under which the host stores its settings, what
// each means and its default, and the numbers of the file types. Nothing in
// the library reads them; the host and the tool do.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// Type code of a setting, as its default shows it.
enum SETTING_TYPE {
  SETTING_NUMBER = 1,  // decimal digits
  SETTING_TEXT = 4,    // any text, also empty
  SETTING_SWITCH = 9,  // "0" or "1"
};

// One row of the settings catalogue. The default is text for every type.
struct CSettingEntry {
  const char* section;
  const char* key;
  const char* description;
  const char* defaultValue;
  int32_t type;
};

// One output file type. Several types share an extension; the id tells them apart.
struct COutputFileType {
  const char* name;
  const char* extension;
  int32_t id;
};

inline constexpr size_t kSettingsCatalogueRows = 78;
inline constexpr size_t kOutputFileTypeRows = 18;

extern const CSettingEntry g_settingsCatalogue[kSettingsCatalogueRows];
// The 18 types in their order, then a closing row of empty texts and id 0.
extern const COutputFileType g_outputFileTypes[kOutputFileTypeRows + 1];

// The row of a setting; section and key are matched without regard to case,
// as the host's registry matches them. Null when there is no such setting.
const CSettingEntry* FindSetting(std::string_view section, std::string_view key);

// The default of a number or switch setting as a number; nothing for text
// settings and unknown names.
std::optional<int64_t> SettingDefaultNumber(std::string_view section, std::string_view key);

// The default of a switch setting; nothing for other types and unknown names.
std::optional<bool> SettingDefaultSwitch(std::string_view section, std::string_view key);
