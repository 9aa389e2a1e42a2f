#include "session/Proxy.h"

#include <algorithm>

#include "kiv/base/FrameTime.h"
#include "kiv/platform/KivCommon.h"
#include "session/Notes.h"
#include "session/Playback.h"

namespace kiv::session {
namespace {

// As the decoder opens it; without frames when it fails there.
KivStreamInfo ProxyInfo(const std::wstring& path) {
  KivStreamInfo info;
  const auto factory = KivCommon::GetFactory(nullptr);
  KivComPtr<IKivMediaSource> source;
  KivComPtr<IKivMediaDecoder> decoder;
  if (!factory || Failed(factory->OpenMediaFile(source.Put(), path.c_str(), nullptr)) || !source ||
      Failed(source->GetVideoStream(0, decoder.Put())) || !decoder) {
    return info;
  }
  const auto streamInfo = decoder.As<IKivStreamInfo>();
  if (!streamInfo || Failed(streamInfo->GetInfo(&info))) info.frameCount = 0;
  return info;
}

}  // namespace

void TellOfProxy(const std::wstring& path, const KivStreamInfo& clip, const NoteFunction& onNote) {
  const KivStreamInfo proxy = ProxyInfo(path);
  const std::string name = KivCommon::WChar2Char(path.c_str());
  if (proxy.frameCount < 1) {
    Tell(onNote, "the proxy '{}' cannot be used: the pictures come from the clip itself", name);
    return;
  }
  const double missing = kiv::SecondsOf(clip.duration - proxy.duration);
  // Its last picture may begin that much before the clip's and still be the right one.
  const double longest = 1.0 / std::min(SourceRate(clip).ToDouble(), SourceRate(proxy).ToDouble());
  if (missing <= longest) return;
  Tell(onNote, "the proxy '{}' ends {:.2f} s before the clip: its last picture stays", name,
       missing);
}

}  // namespace kiv::session
