// Every class the engine brings along, in one table.
#include "engine/common/ClassRegistry.h"
#include "engine/common/Frame.h"
#include "kiv/platform/Frame.h"

namespace kiv {
namespace {

struct BuiltInClass {
  GUID classId;
  HRESULT (*create)(IUnknown* outer, const GUID& iid, void** object);
};

constexpr BuiltInClass kBuiltInClasses[] = {
    {kFrameClassId, &CreateFrameObject},
};

}  // namespace

void RegisterBuiltInClasses(ClassRegistry& registry) {
  for (const BuiltInClass& entry : kBuiltInClasses) registry.Add(entry.classId, entry.create);
}

}  // namespace kiv
