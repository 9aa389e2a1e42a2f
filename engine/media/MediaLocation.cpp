#include "engine/media/MediaLocation.h"

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/PathService.h"

namespace kiv {
namespace {

constexpr int32_t kLongestLocation = 4096;

}  // namespace

std::string LocalPathOf(const wchar_t* location) {
  if (!location) return {};
  KivComPtr<IKivPathService> service;
  KivCommon::GetInterface(kPathServiceClassId, nullptr, 0, IKivPathService::kIid,
                          service.PutVoid());
  std::wstring path(kLongestLocation, L'\0');
  if (!service || Failed(service->TranslateLocation(location, path.data(), kLongestLocation)) ||
      path.front() == L'\0') {
    return KivCommon::WChar2Char(location);
  }
  return KivCommon::WChar2Char(path.c_str());
}

}  // namespace kiv
