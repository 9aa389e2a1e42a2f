// The classes that the component makes for hosts.
#pragma once

#include <span>

#include "kiv/object/ObjectBase.h"

struct ClassEntry {
  const wchar_t* description;
  const GUID* classId;
  // The new object with one reference, or null with a failure in `result`.
  scombase::CUnknown* (*create)(IUnknown* outer, HRESULT* result);
};

std::span<const ClassEntry> ComponentClasses();
// Null when the class is not in the table.
const ClassEntry* FindComponentClass(const GUID& classId);
