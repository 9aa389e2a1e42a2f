// A facade over fake nodes.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "kiv/component/VideoStreamProcess.h"
#include "test/support/FakeNodes.h"

namespace test {

inline HRESULT Build(IKivVideoStreamProcessInternal& facade, std::initializer_list<int32_t> ids) {
  const std::vector<int32_t> list(ids);
  return facade.BuildChain(list.data(), static_cast<int32_t>(list.size()));
}

struct FacadeFixture : testing::Test {
  FakeNodes nodes;
  KivComPtr<IKivVideoStreamProcessInternal> facade{
      new CKivVideoStreamProcess(nullptr, nodes.Table())};
};

// The count a host would see: taken and given back.
inline uint32_t CountOf(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

}  // namespace test
