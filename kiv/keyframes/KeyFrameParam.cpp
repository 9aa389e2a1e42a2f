#include "kiv/keyframes/KeyFrameParam.h"

#include <type_traits>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/Saturate.h"

using SimpleSync::CSimpleMutexLock;

namespace {

template <typename Record>
constexpr KeyFrameKind kKindOf =
    std::is_same_v<Record, KeyFrameDouble> ? KeyFrameKind::kDouble : KeyFrameKind::kRectF;

// 0 when there is no keyframe, or when it holds a value of another kind.
template <typename Record>
int32_t Read(const kiv::KeyFrame* frame, Record* record) {
  if (!frame || !record) return 0;
  const auto* const value = std::get_if<decltype(record->value)>(&frame->native);
  if (!value) return 0;
  *record = {frame->index, *value};
  return 1;
}

}  // namespace

CKivKeyFrameParam::CKivKeyFrameParam(KeyFrameKind kind) : CUnknown(nullptr) {
  header_.dataType = static_cast<int32_t>(kind);
}

HRESULT CKivKeyFrameParam::NonDelegatingQueryInterface(const GUID& iid, void** object) {
  if (iid == IKivKeyFrameParam::kIid) return HandOut<IKivKeyFrameParam>(this, object);
  return CUnknown::NonDelegatingQueryInterface(iid, object);
}

int32_t CKivKeyFrameParam::Load(const wchar_t* name, KivComPtr<IKivProperties> bag) {
  if (!bag || !name) return 0;
  // The bag held before goes last, without the lock.
  KivComPtr<IKivProperties> dropped = bag;
  CSimpleMutexLock guard(lock_);
  return AtBoundaryOr(0, [&]() KIV_REQUIRES(lock_) {
    name_ = name;
    bag_.Swap(dropped);
    frames_.Clear();
    const auto text = kiv::StoredKeyFrameText(bag.Get(), name);
    return text ? FromJson(*text) : 1;
  });
}

template <typename Record>
int32_t CKivKeyFrameParam::SetAt(int32_t position, const Record* record) {
  if (!record) return 0;
  CSimpleMutexLock guard(lock_);
  return AtBoundaryOr(0, [&]() KIV_REQUIRES(lock_) {
    kiv::KeyFrame frame = kiv::MakeKeyFrame(record->index, record->value);
    header_.dataType = static_cast<int32_t>(kKindOf<Record>);
    if (!frames_.ReplaceAt(position, std::move(frame))) return 0;
    changed_ = true;
    return 1;
  });
}

int32_t CKivKeyFrameParam::SetKeyFrameAt(int32_t position, const KeyFrameDouble* frame) {
  return SetAt(position, frame);
}
int32_t CKivKeyFrameParam::SetKeyFrameAt(int32_t position, const KeyFrameRectF* frame) {
  return SetAt(position, frame);
}

template <typename Record>
void CKivKeyFrameParam::Add(const Record* record) {
  if (!record) return;
  CSimpleMutexLock guard(lock_);
  AtBoundary([&]() KIV_REQUIRES(lock_) {
    frames_.Add(kiv::MakeKeyFrame(record->index, record->value));
    header_.dataType = static_cast<int32_t>(kKindOf<Record>);
    changed_ = true;
    return S_OK;
  });
}

void CKivKeyFrameParam::AddKeyFrame(const KeyFrameDouble* frame) { Add(frame); }
void CKivKeyFrameParam::AddKeyFrame(const KeyFrameRectF* frame) { Add(frame); }

template <typename T>
bool CKivKeyFrameParam::ValueAt(int32_t frame, T* value) {
  if (!value) return false;
  CSimpleMutexLock guard(lock_);
  return AtBoundaryOr(false, [&]() KIV_REQUIRES(lock_) {
    const auto native = frames_.ValueAt(frame, static_cast<KeyFrameKind>(header_.dataType));
    const T* const found = std::get_if<T>(&native);
    if (found) *value = *found;
    return found != nullptr;
  });
}

bool CKivKeyFrameParam::GetValueAt(int32_t frame, double* value) { return ValueAt(frame, value); }
bool CKivKeyFrameParam::GetValueAt(int32_t frame, KivRectF* value) { return ValueAt(frame, value); }

int32_t CKivKeyFrameParam::GetKeyFrameAt(int32_t position, KeyFrameDouble* frame) {
  CSimpleMutexLock guard(lock_);
  return Read(frames_.At(position), frame);
}
int32_t CKivKeyFrameParam::GetKeyFrameAt(int32_t position, KeyFrameRectF* frame) {
  CSimpleMutexLock guard(lock_);
  return Read(frames_.At(position), frame);
}
int32_t CKivKeyFrameParam::GetKeyFrame(int32_t index, KeyFrameDouble* frame) {
  CSimpleMutexLock guard(lock_);
  return Read(frames_.Find(index), frame);
}
int32_t CKivKeyFrameParam::GetKeyFrame(int32_t index, KeyFrameRectF* frame) {
  CSimpleMutexLock guard(lock_);
  return Read(frames_.Find(index), frame);
}

void CKivKeyFrameParam::SetSpline(const KeyFrameSpline* spline) {
  if (!spline) return;
  CSimpleMutexLock guard(lock_);
  header_.spline = *spline;
}

const KeyFrameSpline* CKivKeyFrameParam::GetSpline() {
  CSimpleMutexLock guard(lock_);
  return &header_.spline;
}

int32_t CKivKeyFrameParam::GetKeyFrameCount() {
  CSimpleMutexLock guard(lock_);
  return kiv::ClampToInt32(static_cast<int64_t>(frames_.Frames().size()));
}

void CKivKeyFrameParam::RemoveKeyFrameAt(int32_t position) {
  CSimpleMutexLock guard(lock_);
  if (frames_.RemoveAt(position)) changed_ = true;
}

void CKivKeyFrameParam::RemoveKeyFrame(int32_t index) {
  CSimpleMutexLock guard(lock_);
  if (frames_.Remove(index)) changed_ = true;
}

void CKivKeyFrameParam::RemoveAllKeyFrames() {
  CSimpleMutexLock guard(lock_);
  frames_.Clear();
  changed_ = true;
}

bool CKivKeyFrameParam::ToJson(std::wstring* text) {
  if (!text) return false;
  CSimpleMutexLock guard(lock_);
  return AtBoundaryOr(false, [&]() KIV_REQUIRES(lock_) {
    std::wstring written = kiv::WriteKeyFrameDocument(header_, frames_.Frames());
    if (written.empty()) return false;
    text->swap(written);
    return true;
  });
}

int32_t CKivKeyFrameParam::FromJson(const std::wstring& text) {
  CSimpleMutexLock guard(lock_);
  return AtBoundaryOr(0, [&]() KIV_REQUIRES(lock_) {
    auto document = kiv::ReadKeyFrameDocument(text);
    // What was read is written again one day.
    if (!document || !kiv::IsWritable(document->header, frames_.Frames(), document->frames)) {
      KIV_LOG(LogLevel::kFailure, L"keyframe document of %zu characters refused", text.size());
      return 0;
    }
    frames_.Append(std::move(document->frames));
    header_ = document->header;
    return 1;
  });
}
