// Every class the engine brings along, in one table.
#include "engine/filters/FilterManager.h"
#include "engine/logger/Logger.h"
#include "engine/media/MediaSource.h"
#include "engine/media/keep/PictureMemory.h"
#include "engine/motion/StabilizerAlgorithm.h"
#include "engine/picture/Frame.h"
#include "engine/registry/ClassIds.h"
#include "engine/registry/ClassRegistry.h"
#include "engine/registry/PathService.h"
#include "kiv/platform/Frame.h"
#include "kiv/platform/ImageProc.h"
#include "kiv/platform/Media.h"
#include "kiv/platform/Stabilizer.h"

namespace kiv {
namespace {

struct BuiltInClass {
  GUID classId;
  HRESULT (*create)(IUnknown* outer, const GUID& iid, void** object);
};

constexpr BuiltInClass kBuiltInClasses[] = {
    {kFrameClassId, &CreateFrameObject},
    {kFilterManagerClassId, &CreateFilterManagerObject},
    {kDeviceClassId, &CreateDeviceObject},
    {kImageProcClassId, &CreateImageProcObject},
    {kMediaFactoryClassId, &CreateMediaFactoryObject},
    {kMediaSourceClassId, &CreateMediaSourceObject},
    {kPictureMemoryClassId, &CreatePictureMemoryObject},
    {kPathServiceClassId, &CreatePathServiceObject},
    {kStabilizerAlgorithmClassId, &CreateStabilizerAlgorithmObject},
};

}  // namespace

void RegisterBuiltInClasses(ClassRegistry& registry) {
  // Every object that calls FFmpeg is made through the registry.
  RouteFfmpegLog();
  for (const BuiltInClass& entry : kBuiltInClasses) registry.Add(entry.classId, entry.create);
}

}  // namespace kiv
