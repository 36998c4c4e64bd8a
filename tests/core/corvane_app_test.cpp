#include "core/corvane_app.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/logger.h"
#include "primitives/prim.h"
#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::RunProcess;
using corvane::test::TempFolder;

// A host laid out in a folder of its own: the executable in bin/, this
// library in lib/, the user's registry under config/. The module-wide values
// are the process's own, so each test starts them empty and puts back what
// the library's load left in them.
class StartUpTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::memcpy(saved_.organization, CWinAppQBX::organizationName, sizeof(saved_.organization));
    std::memcpy(saved_.application, CWinAppQBX::applicationName, sizeof(saved_.application));
    std::memcpy(saved_.lp, CWinAppQBX::lpValue, sizeof(saved_.lp));
    saved_.language = CWinAppQBX::languageCode;
    CWinAppQBX::organizationName[0] = '\0';
    CWinAppQBX::applicationName[0] = '\0';
    CWinAppQBX::lpValue[0] = '\0';
    CWinAppQBX::languageCode.clear();
  }
  void TearDown() override {
    std::memcpy(CWinAppQBX::organizationName, saved_.organization, sizeof(saved_.organization));
    std::memcpy(CWinAppQBX::applicationName, saved_.application, sizeof(saved_.application));
    std::memcpy(CWinAppQBX::lpValue, saved_.lp, sizeof(saved_.lp));
    CWinAppQBX::languageCode = saved_.language;
  }

  CPlatformPaths Paths(const std::string& executable = "editor") const {
    return {Folder("bin/" + executable), Folder("lib/libcorvane.so.1"), Folder("config")};
  }
  std::string Folder(const std::string& name) const { return folder_.Path() + "/" + name; }
  void WriteRedirect(const std::string& fileName, const std::string& text) const {
    folder_.Write("bin/" + fileName, text);
  }
  void WriteLanguageCode(const std::string& code, const std::string& names = "Brackwater Systems/Tessaline-Orbelle4") {
    folder_.Write("config/" + names + ".ini", "[StartUp]\nLanguageCode=" + code + "\n");
  }
  void InstallLanguageModule(const std::string& code) const {
    folder_.Copy(CORVANE_TEST_LANGUAGE_MODULE, "lib/Languages/libcorvane" + code + ".so");
  }
  void WriteHelpFile(const std::string& name) const { folder_.Write("lib/" + name, "help"); }

  // True when the application's resources come from the test's language module.
  static bool UsesTestLanguageModule(const CWinApp& app) {
    if (app.ResourceHandle() == nullptr) return false;
    auto* name = reinterpret_cast<const char* (*)()>(dlsym(app.ResourceHandle(), "CorvaneLanguageName"));
    return name != nullptr && std::string(name()) == "test language module";
  }

  TempFolder folder_;

 private:
  struct {
    char organization[128];
    char application[128];
    char lp[128];
    std::string language;
  } saved_;
};

TEST_F(StartUpTest, WithoutRedirectFileTheDefaultNamesStand) {
  CWinAppQBX app(Paths());
  EXPECT_STREQ(CWinAppQBX::organizationName, "Brackwater Systems");
  EXPECT_STREQ(CWinAppQBX::applicationName, "Tessaline-Orbelle4");
  EXPECT_STREQ(CWinAppQBX::lpValue, "");
  EXPECT_EQ(app.AppName(), "Tessaline-Orbelle4");
  EXPECT_EQ(app.ProfileName(), "Tessaline-Orbelle4");
  EXPECT_EQ(app.RegistryKey(), "Brackwater Systems");
  EXPECT_EQ(app.HelpMode(), afxHTMLHelp);
  EXPECT_TRUE(app.InitInstance());
  EXPECT_EQ(CWinAppQBX::languageCode, "");
  EXPECT_EQ(app.ResourceHandle(), nullptr);
  EXPECT_EQ(app.HelpFilePath(), Folder("lib/QBX-ORB.chm"));
}

TEST_F(StartUpTest, KeysIgnoreCaseAndValuesLoseOnlyTheirLineFeed) {
  WriteRedirect("QBX_REGISTRY.ini", "ORGANIZATION=Acme Corp\nApplication=Studio Pro\r\nLP=last line, no feed");
  CWinAppQBX app(Paths());
  EXPECT_STREQ(CWinAppQBX::organizationName, "Acme Corp");
  EXPECT_STREQ(CWinAppQBX::applicationName, "Studio Pro");
  CWinApp& platformApp = app;
  EXPECT_EQ(static_cast<CWinAppQBX&>(platformApp).GetLpValue(), "last line, no feed");
  EXPECT_EQ(app.AppName(), "Studio Pro");
  EXPECT_EQ(app.RegistryKey(), "Acme Corp");
}

TEST_F(StartUpTest, ShortKeysAtLineStartAndTheLastSettingWins) {
  WriteRedirect("QBX_REGISTRY.ini",
                "o=First\na=One\nO=Second\n o=indented\norg=ignored\nname=ignored\nlp=a=b\nA=\n");
  CWinAppQBX app(Paths());
  EXPECT_STREQ(CWinAppQBX::organizationName, "Second");
  EXPECT_STREQ(CWinAppQBX::applicationName, "");  // an empty value is still the last word
  EXPECT_STREQ(CWinAppQBX::lpValue, "a=b");
}

TEST_F(StartUpTest, FileNamedAfterTheExecutableIsTheSecondChoice) {
  WriteRedirect("host_REGISTRY.ini", "o=Named After Host\n");
  WriteRedirect("editor_REGISTRY.ini", "o=Other Executable\n");
  CWinAppQBX named(Paths("host.exe"));
  EXPECT_STREQ(CWinAppQBX::organizationName, "Named After Host");

  CWinAppQBX::organizationName[0] = '\0';
  WriteRedirect("QBX_REGISTRY.ini", "o=Shared\n");
  CWinAppQBX shared(Paths("host.exe"));
  EXPECT_STREQ(CWinAppQBX::organizationName, "Shared");
}

TEST_F(StartUpTest, RedirectFileIsReadOnlyWhileTheNamesAreUnset) {
  WriteRedirect("QBX_REGISTRY.ini", "o=Before\na=Before App\n");
  CWinAppQBX first(Paths());
  WriteRedirect("QBX_REGISTRY.ini", "o=After\na=After App\n");
  CWinAppQBX second(Paths());
  EXPECT_TRUE(second.InitInstance());
  EXPECT_STREQ(CWinAppQBX::organizationName, "Before");
  EXPECT_EQ(second.AppName(), "Before App");
  CWinAppQBX::organizationName[0] = '\0';
  CWinAppQBX::ReadRedirectFile(Paths().executablePath);
  EXPECT_STREQ(CWinAppQBX::applicationName, "After App");
}

TEST_F(StartUpTest, LongValuesAreCutAndLongLinesSplitAt1023Characters) {
  // The first read takes 1023 characters of the "a=" line; the rest, "o=Tail",
  // comes back as a line of its own.
  WriteRedirect("QBX_REGISTRY.ini", "a=" + std::string(1021, 'y') + "o=Tail\n");
  CWinAppQBX app(Paths());
  EXPECT_EQ(std::string(CWinAppQBX::applicationName), std::string(127, 'y'));
  EXPECT_STREQ(CWinAppQBX::organizationName, "Tail");
}

TEST_F(StartUpTest, LanguageModuleAndLocalisedHelpFile) {
  WriteLanguageCode("DEU");
  InstallLanguageModule("DEU");
  {
    CWinAppQBX app(Paths());
    EXPECT_TRUE(app.InitInstance());
    EXPECT_EQ(CWinAppQBX::languageCode, "DEU");
    EXPECT_TRUE(UsesTestLanguageModule(app));
    EXPECT_EQ(app.HelpFilePath(), Folder("lib/QBX-ORB.chm"));  // no localised help file yet
  }
  WriteHelpFile("QBX-ORB_DEU.chm");
  CWinAppQBX app(Paths());
  app.InitInstance();
  EXPECT_EQ(app.HelpFilePath(), Folder("lib/QBX-ORB_DEU.chm"));
}

TEST_F(StartUpTest, EnglishKeepsTheHelpFileButStillLoadsItsModule) {
  for (const std::string code : {"eng", "ENG", "Eng"}) {
    WriteLanguageCode(code);
    InstallLanguageModule(code);
    WriteHelpFile("QBX-ORB_" + code + ".chm");
    CWinAppQBX app(Paths());
    app.InitInstance();
    EXPECT_EQ(CWinAppQBX::languageCode, code);
    EXPECT_TRUE(UsesTestLanguageModule(app)) << code;
    EXPECT_EQ(app.HelpFilePath(), Folder("lib/QBX-ORB.chm")) << code;
  }
}

TEST_F(StartUpTest, ModuleThatDoesNotLoadLeavesTheBuiltInResources) {
  WriteLanguageCode("FRA");
  folder_.Write("lib/Languages/libcorvaneFRA.so", "not a shared object\n");
  WriteHelpFile("QBX-ORB_FRA.chm");
  CWinAppQBX app(Paths());
  EXPECT_TRUE(app.InitInstance());
  EXPECT_EQ(CWinAppQBX::languageCode, "FRA");
  EXPECT_EQ(app.ResourceHandle(), nullptr);
  EXPECT_EQ(app.HelpFilePath(), Folder("lib/QBX-ORB_FRA.chm"));  // the help file does not depend on the module

  WriteLanguageCode("ITA");  // no module at all
  CWinAppQBX missing(Paths());
  missing.InitInstance();
  EXPECT_EQ(CWinAppQBX::languageCode, "ITA");
  EXPECT_EQ(missing.ResourceHandle(), nullptr);
}

TEST_F(StartUpTest, CodeOfFiveLettersDoesNotFitAndLeavesNoLanguage) {
  InstallLanguageModule("DEUTS");
  WriteHelpFile("QBX-ORB_DEUTS.chm");
  WriteLanguageCode("DEUTS");
  CWinAppQBX five(Paths());
  five.InitInstance();
  EXPECT_EQ(CWinAppQBX::languageCode, "");
  EXPECT_EQ(five.ResourceHandle(), nullptr);
  EXPECT_EQ(five.HelpFilePath(), Folder("lib/QBX-ORB.chm"));

  InstallLanguageModule("DEUT");
  WriteLanguageCode("DEUT");
  CWinAppQBX four(Paths());
  four.InitInstance();
  EXPECT_EQ(CWinAppQBX::languageCode, "DEUT");
  EXPECT_TRUE(UsesTestLanguageModule(four));
}

TEST_F(StartUpTest, LanguageIsReadUnderTheRedirectedNames) {
  WriteRedirect("QBX_REGISTRY.ini", "o=Acme\na=Studio\n");
  WriteLanguageCode("NLD", "Acme/Studio");
  WriteLanguageCode("DEU");  // under the default names, which no longer apply
  CWinAppQBX app(Paths());
  app.InitInstance();
  EXPECT_EQ(CWinAppQBX::languageCode, "NLD");
}

TEST_F(StartUpTest, CorvaneAppLogsThePrimitiveLibraryOnce) {
  std::vector<std::string> lines;
  CLogger::SetSink([&](int level, const std::string& line) { lines.push_back(std::to_string(level) + ":" + line); });
  CCorvaneApp app(Paths());
  const bool result = app.InitInstance();
  CLogger::SetSink(nullptr);
  EXPECT_TRUE(result);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], std::string("0:Image   support lib: 7.0 build 205.58, ") + PrimGetLibVersion()->name);
}

// The library's own load in a fresh process: the tool logs the start-up line
// once, naming the primitive library it then reports.
TEST(LibraryLoadTest, FreshProcessLogsTheStartUpLineOnce) {
  TempFolder folder;
  for (const char* slot : {"", "1"}) {
    const std::string log = folder.Path() + "/log-" + slot + ".txt";
    const auto result = RunProcess("CORVANE_LOG='" + log + "' CORVANE_PRIM_SLOT='" + slot + "' '" +
                                   CORVANE_TOOL_PATH + "' version");
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    std::ifstream in(log);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    ASSERT_EQ(lines.size(), 1u) << "slot '" << slot << "'";
    const std::string prefix = "[0] Image   support lib: 7.0 build 205.58, ";
    ASSERT_EQ(lines[0].compare(0, prefix.size(), prefix), 0) << lines[0];
    const std::string name = lines[0].substr(prefix.size());
    EXPECT_NE(result.output.find("primitives      " + name + ", 7.0 build 205.58"), std::string::npos)
        << result.output;
    if (std::string(slot) == "1") {
      EXPECT_EQ(name, "ippvcw7_l.lib");
    }
  }
}

// The real load path: a host executable with a redirect file named after it
// and a language in the user's registry.
TEST(LibraryLoadTest, HostFolderAndUserRegistryReachTheLoadedLibrary) {
  TempFolder folder;
  const std::string tool = folder.Copy(CORVANE_TOOL_PATH, "bin/host");
  std::filesystem::permissions(tool, std::filesystem::perms::owner_exec, std::filesystem::perm_options::add);
  folder.Write("bin/host_REGISTRY.ini", "Organization=Acme\nA=Studio\n");
  folder.Write("config/Acme/Studio.ini", "[StartUp]\nLanguageCode=NLD\n");
  const auto result = RunProcess("CORVANE_LOG='" + folder.Path() + "/log' XDG_CONFIG_HOME='" + folder.Path() +
                                 "/config' '" + tool + "' version");
  ASSERT_EQ(result.exitStatus, 0);
  EXPECT_NE(result.output.find("organization    Acme\n"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("application     Studio\n"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("language        NLD\n"), std::string::npos) << result.output;
}

}  // namespace
