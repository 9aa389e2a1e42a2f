// An alpha video node over a fake source, set up as a host does.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "kiv/effects/VideoAlphaVideo.h"
#include "kiv/platform/KeyNames.h"
#include "test/support/FakeFilter.h"
#include "test/support/FakeMediaSource.h"
#include "test/support/FakeNode.h"
#include "test/support/TestFolder.h"

struct AlphaVideo : testing::Test {
  // A preset of 5 seconds in a clip of 10, both at 25 frames a second.
  AlphaVideo() {
    record.preset = 1;
    const KivRational rate{25, 1};
    const KivRange range{0, 249};
    test::Send(*chain.node, CommandId::SetRenderFrameRate, &rate);
    test::Send(*chain.node, CommandId::SetRenderRange, &range);
    Apply();
    Taken();
  }
  void Apply() {
    EXPECT_EQ(S_OK, test::Send(*chain.node, CommandId::SetAlphaVideoSettings, &record));
  }
  AlphaVideoSettings Record() {
    AlphaVideoSettings read;
    EXPECT_EQ(S_OK, test::Send(*chain.node, CommandId::GetAlphaVideoSettings, &read));
    return read;
  }
  test::Calls Taken() { return chain.source->log.Take(); }
  // The mask's path is taken for ready only from a clip's settings.
  void LoadMask(const std::string& path) {
    const KivPropDecorator bag = KivCommon::CreateProperties();
    chain.node->SaveSettings(bag.Get());
    bag->SetInt(KivKey::AlphaVideo::kAlphaVideo_FullHD, 1);
    bag->SetString(KivKey::AlphaVideo::kAlphaVideo_FullHDDataFilepath,
                   KivCommon::Char2WChar(path.c_str()).c_str());
    EXPECT_EQ(S_OK, chain.node->LoadSettings(bag.Get()));
    record = Record();
  }

  test::NodeOnFake<CVideoAlphaVideo> chain;
  AlphaVideoSettings record;
  const TestFolder folder;
};

inline void SetPath(char16_t (&to)[AlphaVideoSettings::kPathCapacity], const std::string& path) {
  std::fill(std::copy(path.begin(), path.end(), to), std::end(to), u'\0');
}
