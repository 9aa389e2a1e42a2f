#include <climits>

#include "kiv/keyframes/KeyFrameParam.h"
#include "kiv/platform/KivCommon.h"
#include "test/fuzz/Feeds.h"

namespace fuzz {

bool FeedKeyFrameJson(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const KivComPtr<CKivKeyFrameParam> param(new CKivKeyFrameParam);
  if (!param->FromJson(KivCommon::Char2WChar(bytes.c_str()))) return param->GetKeyFrameCount() == 0;
  for (const int32_t frame : {INT_MIN, -7, 0, 1, 50, INT_MAX}) {
    double number = 0;
    KivRectF region;
    param->GetValueAt(frame, &number);
    param->GetValueAt(frame, &region);
  }
  std::wstring written, again;
  const KivComPtr<CKivKeyFrameParam> other(new CKivKeyFrameParam);
  return param->ToJson(&written) && other->FromJson(written) && other->ToJson(&again) &&
         again == written && other->GetKeyFrameCount() == param->GetKeyFrameCount();
}

}  // namespace fuzz
