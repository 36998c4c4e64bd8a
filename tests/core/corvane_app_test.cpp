#include "core/corvane_app.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::RunProcess;
using corvane::test::TempFolder;
using Strings = std::vector<std::string>;

// A host laid out in a folder of its own: the executable in bin/, this
// library in lib/, the user's registry under config/. The module-wide values
// are the process's own, so each test starts them empty and puts back what
// the library's load left in them.
class StartUpTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (int i = 0; i < 3; ++i) std::memcpy(saved_[i], kNames[i], sizeof(saved_[i]));
    ClearNames();
    savedLanguage_ = std::exchange(CWinAppQBX::languageCode, "");
  }
  void TearDown() override {
    for (int i = 0; i < 3; ++i) std::memcpy(kNames[i], saved_[i], sizeof(saved_[i]));
    CWinAppQBX::languageCode = savedLanguage_;
  }
  static void ClearNames() {
    for (char* name : kNames) name[0] = '\0';
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

  // True when the application's resources come from the test's language module.
  static bool UsesTestLanguageModule(const CWinApp& app) {
    if (app.ResourceHandle() == nullptr) return false;
    auto* name = reinterpret_cast<const char* (*)()>(dlsym(app.ResourceHandle(), "CorvaneLanguageName"));
    return name != nullptr && std::string(name()) == "test language module";
  }

  TempFolder folder_;

 private:
  static constexpr char* kNames[3] = {CWinAppQBX::organizationName, CWinAppQBX::applicationName,
                                      CWinAppQBX::lpValue};
  char saved_[3][128];
  std::string savedLanguage_;
};

TEST_F(StartUpTest, WithoutRedirectFileTheDefaultNamesStand) {
  CWinAppQBX app(Paths());
  EXPECT_EQ((Strings{CWinAppQBX::organizationName, CWinAppQBX::applicationName, CWinAppQBX::lpValue, app.AppName(),
                     app.ProfileName(), app.RegistryKey()}),
            (Strings{"Brackwater Systems", "Tessaline-Orbelle4", "", "Tessaline-Orbelle4", "Tessaline-Orbelle4",
                     "Brackwater Systems"}));
  EXPECT_EQ(app.HelpMode(), afxHTMLHelp);
  EXPECT_TRUE(app.InitInstance());
  EXPECT_EQ(CWinAppQBX::languageCode, "");
  EXPECT_EQ(app.ResourceHandle(), nullptr);
  EXPECT_EQ(app.HelpFilePath(), Folder("lib/QBX-ORB.chm"));
}

TEST_F(StartUpTest, RedirectFileLines) {
  const struct {
    std::string text, organization, application, lp;
  } kCases[] = {
      // Keys ignore case; values lose only their line feed (and a carriage return before it).
      {"ORGANIZATION=Acme Corp\nApplication=Studio Pro\r\nLP=last line, no feed", "Acme Corp", "Studio Pro",
       "last line, no feed"},
      // Short keys count only at the line's start; the last setting wins, an empty one too.
      {"o=First\na=One\nO=Second\n o=indented\norg=ignored\nname=ignored\nlp=a=b\nA=\n", "Second", "", "a=b"},
      // A read takes 1023 characters of the "a=" line; the rest, "o=Tail", is a line
      // of its own. Values are cut to 127 characters.
      {"a=" + std::string(1021, 'y') + "o=Tail\n", "Tail", std::string(127, 'y'), ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text.substr(0, 40));
    ClearNames();
    WriteRedirect("QBX_REGISTRY.ini", c.text);
    CWinAppQBX app(Paths());
    EXPECT_EQ((Strings{CWinAppQBX::organizationName, CWinAppQBX::applicationName, app.GetLpValue(), app.AppName(),
                       app.RegistryKey()}),
              (Strings{c.organization, c.application, c.lp, c.application, c.organization}));
  }
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

// The steps run in order in one folder: modules and help files stay installed.
TEST_F(StartUpTest, LanguageModulesAndLocalisedHelpFiles) {
  enum Module { kNone, kReal, kBroken };
  const struct {
    std::string code;
    Module module;
    bool helpFile;
    std::string languageCode;  // as the application keeps it
    bool usesModule;
    std::string help;  // the help file chosen, in lib/
  } kSteps[] = {
      {"DEU", kReal, false, "DEU", true, "QBX-ORB.chm"},  // no localised help file yet
      {"DEU", kNone, true, "DEU", true, "QBX-ORB_DEU.chm"},
      // English keeps the help file but still loads its module.
      {"eng", kReal, true, "eng", true, "QBX-ORB.chm"},
      {"ENG", kReal, true, "ENG", true, "QBX-ORB.chm"},
      {"Eng", kReal, true, "Eng", true, "QBX-ORB.chm"},
      // A module that does not load leaves the built-in resources; the help file does not depend on it.
      {"FRA", kBroken, true, "FRA", false, "QBX-ORB_FRA.chm"},
      {"ITA", kNone, false, "ITA", false, "QBX-ORB.chm"},
      // Five letters do not fit the registry value: no language at all.
      {"DEUTS", kReal, true, "", false, "QBX-ORB.chm"},
      {"DEUT", kReal, false, "DEUT", true, "QBX-ORB.chm"},
  };
  for (const auto& step : kSteps) {
    SCOPED_TRACE(step.code);
    WriteLanguageCode(step.code);
    const std::string module = "lib/Languages/libcorvane" + step.code + ".so";
    if (step.module == kReal) folder_.Copy(CORVANE_TEST_LANGUAGE_MODULE, module);
    if (step.module == kBroken) folder_.Write(module, "not a shared object\n");
    if (step.helpFile) folder_.Write("lib/QBX-ORB_" + step.code + ".chm", "help");
    CWinAppQBX app(Paths());
    EXPECT_TRUE(app.InitInstance());
    EXPECT_EQ(CWinAppQBX::languageCode, step.languageCode);
    EXPECT_EQ(UsesTestLanguageModule(app), step.usesModule);
    EXPECT_EQ(app.ResourceHandle() != nullptr, step.usesModule);
    EXPECT_EQ(app.HelpFilePath(), Folder("lib/" + step.help));
  }
}

TEST_F(StartUpTest, LanguageIsReadUnderTheRedirectedNames) {
  WriteRedirect("QBX_REGISTRY.ini", "o=Acme\na=Studio\n");
  WriteLanguageCode("NLD", "Acme/Studio");
  WriteLanguageCode("DEU");  // under the default names, which no longer apply
  CWinAppQBX app(Paths());
  app.InitInstance();
  EXPECT_EQ(CWinAppQBX::languageCode, "NLD");
}

// The library's own load in a fresh process: the application object logs the
// start-up line once, naming the primitive library the tool then reports.
TEST(LibraryLoadTest, FreshProcessLogsTheStartUpLineOnce) {
  TempFolder folder;
  for (const char* slot : {"", "1"}) {
    const std::string log = folder.Path() + "/log-" + slot + ".txt";
    const auto result = RunProcess("CORVANE_LOG='" + log + "' CORVANE_PRIM_SLOT='" + slot + "' '" +
                                   CORVANE_TOOL_PATH + "' version");
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    const std::string text = corvane::test::ReadWholeFile(log);
    const std::string prefix = "[0] Image   support lib: 7.0 build 205.58, ";
    ASSERT_EQ(text.rfind(prefix, 0), 0u) << text;
    ASSERT_EQ(text.find('\n'), text.size() - 1) << "one line, slot '" << slot << "': " << text;
    const std::string name = text.substr(prefix.size(), text.size() - 1 - prefix.size());
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
