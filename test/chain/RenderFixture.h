// A clip render of its own, without a facade, over fake nodes.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "kiv/chain/VideoClipRender.h"
#include "test/support/FakeNode.h"

namespace test {

struct RenderFixture : testing::Test {
  HRESULT Build(std::initializer_list<int32_t> ids) {
    const std::vector<int32_t> list(ids);
    return render->BuildChain(list.data(), static_cast<int32_t>(list.size()));
  }

  FakeNodes nodes;
  KivComPtr<CVideoClipRender> render{new CVideoClipRender(nullptr, nodes.Table())};
};

}  // namespace test
