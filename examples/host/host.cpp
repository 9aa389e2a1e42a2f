// host CLIP 'OUT/%03d.png': plays a clip backwards at double speed, a picture for every frame.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "engine/write/Writer.h"
#include "kiv/chain/IKivRender.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/component/EntryPoints.h"
#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"

namespace {

using Facade = IKivVideoStreamProcessInternal;

// Ends the program at the first step that cannot be taken.
void Check(bool worked, const std::string& what) {
  if (!worked) throw std::runtime_error(what);
}
void Check(const kiv::WriteError& error) { Check(!error, error.value_or("")); }

KivComPtr<IKivMediaDecoder> OpenDecoder(const char* path) {
  const KivComPtr<IKivFactory> factory = KivCommon::GetFactory(nullptr);
  KivComPtr<IKivMediaSource> file;
  KivComPtr<IKivMediaDecoder> decoder;
  factory->OpenMediaFile(file.Put(), KivCommon::Char2WChar(path).c_str(), nullptr);
  if (file) file->GetVideoStream(0, decoder.Put());
  Check(decoder != nullptr, std::string("no video in ") + path);
  return decoder;
}

KivComPtr<Facade> CreateClip() {
  KivComPtr<IClassFactory> factory;
  KivComPtr<Facade> clip;
  DllGetClassObject(kVideoStreamProcessClassId, IClassFactory::kIid, factory.PutVoid());
  if (factory) factory->CreateInstance(nullptr, Facade::kIid, clip.PutVoid());
  Check(clip != nullptr, "the component cannot be created");
  return clip;
}

// Each node reads from the one before it; frames are pulled from the last.
void BuildChain(Facade& clip) {
  const int32_t nodes[] = {
      static_cast<int32_t>(NodeType::kSource), static_cast<int32_t>(NodeType::kFrameCache),
      static_cast<int32_t>(NodeType::kReverse), static_cast<int32_t>(NodeType::kSpeed)};
  clip.BuildChain(nodes, static_cast<int32_t>(std::size(nodes)));
}

// What the nodes have to know arrives in two bags: the clip's settings, and what its stream is.
void Initialize(Facade& clip, IKivRenderEx& render, const KivStreamInfo& stream) {
  const KivRange whole{0, stream.frameCount - 1};
  const KivPropDecorator settings = KivCommon::CreateProperties();
  settings->SetRational(KivKey::Render::kRender_Framerate, &stream.frameRate);
  const KivRational doubleSpeed{2, 1};
  settings->SetInt(KivKey::Speed::kEnabled, 1);
  settings->SetRational(KivKey::Speed::kScale, &doubleSpeed);
  settings->SetInt(KivKey::Speed::kReverse, 1);
  settings->SetRange(KivKey::Speed::kReverse_Range, &whole);

  const std::wstring video = L".Video";
  const KivPropDecorator facts = KivCommon::CreateProperties();
  facts->SetInt((KivKey::Source::kSource_TotalFrameCount + video).c_str(), stream.frameCount);
  facts->SetRational((KivKey::Source::kSource_Framerate + video).c_str(), &stream.frameRate);

  // The render initializes the chain at its first operation; ours has to come after that.
  KivComPtr<IKivFrame> none;
  render.GetLastFrame(&none);
  KivComPtr<IKivSourceBase> tail;
  clip.GetTailNode(&tail);
  tail->Initialize(settings.Reference(), facts.Reference());
}

std::unique_ptr<kiv::Writer> OpenPictures(const char* pattern, IKivBitmap& picture) {
  kiv::OutputPlan plan;
  std::unique_ptr<kiv::Writer> writer;
  Check(kiv::PlanOutput({.name = pattern, .format = "png", .codec = ""}, &plan));
  const kiv::PictureSeries pictures{.size = {picture.GetWidth(), picture.GetHeight()}};
  Check(kiv::OpenWriter(plan, pictures, nullptr, &writer));
  return writer;
}

void Play(const char* path, const char* pattern) {
  const KivComPtr<IKivMediaDecoder> decoder = OpenDecoder(path);
  KivStreamInfo stream;
  decoder.As<IKivStreamInfo>()->GetInfo(&stream);
  const KivComPtr<Facade> clip = CreateClip();
  const KivComPtr<IKivRenderEx> render = clip.As<IKivRenderEx>();
  BuildChain(*clip);
  clip->SetSourceFrameRate(&stream.frameRate);
  clip->SetRenderFrameRate(&stream.frameRate);
  clip->SetDecoder(decoder.Get());
  Initialize(*clip, *render, stream);

  std::unique_ptr<kiv::Writer> writer;
  KivComPtr<IKivFrame> frame;
  render->Seek(0, nullptr, static_cast<int32_t>(KivSeekMode::kReadOnward));
  for (int32_t number = 0; number < stream.frameCount / 2; ++number) {
    if (number > 0) Check(Succeeded(render->Skip(1, nullptr)), "cannot go on");
    Check(Succeeded(render->GetFrame(&frame)), "frame " + std::to_string(number) + " is missing");
    if (!writer) writer = OpenPictures(pattern, *frame->GetBitmap());
    Check(writer->Write(static_cast<uint8_t*>(frame->GetPixels())));
  }
  if (writer) Check(writer->Finish());
}

}  // namespace

int main(int argc, char** argv) try {
  Check(argc == 3, "usage: host CLIP 'OUT/%03d.png'");
  Play(argv[1], argv[2]);
} catch (const std::exception& failure) {
  std::fprintf(stderr, "host: %s\n", failure.what());
  return 1;
}
