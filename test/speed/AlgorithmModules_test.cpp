#include "engine/registry/AlgorithmModules.h"

#include <gtest/gtest.h>

#include "test/support/LogCapture.h"
#include "test/support/TestFolder.h"

namespace {

struct AlgorithmModules : testing::Test {
  ~AlgorithmModules() override { modules.Restore(); }
  CVAlgorithm* Make(const wchar_t* name = L"TweenEngine.dll") {
    CVAlgorithmCreater* const factory = CreateAlgorithmFactory();
    CVAlgorithm* const made = factory->CreateCVAlgorithm(kFrameInterpolationAlgorithm, name);
    DestoryAlgorithmFactory(factory);
    return made;
  }
  kiv::AlgorithmModules& modules = kiv::AlgorithmModules::Shared();
};

TEST_F(AlgorithmModules, AModuleIsFoundByItsNameInTheTable) {
  modules.SetFile(L"TweenEngine.dll", KIV_BLEND_MODULE);
  CVAlgorithm* const made = Make();
  ASSERT_NE(nullptr, made);
  EXPECT_TRUE(made->WantsInput());
  made->Destroy(1);
  EXPECT_EQ(nullptr, Make(L"libkiv_tween.so"));
  EXPECT_EQ(nullptr, Make(nullptr));
}

TEST_F(AlgorithmModules, AModuleThatCannotBeUsedIsLoggedOnceWithItsReason) {
  const TestFolder folder;
  WriteBytes(folder.Path("text.so"), "no module at all");
  const std::pair<std::string, std::string> cases[] = {
      {folder.Path("none.so"), "there is no file '" + folder.Path("none.so")},
      {folder.Path(""), "there is no file"},
      {folder.Path("text.so"), "text.so' is no module: "},
      {KIV_NO_ENTRY_MODULE, "no_entry.so' has no entry KivCreateCVAlgorithm"}};
  for (const auto& [file, says] : cases) {
    const test::LogCapture log;
    modules.SetFile(L"TweenEngine.dll", file);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(nullptr, Make());
    ASSERT_EQ(1u, log.lines.size()) << file;
    EXPECT_NE(std::string::npos, log.lines[0].second.find(says)) << log.lines[0].second;
  }
}

}  // namespace
