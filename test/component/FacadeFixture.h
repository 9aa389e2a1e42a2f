// Facades over fake nodes and over the real ones.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "kiv/chain/IKivRender.h"
#include "kiv/component/NodeTable.h"
#include "kiv/component/VideoStreamProcess.h"
#include "test/support/FakeDecoder.h"
#include "test/support/FakeNode.h"

namespace test {

using FacadePtr = KivComPtr<IKivVideoStreamProcessInternal>;

inline HRESULT Build(IKivVideoStreamProcessInternal& facade, std::initializer_list<int32_t> ids) {
  const std::vector<int32_t> list(ids);
  return facade.BuildChain(list.data(), static_cast<int32_t>(list.size()));
}

struct FacadeFixture : testing::Test {
  FakeNodes nodes;
  FacadePtr facade{new CKivVideoStreamProcess(nullptr, nodes.Table())};
};

// One source, attached to nothing yet.
struct ClipFixture : testing::Test {
  void SetUp() override { Build(*facade, {0}); }
  FacadePtr facade{new CKivVideoStreamProcess(nullptr, ComponentNodes())};
  KivComPtr<IKivRenderEx> render = facade.As<IKivRenderEx>();
  KivComPtr<FakeDecoder> decoder = FakeDecoder::Make();
  KivComPtr<IKivFrame> frame;
};

}  // namespace test
