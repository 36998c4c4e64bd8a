#include "platform/win_app.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/registry.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::TempFolder;

TEST(SplitPathTest, CutsLikeThePlatformSplitter) {
  const struct {
    const char *path, *directory, *name, *extension;
  } cases[] = {
      {"/opt/host/bin/editor", "/opt/host/bin/", "editor", ""},
      {"/opt/host/bin/editor.exe", "/opt/host/bin/", "editor", ".exe"},
      {"/opt/host/my.editor.bin", "/opt/host/", "my.editor", ".bin"},
      {"/usr/lib/libcorvane.so.1.0.0", "/usr/lib/", "libcorvane", ".so.1.0.0"},
      {"/usr/lib/libsound.solid.so", "/usr/lib/", "libsound.solid", ".so"},  // ".sol" is no shared object suffix
      {"/home/user/.profile", "/home/user/", ".profile", ""},
      {"editor", "", "editor", ""},
      {"", "", "", ""},
  };
  for (const auto& c : cases) {
    const CPathParts parts = SplitPath(c.path);
    EXPECT_EQ((std::vector<std::string>{parts.directory, parts.name, parts.extension}),
              (std::vector<std::string>{c.directory, c.name, c.extension}))
        << c.path;
  }
}

TEST(CWinAppTest, StartsWithTheModulesHelpFileAndNoResourceModule) {
  CWinApp app(nullptr, {"/opt/host/editor", "/opt/host/lib/libcorvane.so.1", "/nowhere"});
  EXPECT_EQ(app.AppName(), "");
  EXPECT_EQ(app.HelpFilePath(), "/opt/host/lib/libcorvane.chm");
  EXPECT_EQ(app.HelpMode(), afxWinHelp);
  EXPECT_EQ(app.ResourceHandle(), nullptr);
  EXPECT_TRUE(app.InitInstance());
}

TEST(CWinAppTest, RealPathsNameThisProcessAndThisLibrary) {
  const CPlatformPaths paths = CPlatformPaths::Current();
  EXPECT_EQ(SplitPath(paths.executablePath).name, "corvane_tests");
  EXPECT_EQ(SplitPath(paths.modulePath).name, "libcorvane");
  EXPECT_EQ(paths.executablePath.front(), '/');
}

TEST(CWinAppTest, LoadLibraryRefusesWhatIsNoModule) {
  TempFolder folder;
  EXPECT_EQ(CWinApp::LoadLibrary(folder.Path() + "/missing.so"), nullptr);
  EXPECT_EQ(CWinApp::LoadLibrary(folder.Write("text.so", "not a module\n")), nullptr);
  void* module = CWinApp::LoadLibrary(CORVANE_TEST_LANGUAGE_MODULE);
  ASSERT_NE(module, nullptr);
  CWinApp app(nullptr, {"", "", ""});
  app.SetResourceHandle(module);  // the application closes it
  EXPECT_EQ(app.ResourceHandle(), module);
}

TEST(RegistryTest, AKeyIsASectionOfTheApplicationsFileAndTheValueMustFit) {
  TempFolder folder;
  folder.Write("Acme Corp/Studio.ini",
               "; the current user's settings\n"
               "[Other]\nLanguageCode=XXX\n"
               "[startup]\n  languagecode = DEU  \r\nLanguageCode=FRA\n");
  folder.Write("Org/App.ini", "[StartUp]\nFour=ABCD\nFive=ABCDE\nEmpty=\n");
  const struct {
    const char* key;
    const char* name;
    size_t bytes;
    const char* value;  // null when the read fails
  } cases[] = {
      {"Software\\Acme Corp\\Studio\\StartUp", "LanguageCode", 5, "DEU"},  // any case, trimmed, first line wins
      {"SOFTWARE\\Acme Corp\\Studio\\Other", "LanguageCode", 5, "XXX"},
      {"Software\\Org\\App\\StartUp", "Four", 5, "ABCD"},
      {"Software\\Org\\App\\StartUp", "Five", 5, nullptr},  // five letters and the zero need six bytes
      {"Software\\Org\\App\\StartUp", "Five", 6, "ABCDE"},
      {"Software\\Org\\App\\StartUp", "Empty", 5, ""},
      {"Software\\Org\\App\\StartUp", "Missing", 5, nullptr},
      {"Software\\Org\\App\\Other", "Four", 5, nullptr},
      {"Software\\Org\\Nothing\\StartUp", "Four", 5, nullptr},
      {"Hardware\\Org\\App\\StartUp", "Four", 5, nullptr},
      {"Software\\Org\\App", "Four", 5, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.key) + " " + c.name);
    std::string value = "unchanged";
    EXPECT_EQ(RegQueryUserString(folder.Path(), c.key, c.name, c.bytes, value), c.value != nullptr);
    EXPECT_EQ(value, c.value != nullptr ? c.value : "unchanged");
  }
  std::string value;
  EXPECT_FALSE(RegQueryUserString("", "Software\\Org\\App\\StartUp", "Four", 5, value));
}

}  // namespace
