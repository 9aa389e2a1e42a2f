#include "session/Memory.h"

#include <algorithm>

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/PictureFacts.h"
#include "session/Fail.h"

namespace kiv::session {
namespace {

constexpr int64_t kPartOfBudget = 8;
// Fewer leave nothing to prepare, more than the cache's own choice gain nothing.
constexpr int64_t kShortestSpan = 4;
constexpr int64_t kLongestSpan = 20;

KivComPtr<IKivPictureMemory> Service() {
  KivComPtr<IKivPictureMemory> memory;
  KivCommon::GetInterface(kPictureMemoryClassId, nullptr, 1, IKivPictureMemory::kIid,
                          memory.PutVoid());
  if (!memory) FailRun("the engine has no picture memory");
  return memory;
}

}  // namespace

void SetPictureMemory(int64_t bytes) {
  if (Failed(Service()->SetLimit(bytes))) FailRun("the engine refuses {} bytes", bytes);
}

KivPictureMemory PictureMemory() {
  KivPictureMemory use;
  Service()->GetUse(&use);
  return use;
}

int32_t CacheSpanFor(KivSize size) {
  const int64_t frame = std::max(static_cast<int64_t>(PictureBytesOf(size)), int64_t{1});
  const int64_t frames = PictureMemory().limit / kPartOfBudget / frame;
  return static_cast<int32_t>(std::clamp(frames, kShortestSpan, kLongestSpan));
}

}  // namespace kiv::session
