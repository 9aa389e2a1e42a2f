#include "kiv/component/ClassTable.h"

#include "kiv/component/EntryPoints.h"
#include "kiv/component/VideoStreamProcess.h"

std::span<const ClassEntry> ComponentClasses() {
  static constexpr ClassEntry kClasses[] = {
      {L"Create video stream processor", &kVideoStreamProcessClassId, &CreateVideoStreamProcess},
  };
  return kClasses;
}

const ClassEntry* FindComponentClass(const GUID& classId) {
  for (const ClassEntry& entry : ComponentClasses()) {
    if (*entry.classId == classId) return &entry;
  }
  return nullptr;
}
