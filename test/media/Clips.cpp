#include "test/media/Clips.h"

namespace kivtest {
namespace {

HRESULT Open(const std::string& path, int threads, KivComPtr<IKivMediaSource>* source) {
  const KivComPtr<IKivFactory> factory = KivCommon::GetFactory(nullptr);
  if (!factory) return E_FAIL;
  const KivPropDecorator options = KivCommon::CreateProperties();
  if (options && threads > 0) options->SetInt(L"Codec.Threads", threads);
  return factory->OpenMediaFile(source->Put(), KivCommon::Char2WChar(path.c_str()).c_str(),
                                options.Get());
}

}  // namespace

KivComPtr<IKivMediaDecoder> OpenDecoder(const std::string& path, int threads) {
  KivComPtr<IKivMediaSource> source;
  KivComPtr<IKivMediaDecoder> decoder;
  if (Succeeded(Open(path, threads, &source))) source->GetVideoStream(0, decoder.Put());
  return decoder;
}

HRESULT TryOpen(const std::string& path) {
  KivComPtr<IKivMediaSource> source;
  return Open(path, 0, &source);
}

int CurrentNumber(IKivMediaDecoder* decoder) {
  KivComPtr<IKivFrame> frame;
  if (Failed(decoder->ReadCurrentFrame(&frame)) || !frame) return -2;
  IKivBitmap* const bitmap = frame->GetBitmap();
  return ReadNumber(static_cast<const uint8_t*>(frame->GetPixels()), bitmap->GetWidth(),
                    bitmap->GetHeight());
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

int64_t FrameTime(int64_t index, KivRational rate) {
  const double perSecond =
      static_cast<double>(rate.numerator) / static_cast<double>(rate.denominator);
  return static_cast<int64_t>(static_cast<double>(index * 10'000'000) / perSecond);
}

}  // namespace kivtest
