#include "engine/filters/FilterBase.h"

#include <cstring>
#include <utility>

#include "engine/base/Boundary.h"
#include "engine/filters/FilterRects.h"
#include "kiv/platform/KeyNames.h"

namespace kiv {
namespace {

namespace Key = KivKey::Filter::Property;

constexpr KivRectF kWholeFrame{0, 0, 1, 1};

// Without pixels when the frame holds no picture.
SourcePicture PictureOf(IKivFrame* frame) {
  KivFrameDescription description;
  if (!frame || Failed(frame->GetDescription(&description))) return {};
  if (!IsPictureSize(description.width, description.height)) return {};
  if (description.rowBytes < description.width * kBytesPerPixel) return {};
  return {static_cast<const uint8_t*>(KivCommon::ReadPixels(frame)), description.width,
          description.height, static_cast<size_t>(description.rowBytes)};
}

void CopyRows(const PictureMemory& from, uint8_t* to, size_t rowBytes) {
  const uint8_t* row = from.Pixels();
  for (int32_t y = 0; y < from.Size().height; ++y) {
    std::memcpy(to, row, from.RowBytes());
    row += from.RowBytes();
    to += rowBytes;
  }
}

}  // namespace

HRESULT FilterBase::Publish() {
  return AtBoundary([this] {
    properties_ = KivCommon::CreateProperties();
    if (!properties_) return E_OUTOFMEMORY;
    for (size_t i = 0; i < parameters_.size(); ++i) {
      if (const HRESULT hr = PublishOne(i); Failed(hr)) return hr;
    }
    return properties_->SetInt(Key::kCount, static_cast<int32_t>(parameters_.size()));
  });
}

HRESULT FilterBase::PublishOne(size_t index) {
  const KivPropDecorator bag = KivCommon::CreateProperties();
  if (!bag) return E_OUTOFMEMORY;
  const Parameter& parameter = parameters_[index];
  if (const HRESULT hr = bag->SetString(Key::kFriendName, parameter.name); Failed(hr)) return hr;
  const HRESULT set = parameter.kind == ParameterKind::kReal
                          ? bag->SetDouble(Key::kValue_Current, parameter.value)
                          : bag->SetInt(Key::kValue_Current, ValueOf(index));
  if (Failed(set)) return set;
  parameterBags_.push_back(bag);
  return properties_->SetObject(Key::kParamsArray[index], bag.Get());
}

HRESULT FilterBase::CommitParameters() {
  for (size_t i = 0; i < parameters_.size(); ++i) {
    int32_t whole = 0;
    const HRESULT hr = parameterBags_[i]->GetInt(Key::kValue_Current, &whole);
    if (Succeeded(hr)) parameters_[i].value = whole;
    if (hr == E_TYPEMISMATCH) {
      parameterBags_[i]->GetDouble(Key::kValue_Current, &parameters_[i].value);
    }
  }
  return S_OK;
}

HRESULT FilterBase::SetFirstInput(IKivFrame* frame) {
  firstInput_ = KivComPtr<IKivFrame>(frame);
  return S_OK;
}

HRESULT FilterBase::SetSecondInput(IKivFrame* frame) {
  secondInput_ = KivComPtr<IKivFrame>(frame);
  return S_OK;
}

HRESULT FilterBase::SetRects(const KivRectF* second, const KivRectF* first) {
  targetRect_ = second ? *second : kWholeFrame;
  firstRect_ = first ? *first : kWholeFrame;
  return S_OK;
}

HRESULT FilterBase::Run(const KivSize* outputSize) {
  if (!outputSize || !IsPictureSize(outputSize->width, outputSize->height)) return E_INVALIDARG;
  const FilterInputs inputs{PictureOf(firstInput_.Get()), PictureOf(secondInput_.Get()), {}};
  if (!HasInputs(inputs)) return E_NOTREADY;
  CommitParameters();
  return AtBoundary([&] {
    PictureMemory made;
    if (const HRESULT hr = made.Resize(outputSize->width, outputSize->height); Failed(hr)) {
      return hr;
    }
    const HRESULT hr = ProcessParts(
        inputs, {made.Pixels(), outputSize->width, outputSize->height, made.RowBytes()});
    if (Succeeded(hr)) result_ = std::move(made);
    return hr;
  });
}

HRESULT FilterBase::ProcessParts(FilterInputs inputs, const TargetPicture& output) {
  const RectPair cut = CutAtEdges(firstRect_, targetRect_);
  const KivRect written = PixelsOf(output, cut.target);
  if (written != KivRect{0, 0, output.width, output.height}) Clear(output);
  if (written.width == 0 || written.height == 0) return S_OK;
  inputs.first = PartOf(inputs.first, cut.source);
  inputs.second = PartOf(inputs.second, cut.source);
  inputs.place = {targetRect_.left * output.width - written.left,
                  targetRect_.top * output.height - written.top, targetRect_.width * output.width,
                  targetRect_.height * output.height};
  return Process(inputs, PartOf(output, written));
}

HRESULT FilterBase::ReadOutput(IKivFrame* frame) {
  if (!frame) return E_INVALIDARG;
  if (!result_.Pixels()) return E_NOTREADY;
  if (ShareWith(frame, result_)) return S_OK;
  KivFrameDescription description;
  if (const HRESULT hr = frame->GetDescription(&description); Failed(hr)) return hr;
  const KivSize size{description.width, description.height};
  void* const pixels = frame->GetPixels();
  if (pixels && size == result_.Size() && description.rowBytes >= size.width * kBytesPerPixel) {
    CopyRows(result_, static_cast<uint8_t*>(pixels), static_cast<size_t>(description.rowBytes));
    return S_OK;
  }
  KivComPtr<IKivVideoFrame> video;
  frame->QueryInterface(IKivVideoFrame::kIid, video.PutVoid());
  if (!video) return E_NOINTERFACE;
  return video->Allocate(result_.Size().width, result_.Size().height, 0, description.memoryType,
                         result_.Pixels(), 0, description.duration);
}

HRESULT FilterBase::SetValue(const wchar_t* key, const CKivValue* value) {
  return properties_->SetValue(key, value);
}
HRESULT FilterBase::SetInt(const wchar_t* key, int32_t value) {
  return properties_->SetInt(key, value);
}
HRESULT FilterBase::GetInt(const wchar_t* key, int32_t* value) {
  return properties_->GetInt(key, value);
}
HRESULT FilterBase::SetString(const wchar_t* key, const wchar_t* text) {
  return properties_->SetString(key, text);
}
HRESULT FilterBase::GetString(const wchar_t* key, wchar_t* buffer, int32_t capacity) {
  return properties_->GetString(key, buffer, capacity);
}
HRESULT FilterBase::SetDouble(const wchar_t* key, double value) {
  return properties_->SetDouble(key, value);
}
HRESULT FilterBase::GetDouble(const wchar_t* key, double* value) {
  return properties_->GetDouble(key, value);
}
HRESULT FilterBase::SetRect(const wchar_t* key, const KivRectF* value) {
  return properties_->SetRect(key, value);
}
HRESULT FilterBase::GetRect(const wchar_t* key, KivRectF* value) {
  return properties_->GetRect(key, value);
}
HRESULT FilterBase::SetRange(const wchar_t* key, const KivRange* value) {
  return properties_->SetRange(key, value);
}
HRESULT FilterBase::GetRange(const wchar_t* key, KivRange* value) {
  return properties_->GetRange(key, value);
}
HRESULT FilterBase::SetSize(const wchar_t* key, const KivSize* value) {
  return properties_->SetSize(key, value);
}
HRESULT FilterBase::GetSize(const wchar_t* key, KivSize* value) {
  return properties_->GetSize(key, value);
}
HRESULT FilterBase::SetObject(const wchar_t* key, IUnknown* object) {
  return properties_->SetObject(key, object);
}
HRESULT FilterBase::GetObject(const wchar_t* key, IUnknown** object) {
  return properties_->GetObject(key, object);
}
HRESULT FilterBase::SetRational(const wchar_t* key, const KivRational* value) {
  return properties_->SetRational(key, value);
}
HRESULT FilterBase::GetRational(const wchar_t* key, KivRational* value) {
  return properties_->GetRational(key, value);
}

}  // namespace kiv
