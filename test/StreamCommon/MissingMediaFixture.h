// A path service and a filter manager of the test's own, and a still picture on disk.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "kiv/StreamCommon/MissingMedia.h"
#include "kiv/platform/KivCommon.h"
#include "test/support/FakeFilter.h"
#include "test/support/FakePathService.h"

namespace test {

class MissingMediaFixture : public testing::Test {
 protected:
  void SetUp() override {
    ForgetMissingMediaImage();
    std::string name = (std::filesystem::temp_directory_path() / "kiv-missing-XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(name.data()));
    folder_ = name;
    filter_->fill = 4321;
    manager_->filter = filter_;
  }
  void TearDown() override {
    ForgetMissingMediaImage();
    std::filesystem::remove_all(folder_);
  }

  // A picture of 2 x 1 pixels in the one format that needs no library: binary PPM.
  std::wstring WritePicture(const char* name = "missing.ppm") const {
    std::ofstream(folder_ / name, std::ios::binary) << "P6\n2 1\n255\n"
                                                    << "\x01\x02\x03\x01\x02\x03";
    return KivCommon::Char2WChar((folder_ / name).c_str());
  }

  std::filesystem::path folder_;
  KivComPtr<FakePathService> paths_ = FakePathService::Make();
  KivComPtr<FakeFilter> filter_ = FakeFilter::Make();
  KivComPtr<FakeFilterManager> manager_ = FakeFilterManager::Make();
  SwappedClass swappedPaths_{kPathServiceClassId, paths_.Get()};
  SwappedClass swappedManager_{kiv::kFilterManagerClassId, manager_.Get()};
};

}  // namespace test
