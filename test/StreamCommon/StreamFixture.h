// A streamer and a decoder for it; and a path service and a filter manager of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "kiv/StreamCommon/MissingMedia.h"
#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/platform/PathService.h"
#include "test/support/FakeDecoder.h"
#include "test/support/FakeFilter.h"
#include "test/support/FakeNode.h"
#include "test/support/TemporaryFolder.h"

namespace test {

struct StreamFixture : testing::Test {
  void Attach() { Send(*node, CommandId::SetDecoder, decoder->AsUnknown()); }
  void UseSize(const KivSize& size) { Send(*node, CommandId::SetOutputSize, &size); }
  void UseScale(const KivRational& scale) { Send(*node, CommandId::SetDecodeScale, &scale); }
  void UseRate(const KivRational& rate) { Send(*node, CommandId::SetSourceFrameRate, &rate); }
  KivComPtr<IKivFrame> Pull() {
    status = 77;
    return node->GetCurrentFrame(&status);
  }

  KivComPtr<FakeDecoder> decoder = FakeDecoder::Make();
  KivComPtr<CVideoStreamer> node{new CVideoStreamer(nullptr)};
  int32_t status = 77;
};

// Translates nothing and knows one named value.
struct FakePathService : kiv::CountedObject<IKivPathService> {
  HRESULT GetNamedValue(const wchar_t* name, wchar_t* buffer, int32_t capacity) override {
    log.Add("GetNamedValue");
    if (name != std::wstring(L"NOT_FOUND_JPEG_PATH") || value.empty()) return E_NOTFOUND;
    return TranslateLocation(value.c_str(), buffer, capacity);
  }
  HRESULT TranslateLocation(const wchar_t* location, wchar_t* buffer, int32_t capacity) override {
    buffer[std::wstring(location).copy(buffer, static_cast<size_t>(capacity) - 1)] = 0;
    return S_OK;
  }

  CallLog log;
  std::wstring value;
};

struct MissingMediaFixture : StreamFixture {
  MissingMediaFixture() {
    ForgetMissingMediaImage();
    filter->fill = 4321;
    manager->filter = filter;
  }
  ~MissingMediaFixture() override { ForgetMissingMediaImage(); }
  // Of 2 x 1 pixels in the one format that needs no library: binary PPM.
  void HavePicture(const char* name = "missing.ppm") {
    paths->value = folder.Write(name, "P6\n2 1\n255\n\x01\x02\x03\x01\x02\x03");
  }

  const kiv::TemporaryFolder folder;
  KivComPtr<FakePathService> paths = KivComPtr<FakePathService>::Adopt(new FakePathService);
  KivComPtr<FakeFilter> filter = FakeFilter::Make();
  KivComPtr<FakeFilterManager> manager = FakeFilterManager::Make();
  SwappedClass swappedPaths{kPathServiceClassId, paths.Get()};
  SwappedClass swappedManager{kiv::kFilterManagerClassId, manager.Get()};
};

}  // namespace test
