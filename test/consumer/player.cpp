// Plays a clip through the installed component: counts the frames that show a picture.
#include <cstdio>
#include <cstring>

#include "kiv/chain/IKivRender.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/component/EntryPoints.h"
#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/platform/KivCommon.h"

namespace {

KivComPtr<IKivMediaDecoder> OpenClip(const char* path) {
  KivComPtr<IKivMediaSource> file;
  KivComPtr<IKivMediaDecoder> decoder;
  const KivComPtr<IKivFactory> factory = KivCommon::GetFactory(nullptr);
  if (Succeeded(factory->OpenMediaFile(file.Put(), KivCommon::Char2WChar(path).c_str(), nullptr))) {
    file->GetVideoStream(0, decoder.Put());
  }
  return decoder;
}

bool ShowsPicture(IKivFrame* frame) {
  const auto* const pixels = static_cast<const unsigned char*>(frame->GetPixels());
  IKivBitmap* const bitmap = frame->GetBitmap();
  const int count = bitmap->GetWidth() * bitmap->GetHeight() * 4;
  for (int i = 4; i < count; i += 4) {
    if (std::memcmp(pixels, pixels + i, 4) != 0) return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const KivComPtr<IKivMediaDecoder> decoder = OpenClip(argv[1]);
  if (!decoder) return 1;
  KivStreamInfo info;
  decoder.As<IKivStreamInfo>()->GetInfo(&info);

  KivComPtr<IClassFactory> factory;
  KivComPtr<IKivVideoStreamProcessInternal> clip;
  DllGetClassObject(kVideoStreamProcessClassId, IClassFactory::kIid, factory.PutVoid());
  factory->CreateInstance(nullptr, IKivVideoStreamProcessInternal::kIid, clip.PutVoid());
  const int32_t chain[] = {static_cast<int32_t>(NodeType::kSource)};
  clip->BuildChain(chain, 1);
  clip->SetDecoder(decoder.Get());
  clip->SetSourceFrameRate(&info.frameRate);

  const KivComPtr<IKivRenderEx> render = clip.As<IKivRenderEx>();
  KivComPtr<IKivFrame> frame;
  int shown = 0;
  render->Seek(0, nullptr, 1);
  for (int i = 0; i < info.frameCount; ++i) {
    if (Succeeded(render->GetFrame(&frame)) && ShowsPicture(frame.Get())) ++shown;
    render->Skip(1, nullptr);
  }
  std::printf("%d of %d frames\n", shown, info.frameCount);
  return shown == info.frameCount ? 0 : 1;
}
