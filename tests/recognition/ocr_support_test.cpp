// The OCR facade over the stand-in engine of test_ocr_engine.c, which logs
// the calls it gets.
#include "recognition/ocr_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "recognition/ocr_support_impl.h"
#include "recognition/ocr_test_support.h"

namespace {

using corvane::test::ScopedEngineFile;
using corvane::test::ScopedEnvironment;
using corvane::test::TestEngine;

constexpr char kStartLog[] = "Engine_Initialize Cfg_Create Cfg_LoadOptions Ocr_Create Img_Create";
constexpr char kStopLog[] = "Img_Destroy Ocr_Destroy Cfg_Destroy Engine_Uninitialize";

class OCRSupportEngineTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(engine_.Usable()) << CORVANE_TEST_OCR_ENGINE; }

  TestEngine engine_{CORVANE_TEST_OCR_ENGINE};
  ScopedEngineFile file_{CORVANE_TEST_OCR_ENGINE};
};

TEST_F(OCRSupportEngineTest, InitializeMakesTheEngineObjectsAndTheDestructorReleasesThem) {
  {
    COCRSupport support;
    EXPECT_EQ(engine_.TakeLog(), "") << "construction leaves the engine alone";
    EXPECT_EQ(support.Initialize(), S_OK);
    EXPECT_EQ(engine_.TakeLog(), kStartLog);
  }
  EXPECT_EQ(engine_.TakeLog(), kStopLog);
}

TEST_F(OCRSupportEngineTest, ASecondInitializeStopsTheFirstEngine) {
  COCRSupport support;
  ASSERT_EQ(support.Initialize(), S_OK);
  engine_.TakeLog();
  ASSERT_EQ(support.Initialize(), S_OK);
  EXPECT_EQ(engine_.TakeLog(), std::string(kStopLog) + " " + kStartLog);
}

TEST_F(OCRSupportEngineTest, AFailedStepReleasesWhatWasMadeBeforeIt) {
  const std::pair<const char*, const char*> cases[] = {
      {"Engine_Initialize", "Engine_Initialize"},
      {"Cfg_Create", "Engine_Initialize Cfg_Create Engine_Uninitialize"},
      {"Cfg_LoadOptions", "Engine_Initialize Cfg_Create Cfg_LoadOptions Cfg_Destroy Engine_Uninitialize"},
      {"Ocr_Create", "Engine_Initialize Cfg_Create Cfg_LoadOptions Ocr_Create Cfg_Destroy Engine_Uninitialize"},
      {"Img_Create",
       "Engine_Initialize Cfg_Create Cfg_LoadOptions Ocr_Create Img_Create Ocr_Destroy Cfg_Destroy "
       "Engine_Uninitialize"}};
  for (const auto& [failing, log] : cases) {
    const ScopedEnvironment failure("CORVANE_TEST_ENGINE_FAIL", failing);
    {
      COCRSupport support;
      EXPECT_EQ(support.Initialize(), E_FAIL) << failing;
    }
    EXPECT_EQ(engine_.TakeLog(), log) << "nothing more when the object goes";
  }
}

TEST_F(OCRSupportEngineTest, CopiesShareOneImplementationThatIsFreedOnce) {
  {
    COCRSupport original;
    ASSERT_EQ(original.Initialize(), S_OK);
    engine_.TakeLog();
    {
      const COCRSupport copy(original);
      COCRSupport assigned;
      assigned = original;
      assigned = assigned;
    }
    EXPECT_EQ(engine_.TakeLog(), "") << "the engine outlives the copies";
  }
  EXPECT_EQ(engine_.TakeLog(), kStopLog);
  {
    auto* first = new COCRSupport;
    ASSERT_EQ(first->Initialize(), S_OK);
    const COCRSupport survivor(*first);
    delete first;
    engine_.TakeLog();
  }
  EXPECT_EQ(engine_.TakeLog(), kStopLog) << "the last copy stops the engine, whichever it is";
}

TEST(OCRSupportTest, InitializeFailsCleanlyWithoutTheModuleOrWithAnEntryMissing) {
  const std::string absent = testing::TempDir() + "no_engine_" + std::to_string(getpid()) + ".so";
  {
    const ScopedEngineFile file(absent.c_str());
    COCRSupport support;
    EXPECT_EQ(support.Initialize(), E_FAIL);
    EXPECT_EQ(support.Initialize(), E_FAIL) << "and again";
  }
  TestEngine partial(CORVANE_TEST_OCR_ENGINE_PARTIAL);
  ASSERT_TRUE(partial.Usable());
  const ScopedEngineFile file(CORVANE_TEST_OCR_ENGINE_PARTIAL);
  COCRSupportImpl support;
  EXPECT_EQ(support.Initialize(), E_FAIL);
  EXPECT_EQ(partial.TakeLog(),
            "Engine_Initialize Cfg_Create Cfg_LoadOptions Ocr_Create Ocr_Destroy Cfg_Destroy Engine_Uninitialize");
  EXPECT_EQ(support.binding, nullptr);
  EXPECT_FALSE(support.engineStarted);
  EXPECT_EQ(support.configuration, 0);
  EXPECT_EQ(support.recognition, 0);
  EXPECT_EQ(support.image, 0);
}

TEST(OCRSupportTest, AreasAreMadeEvenAndKeepTheirType) {
  COCRSupportImpl support;
  const auto type = static_cast<COCRSupport::TEXT_TYPE>(7);
  EXPECT_EQ(support.AddOCRArea(CRect(10, 20, 31, 41), type), S_OK);
  EXPECT_EQ(support.AddOCRArea(CRect(-3, 0, 0, 4), COCRSupport::TEXT_TYPE_UNSPECIFIED), S_OK);
  ASSERT_EQ(support.areas.size(), 2u);
  EXPECT_EQ(support.areas[0].rectangle.right, 30);
  EXPECT_EQ(support.areas[0].rectangle.bottom, 40);
  EXPECT_EQ(support.areas[0].type, type);
  EXPECT_EQ(support.areas[1].rectangle.right, -1) << "an odd width loses a column whatever its sign";
  EXPECT_EQ(support.areas[1].rectangle.bottom, 4);
  support.ClearAllOCRAreas();
  EXPECT_TRUE(support.areas.empty());
}

TEST(OCRSupportTest, GetTextKeepsHyphensDigitsAndAsciiLetters) {
  EXPECT_EQ(COCRSupportImpl::KeepTextCharacters("AB 12-x!"), "AB12-x");
  EXPECT_EQ(COCRSupportImpl::KeepTextCharacters("\tCH 5\n\xC3\x84rger_1.2\r\n"), "CH5rger12");
  EXPECT_EQ(COCRSupportImpl::KeepTextCharacters("azAZ09-"), "azAZ09-");
  EXPECT_EQ(COCRSupportImpl::KeepTextCharacters("@[`{/:"), "") << "the neighbours of each range";

  COCRSupport support;
  support.AddOCRArea(CRect(0, 0, 8, 8), COCRSupport::TEXT_TYPE_UNSPECIFIED);
  EXPECT_EQ(support.GetText(0), "") << "nothing read yet";
  EXPECT_EQ(support.GetText(1), "");
  EXPECT_EQ(support.GetText(-1), "");
}

}  // namespace
