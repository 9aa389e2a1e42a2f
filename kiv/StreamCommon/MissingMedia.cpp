#include "kiv/StreamCommon/MissingMedia.h"

#include "kiv/StreamCommon/MediaLocations.h"
#include "kiv/base/Locks.h"
#include "kiv/platform/KivCommon.h"

using SimpleSync::CSimpleMutex;
using SimpleSync::CSimpleMutexLock;

namespace {

constexpr wchar_t kNamedValue[] = L"NOT_FOUND_JPEG_PATH";
constexpr int32_t kPathCapacity = 1024;

struct MissingMedia {
  // The path service and the image loader are called with it held: they know no streamer.
  CSimpleMutex lock;
  KivComPtr<IKivFrame> image KIV_GUARDED_BY(lock);
  bool failed KIV_GUARDED_BY(lock) = false;
};

MissingMedia& Shared() {
  static MissingMedia shared;
  return shared;
}

KivComPtr<IKivFrame> LoadImage() {
  wchar_t named[kPathCapacity] = {};
  if (const auto service = ObtainPathService()) {
    service->GetNamedValue(kNamedValue, named, kPathCapacity);
  }
  wchar_t path[kPathCapacity] = {};
  if (const auto service = ObtainPathService()) {
    service->TranslateLocation(named, path, kPathCapacity);
  }
  if (!IsMediaLocationAvailable(path) || !IsImageLocation(path)) return nullptr;
  return KivCommon::Dbg::LoadVideoFrameFromBmpFile(path);
}

}  // namespace

KivComPtr<IKivFrame> MissingMediaImage() {
  MissingMedia& shared = Shared();
  CSimpleMutexLock guard(shared.lock);
  if (!shared.failed && !shared.image) {
    shared.image = LoadImage();
    shared.failed = !shared.image;
  }
  return shared.image;
}

void ForgetMissingMediaImage() {
  KivComPtr<IKivFrame> dropped;
  MissingMedia& shared = Shared();
  CSimpleMutexLock guard(shared.lock);
  dropped.Swap(shared.image);
  shared.failed = false;
}
