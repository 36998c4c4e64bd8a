#include "platform/win_app.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/registry.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::TempFolder;

TEST(SplitPathTest, CutsLikeThePlatformSplitter) {
  struct Case {
    const char* path;
    const char* directory;
    const char* name;
    const char* extension;
  };
  const Case cases[] = {
      {"/opt/host/bin/editor", "/opt/host/bin/", "editor", ""},
      {"/opt/host/bin/editor.exe", "/opt/host/bin/", "editor", ".exe"},
      {"/opt/host/my.editor.bin", "/opt/host/", "my.editor", ".bin"},
      {"/usr/lib/libcorvane.so", "/usr/lib/", "libcorvane", ".so"},
      {"/usr/lib/libcorvane.so.1", "/usr/lib/", "libcorvane", ".so.1"},
      {"/usr/lib/libcorvane.so.1.0.0", "/usr/lib/", "libcorvane", ".so.1.0.0"},
      {"/usr/lib/libsound.solid.so", "/usr/lib/", "libsound.solid", ".so"},  // ".sol" is no shared object suffix
      {"/home/user/.profile", "/home/user/", ".profile", ""},
      {"editor", "", "editor", ""},
      {"", "", "", ""},
  };
  for (const Case& c : cases) {
    const CPathParts parts = SplitPath(c.path);
    EXPECT_EQ(parts.directory, c.directory) << c.path;
    EXPECT_EQ(parts.name, c.name) << c.path;
    EXPECT_EQ(parts.extension, c.extension) << c.path;
    EXPECT_EQ(parts.directory + parts.name + parts.extension, c.path);
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

class RegistryTest : public ::testing::Test {
 protected:
  bool Read(const std::string& key, const std::string& name, size_t bytes, std::string& value) {
    return RegQueryUserString(folder_.Path(), key, name, bytes, value);
  }
  TempFolder folder_;
};

TEST_F(RegistryTest, KeyMapsToSectionOfTheApplicationsFile) {
  folder_.Write("Acme Corp/Studio.ini",
                "; the current user's settings\n"
                "[Other]\nLanguageCode=XXX\n"
                "[startup]\n  languagecode = DEU  \r\nLanguageCode=FRA\n");
  std::string value = "unchanged";
  ASSERT_TRUE(Read("Software\\Acme Corp\\Studio\\StartUp", "LanguageCode", 5, value));
  EXPECT_EQ(value, "DEU");  // names in any case, blanks trimmed, the first line wins
  ASSERT_TRUE(Read("SOFTWARE\\Acme Corp\\Studio\\Other", "LanguageCode", 5, value));
  EXPECT_EQ(value, "XXX");
}

TEST_F(RegistryTest, MissingPiecesAndValuesThatDoNotFitFail) {
  folder_.Write("Org/App.ini", "[StartUp]\nFour=ABCD\nFive=ABCDE\nEmpty=\n");
  std::string value = "unchanged";
  EXPECT_TRUE(Read("Software\\Org\\App\\StartUp", "Four", 5, value));
  EXPECT_EQ(value, "ABCD");
  value = "unchanged";
  EXPECT_FALSE(Read("Software\\Org\\App\\StartUp", "Five", 5, value));  // five letters and the zero need six bytes
  EXPECT_EQ(value, "unchanged");
  EXPECT_TRUE(Read("Software\\Org\\App\\StartUp", "Five", 6, value));
  EXPECT_EQ(value, "ABCDE");
  EXPECT_TRUE(Read("Software\\Org\\App\\StartUp", "Empty", 5, value));
  EXPECT_EQ(value, "");
  EXPECT_FALSE(Read("Software\\Org\\App\\StartUp", "Missing", 5, value));
  EXPECT_FALSE(Read("Software\\Org\\App\\Other", "Four", 5, value));
  EXPECT_FALSE(Read("Software\\Org\\Nothing\\StartUp", "Four", 5, value));
  EXPECT_FALSE(Read("Hardware\\Org\\App\\StartUp", "Four", 5, value));
  EXPECT_FALSE(Read("Software\\Org\\App", "Four", 5, value));
  EXPECT_FALSE(RegQueryUserString("", "Software\\Org\\App\\StartUp", "Four", 5, value));
}

}  // namespace
