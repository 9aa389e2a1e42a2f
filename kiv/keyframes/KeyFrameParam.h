// A value that changes over the frames, held as keyframes and interpolated linearly between them.
//
// Units:    frame index int32; the frame rate is kept and stored, not computed with.
// Owns:     its keyframes and a reference to the bag it was loaded from.
// Threads:  any; the changed flag may be read and cleared beside every operation.
// Locks:    lock_ (recursive), held for the whole of each operation; a bag's lock comes after it.
// Errors:   as IKivKeyFrameParam; an edit without memory changes nothing.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "kiv/base/Locks.h"
#include "kiv/keyframes/IKivKeyFrameParam.h"
#include "kiv/keyframes/KeyFrameJson.h"
#include "kiv/keyframes/KeyFrameList.h"
#include "kiv/object/ObjectBase.h"

class CKivKeyFrameParam final : public scombase::CUnknown, public IKivKeyFrameParam {
 public:
  explicit CKivKeyFrameParam(KeyFrameKind kind = KeyFrameKind::kNone);

  KIV_DELEGATE_UNKNOWN
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override;

  int32_t Load(const wchar_t* name, KivComPtr<IKivProperties> bag) override;
  int32_t SetKeyFrameAt(int32_t position, const KeyFrameDouble* frame) override;
  int32_t SetKeyFrameAt(int32_t position, const KeyFrameRectF* frame) override;
  void AddKeyFrame(const KeyFrameDouble* frame) override;
  void AddKeyFrame(const KeyFrameRectF* frame) override;
  bool GetValueAt(int32_t frame, double* value) override;
  bool GetValueAt(int32_t frame, KivRectF* value) override;
  int32_t GetKeyFrameAt(int32_t position, KeyFrameDouble* frame) override;
  int32_t GetKeyFrameAt(int32_t position, KeyFrameRectF* frame) override;
  int32_t GetKeyFrame(int32_t index, KeyFrameDouble* frame) override;
  int32_t GetKeyFrame(int32_t index, KeyFrameRectF* frame) override;
  void SetSpline(const KeyFrameSpline* spline) override;
  const KeyFrameSpline* GetSpline() override;
  int32_t GetKeyFrameCount() override;
  void RemoveKeyFrameAt(int32_t position) override;
  void RemoveKeyFrame(int32_t index) override;
  void RemoveAllKeyFrames() override;

  // Writes the document of KeyFrameJson.h. False when it would be too long or there is no memory;
  // `text` is then untouched.
  bool ToJson(std::wstring* text);
  // Appends a document's keyframes to those there are, as they come, and takes over the rest of it.
  // 1; 0 when the document is refused, or when ToJson could not write all of them: then nothing is
  // changed. The changed flag stays as it is.
  int32_t FromJson(const std::wstring& text);

  // Set by every edit; an evaluation clears it first.
  bool IsChanged() const { return changed_; }
  void ClearChanged() { changed_ = false; }

 private:
  template <typename Record>
  int32_t SetAt(int32_t position, const Record* record);
  template <typename Record>
  void Add(const Record* record);
  template <typename T>
  bool ValueAt(int32_t frame, T* value);

  SimpleSync::CSimpleMutex lock_;
  kiv::KeyFrameHeader header_ KIV_GUARDED_BY(lock_);
  kiv::KeyFrameList frames_ KIV_GUARDED_BY(lock_);
  std::wstring name_ KIV_GUARDED_BY(lock_);
  KivComPtr<IKivProperties> bag_ KIV_GUARDED_BY(lock_);
  std::atomic<bool> changed_{false};
};
