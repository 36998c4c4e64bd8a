#include "recognition/nsocr_binding.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "recognition/ocr_test_support.h"

namespace {

using corvane::test::ScopedEngineFile;

NSOCRProc Resolve(void* module, const char* name) { return reinterpret_cast<NSOCRProc>(dlsym(module, name)); }

TEST(TNSOCRTest, ResolvesEveryEntryByItsNameOnce) {
  corvane::test::TestEngine engine(CORVANE_TEST_OCR_ENGINE);
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
    EXPECT_EQ(binding.Entry(i), Resolve(engine.Module(), name)) << name;
  }
  // The slots follow the engine's table order, the named members among them.
  EXPECT_EQ(binding.Entry(29), Resolve(engine.Module(), "Img_OCR"));
  EXPECT_EQ(reinterpret_cast<NSOCRProc>(binding.entries.Img_OCR), binding.Entry(29));
  EXPECT_EQ(reinterpret_cast<NSOCRProc>(binding.entries.Scan_Destroy), Resolve(engine.Module(), "Scan_Destroy"));
  EXPECT_EQ(binding.Entry(kNSOCREntryCount), nullptr);
  EXPECT_EQ(TNSOCR::EntryName(kNSOCREntryCount), nullptr);

  binding.entries.Img_OCR = nullptr;
  EXPECT_TRUE(binding.Load());
  EXPECT_EQ(binding.entries.Img_OCR, nullptr) << "a second load leaves the table alone";
  EXPECT_EQ(binding.library, engine.Module());
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
  const ScopedEngineFile file(corvane::test::AbsentModulePath().c_str());
  TNSOCR binding;
  EXPECT_FALSE(binding.Load());
  EXPECT_FALSE(binding.loaded);
  EXPECT_EQ(binding.library, nullptr);
  for (size_t i = 0; i < kNSOCREntryCount; ++i) EXPECT_EQ(binding.Entry(i), nullptr);
  EXPECT_FALSE(binding.Load()) << "a failed load may be retried and fails again";
}

TEST(TNSOCRTest, WithoutTheVariableTheModuleBesideTheLibraryIsOpened) {
  CORVANE_SKIP_WITHOUT_OCR_ENGINE_MODULE();
  const ScopedEngineFile file(nullptr);
  TNSOCR binding;
  ASSERT_TRUE(binding.Load()) << dlerror();
  void* const expected = dlopen(corvane::test::EngineModulePath().c_str(), RTLD_NOW | RTLD_NOLOAD);
  EXPECT_EQ(binding.library, expected);
  if (expected != nullptr) dlclose(expected);
}

}  // namespace
