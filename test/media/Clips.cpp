#include "test/media/Clips.h"

#include <stdexcept>

namespace kivtest {

KivComPtr<IKivMediaDecoder> OpenDecoder(const std::string& path, int threads, HRESULT* error) {
  const KivComPtr<IKivFactory> factory = KivCommon::GetFactory(nullptr);
  const KivPropDecorator options = KivCommon::CreateProperties();
  if (threads > 0) options->SetInt(L"Codec.Threads", threads);
  KivComPtr<IKivMediaSource> source;
  KivComPtr<IKivMediaDecoder> decoder;
  HRESULT result = factory->OpenMediaFile(source.Put(), KivCommon::Char2WChar(path.c_str()).c_str(),
                                          options.Get());
  if (Succeeded(result)) result = source->GetVideoStream(0, decoder.Put());
  if (error) *error = result;
  return decoder;
}

KivComPtr<IKivMediaDecoder> OpenClip(const ClipRecipe& recipe, int threads) {
  auto decoder = OpenDecoder(MakeClip(recipe), threads);
  if (!decoder) throw std::runtime_error("a clip cannot be opened");
  return decoder;
}

KivComPtr<IKivFrame> CurrentFrame(const KivComPtr<IKivMediaDecoder>& decoder) {
  KivComPtr<IKivFrame> frame;
  return Succeeded(decoder->ReadCurrentFrame(&frame)) ? frame : nullptr;
}

int NumberOf(const KivComPtr<IKivFrame>& frame) {
  if (!frame) return -2;
  IKivBitmap* const bitmap = frame->GetBitmap();
  return ReadNumber(static_cast<const uint8_t*>(frame->GetPixels()), bitmap->GetWidth(),
                    bitmap->GetHeight());
}

int CurrentNumber(const KivComPtr<IKivMediaDecoder>& decoder) {
  return NumberOf(CurrentFrame(decoder));
}

int NumberAt(const KivComPtr<IKivMediaDecoder>& decoder, int64_t time) {
  decoder->Seek(time, 0);
  return CurrentNumber(decoder);
}

KivStreamInfo InfoOf(const KivComPtr<IKivMediaDecoder>& decoder) {
  KivStreamInfo info;
  decoder.As<IKivStreamInfo>()->GetInfo(&info);
  return info;
}

KivDecoderStats StatsOf(const KivComPtr<IKivMediaDecoder>& decoder) {
  KivDecoderStats stats;
  decoder.As<IKivStreamInfo>()->GetStats(&stats);
  return stats;
}

}  // namespace kivtest
