#include "session/KeyframeDocument.h"

#include <utility>

#include "kiv/chain/NodeTypes.h"
#include "session/ComponentLoader.h"
#include "session/Fail.h"
#include "session/KeyframeFile.h"

namespace kiv::session {
namespace {

// A parameter as the component makes it: a crop node holds one.
KivComPtr<IKivKeyFrameParam> NewKeyframes(IKivVideoStreamProcessInternal& process) {
  const int32_t nodes[] = {static_cast<int32_t>(NodeType::kSource),
                           static_cast<int32_t>(NodeType::kCrop)};
  process.BuildChain(nodes, 2);
  KivComPtr<IKivKeyFrameParam> keyframes;
  process.GetCropKeyFrameParam(keyframes.Put());
  if (!keyframes) FailRun("the component has no keyframes");
  return keyframes;
}

KeyframeValue ValueOf(double value) { return {value}; }
KeyframeValue ValueOf(const KivRectF& value) {
  return {value.left, value.top, value.width, value.height};
}

template <typename Record>
std::vector<Keyframe> List(IKivKeyFrameParam& keyframes) {
  std::vector<Keyframe> list;
  Record record;
  for (int32_t i = 0; keyframes.GetKeyFrameAt(i, &record); ++i) {
    list.push_back({record.index, ValueOf(record.value)});
  }
  return list;
}

template <typename Value>
KeyframeValue Evaluate(IKivKeyFrameParam& keyframes, int32_t frame) {
  Value value{};
  if (!keyframes.GetValueAt(frame, &value)) FailRun("the keyframes have no value at {}", frame);
  return ValueOf(value);
}

}  // namespace

struct KeyframeDocument::Impl {
  KivComPtr<IKivVideoStreamProcessInternal> process;
  KivComPtr<IKivKeyFrameParam> keyframes;
  bool holdsRegions = false;
};

KeyframeDocument::KeyframeDocument(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
KeyframeDocument::KeyframeDocument(KeyframeDocument&&) noexcept = default;
KeyframeDocument& KeyframeDocument::operator=(KeyframeDocument&&) noexcept = default;
KeyframeDocument::~KeyframeDocument() = default;

KeyframeDocument KeyframeDocument::Open(const std::string& path) {
  auto impl = std::make_unique<Impl>();
  impl->process = ComponentLoader::ByClassId().CreateProcess();
  impl->keyframes = NewKeyframes(*impl->process.Get());
  impl->holdsRegions = LoadKeyframes(path, *impl->keyframes.Get()) == KeyFrameKind::kRectF;
  return KeyframeDocument(std::move(impl));
}

bool KeyframeDocument::HoldsRegions() const { return impl_->holdsRegions; }

std::vector<Keyframe> KeyframeDocument::Keyframes() const {
  IKivKeyFrameParam& keyframes = *impl_->keyframes.Get();
  return HoldsRegions() ? List<KeyFrameRectF>(keyframes) : List<KeyFrameDouble>(keyframes);
}

KeyframeValue KeyframeDocument::ValueAt(int32_t frame) const {
  IKivKeyFrameParam& keyframes = *impl_->keyframes.Get();
  return HoldsRegions() ? Evaluate<KivRectF>(keyframes, frame) : Evaluate<double>(keyframes, frame);
}

}  // namespace kiv::session
