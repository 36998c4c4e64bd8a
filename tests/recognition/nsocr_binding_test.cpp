#include "recognition/nsocr_binding.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "recognition/ocr_test_support.h"

namespace {

using corvane::test::ScopedEngineFile;
using corvane::test::TestEngine;

void* Resolve(void* module, const char* name) { return dlsym(module, name); }

NSOCRProc AsProc(void* entry) { return reinterpret_cast<NSOCRProc>(entry); }

TEST(TNSOCRTest, SlotsFollowTheTableOrder) {
  EXPECT_STREQ(TNSOCR::EntryName(0), "Engine_Initialize");
  EXPECT_STREQ(TNSOCR::EntryName(6), "Cfg_LoadOptions");
  EXPECT_STREQ(TNSOCR::EntryName(17), "Img_LoadBmpData");
  EXPECT_STREQ(TNSOCR::EntryName(28), "Img_GetImgText");
  EXPECT_STREQ(TNSOCR::EntryName(29), "Img_OCR");
  EXPECT_STREQ(TNSOCR::EntryName(56), "Svr_Create");
  EXPECT_STREQ(TNSOCR::EntryName(65), "Scan_Destroy");
  EXPECT_EQ(TNSOCR::EntryName(66), nullptr);
}

TEST(TNSOCRTest, ResolvesEveryEntryByItsName) {
  TestEngine engine(CORVANE_TEST_OCR_ENGINE);
  ASSERT_NE(engine.Module(), nullptr) << dlerror();
  const ScopedEngineFile file(CORVANE_TEST_OCR_ENGINE);
  TNSOCR binding;
  EXPECT_FALSE(binding.loaded);
  EXPECT_EQ(binding.Entry(0), nullptr);
  ASSERT_TRUE(binding.Load());
  EXPECT_TRUE(binding.loaded);
  EXPECT_EQ(binding.library, engine.Module()) << "the same module, opened twice";
  for (size_t i = 0; i < kNSOCREntryCount; ++i) {
    const char* name = TNSOCR::EntryName(i);
    EXPECT_NE(binding.Entry(i), nullptr) << name;
    EXPECT_EQ(binding.Entry(i), AsProc(Resolve(engine.Module(), name))) << name;
  }
  EXPECT_EQ(AsProc(reinterpret_cast<void*>(binding.entries.Img_OCR)), binding.Entry(29));
  EXPECT_EQ(AsProc(reinterpret_cast<void*>(binding.entries.Scan_Destroy)), binding.Entry(65));
  EXPECT_EQ(binding.Entry(kNSOCREntryCount), nullptr);
}

TEST(TNSOCRTest, ASecondLoadLeavesTheTableAlone) {
  const ScopedEngineFile file(CORVANE_TEST_OCR_ENGINE);
  TNSOCR binding;
  ASSERT_TRUE(binding.Load());
  void* const library = binding.library;
  binding.entries.Img_OCR = nullptr;
  EXPECT_TRUE(binding.Load());
  EXPECT_EQ(binding.entries.Img_OCR, nullptr);
  EXPECT_EQ(binding.library, library);
}

TEST(TNSOCRTest, AMissingEntryOnlyLeavesItsSlotEmpty) {
  const ScopedEngineFile file(CORVANE_TEST_OCR_ENGINE_PARTIAL);
  TNSOCR binding;
  ASSERT_TRUE(binding.Load());
  for (size_t i = 0; i < kNSOCREntryCount; ++i) {
    const bool missing = std::string(TNSOCR::EntryName(i)) == "Img_Create";
    EXPECT_EQ(binding.Entry(i) == nullptr, missing) << TNSOCR::EntryName(i);
  }
}

TEST(TNSOCRTest, AnUnloadableModuleLeavesTheBindingUnloaded) {
  const std::string absent = testing::TempDir() + "no_engine_" + std::to_string(getpid()) + ".so";
  const ScopedEngineFile file(absent.c_str());
  TNSOCR binding;
  EXPECT_FALSE(binding.Load());
  EXPECT_FALSE(binding.loaded);
  EXPECT_EQ(binding.library, nullptr);
  for (size_t i = 0; i < kNSOCREntryCount; ++i) EXPECT_EQ(binding.Entry(i), nullptr);
  EXPECT_FALSE(binding.Load()) << "a failed load may be retried and fails again";
}

TEST(TNSOCRTest, WithoutTheVariableTheModuleBesideTheLibraryIsOpened) {
  const ScopedEngineFile file(nullptr);
  const std::string beside = std::string(CORVANE_BUILD_DIR) + "/lib/OCR/libNSOCR.so";
  if (access(beside.c_str(), R_OK) != 0) {
    GTEST_SKIP() << "the engine module is not built (is Tesseract installed?): no " << beside;
  }
  TNSOCR binding;
  ASSERT_TRUE(binding.Load()) << dlerror();
  void* const expected = dlopen(beside.c_str(), RTLD_NOW | RTLD_NOLOAD);
  EXPECT_EQ(binding.library, expected);
  if (expected != nullptr) dlclose(expected);
}

}  // namespace
