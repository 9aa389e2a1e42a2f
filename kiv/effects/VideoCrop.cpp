#include "kiv/effects/VideoCrop.h"

#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/Logger.h"
#include "kiv/platform/Properties.h"

namespace {

constexpr KivRectF kWholePicture{0, 0, 1, 1};
// No position: the next request evaluates the keyframes.
constexpr int32_t kNotEvaluated = -2;

KivComPtr<CKivKeyFrameParam> NewKeyFrames() {
  return KivComPtr<CKivKeyFrameParam>(new CKivKeyFrameParam(KeyFrameKind::kRectF));
}

}  // namespace

CVideoCrop::CVideoCrop(IUnknown* outer, NodeRef upstream)
    : CSourceBase(outer, std::move(upstream)), evaluatedFrame_(kNotEvaluated) {}

HRESULT CVideoCrop::Flush() {
  evaluatedFrame_ = kNotEvaluated;
  return CSourceBase::Flush();
}

HRESULT CVideoCrop::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  using Self = CVideoCrop;
  static constexpr CommandRow<Self> kRows[] = {
      {CommandId::SetRenderRange, &Self::OnSetRenderRange, Route::kForward},
      {CommandId::GetCropKeyFrameParam, &Self::OnGetKeyFrameParam, Route::kStop},
      {CommandId::SetCropRegion, &Self::OnSetRegion, Route::kStop},
      {CommandId::GetCropRegion, &Self::OnGetRegion, Route::kStop},
      {CommandId::SetCropEnabled, &Self::OnSetEnabled, Route::kStop},
      {CommandId::GetCropEnabled, &Self::OnGetEnabled, Route::kStop},
      {CommandId::GetCroppedSize, &Self::OnGetCroppedSize, Route::kStop},
  };
  return Dispatch(*this, kRows, id, param, extra);
}

void CVideoCrop::MoveKeyFrame(int32_t position, int32_t index) {
  KeyFrameRectF frame;
  if (!keyFrames_->GetKeyFrameAt(position, &frame)) return;
  frame.index = index;
  keyFrames_->SetKeyFrameAt(position, &frame);
}

HRESULT CVideoCrop::OnSetRenderRange(const CommandArgs& args) {
  const auto* range = args.As<const KivRange>();
  if (!range) return E_POINTER;
  if (!keyFrames_) return S_OK;
  MoveKeyFrame(0, range->start);
  MoveKeyFrame(1, range->end);
  return S_OK;
}

HRESULT CVideoCrop::OnGetKeyFrameParam(const CommandArgs& args) {
  auto* slot = args.As<void*>();
  if (!slot) return E_POINTER;
  *slot = nullptr;
  return AtBoundary([&] {
    if (!keyFrames_) keyFrames_ = NewKeyFrames();
    return keyFrames_->QueryInterface(IKivKeyFrameParam::kIid, slot);
  });
}

HRESULT CVideoCrop::OnSetRegion(const CommandArgs& args) { return args.CopyTo(&region_); }

HRESULT CVideoCrop::OnGetRegion(const CommandArgs& args) {
  auto* region = args.As<KivRectF>();
  if (!region) return E_POINTER;
  UpdateRegion();
  *region = enabled_ ? region_ : kWholePicture;
  return S_OK;
}

HRESULT CVideoCrop::OnSetEnabled(const CommandArgs& args) {
  enabled_ = args.Integer();
  return S_OK;
}

HRESULT CVideoCrop::OnGetEnabled(const CommandArgs& args) {
  auto* enabled = args.As<int32_t>();
  if (!enabled) return E_POINTER;
  *enabled = enabled_;
  return S_OK;
}

HRESULT CVideoCrop::OnGetCroppedSize(const CommandArgs& args) {
  auto* size = args.As<KivSizeF>();
  if (!size) return E_POINTER;
  AskSourceSize();
  const bool animated = UpdateRegion();
  *size = enabled_ && animated ? croppedSize_
                               : KivSizeF{static_cast<double>(sourceSize_.width),
                                          static_cast<double>(sourceSize_.height)};
  return S_OK;
}

void CVideoCrop::AskSourceSize() {
  const KivSize before = sourceSize_;
  CSourceBase::ProcessCommand(static_cast<uint32_t>(CommandId::GetScaledSize),
                              reinterpret_cast<uintptr_t>(&sourceSize_), 0);
  if (sourceSize_ != before) evaluatedFrame_ = kNotEvaluated;
}

bool CVideoCrop::UpdateRegion() {
  if (!keyFrames_ || keyFrames_->GetKeyFrameCount() < 1) {
    region_ = kWholePicture;
    return false;
  }
  if (evaluatedFrame_ == position_ && !keyFrames_->IsChanged()) return true;
  // Cleared first: an edit that comes in between is then seen by the next request.
  keyFrames_->ClearChanged();
  keyFrames_->GetValueAt(position_, &region_);
  if (sourceSize_.width == 0 || sourceSize_.height == 0) AskSourceSize();
  evaluatedFrame_ = position_;
  croppedSize_ = {static_cast<double>(sourceSize_.width) * region_.width,
                  static_cast<double>(sourceSize_.height) * region_.height};
  return true;
}

HRESULT CVideoCrop::SaveSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  return AtBoundary([&] {
    bag->SetInt(KivKey::Crop::kEnabled, enabled_);
    bag->SetRect(KivKey::Crop::kRegion, &region_);
    if (!keyFrames_ || keyFrames_->GetKeyFrameCount() < 1) return S_OK;
    std::wstring text;
    if (!keyFrames_->ToJson(&text)) {
      KIV_LOG(LogLevel::kFailure, L"crop keyframes cannot be saved: %d of them",
              keyFrames_->GetKeyFrameCount());
      return E_FAIL;
    }
    kiv::StoreKeyFrameText(bag, KivKey::Crop::kRegion, text);
    return S_OK;
  });
}

HRESULT CVideoCrop::LoadSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  return AtBoundary([&] {
    bag->GetInt(KivKey::Crop::kEnabled, &enabled_);
    bag->GetRect(KivKey::Crop::kRegion, &region_);
    const auto text = kiv::StoredKeyFrameText(bag, KivKey::Crop::kRegion);
    if (!text) return S_OK;
    KivComPtr<CKivKeyFrameParam> loaded = NewKeyFrames();
    loaded->RemoveAllKeyFrames();  // sets the changed flag
    loaded->FromJson(*text);
    keyFrames_ = std::move(loaded);
    return S_OK;
  });
}
