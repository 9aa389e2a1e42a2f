// Enters the object services for the thread that holds one.
//
// Threads:  lives and dies on one thread.
#pragma once

#include "kiv/platform/OsServices.h"

class CAutoCOMInitializer {
 public:
  CAutoCOMInitializer() { CoInitialize(nullptr); }
  virtual ~CAutoCOMInitializer() { CoUninitialize(); }
  CAutoCOMInitializer(const CAutoCOMInitializer&) = delete;
  CAutoCOMInitializer& operator=(const CAutoCOMInitializer&) = delete;
};
