#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "kiv/values/CKivValue.h"

KivBlob::KivBlob() = default;

KivBlob::~KivBlob() {
  if (bCopy) delete[] pData;
}

KivBlob::KivBlob(const KivBlob& other)
    : uDataSize(other.uDataSize), pData(other.pData), bCopy(other.bCopy) {
  std::copy(std::begin(other.pExtend), std::end(other.pExtend), pExtend);
  if (!bCopy || !pData) return;
  pData = new uint8_t[uDataSize];
  std::memcpy(pData, other.pData, uDataSize);
}

KivBlob::KivBlob(KivBlob&& other) noexcept
    : uDataSize(std::exchange(other.uDataSize, 0u)),
      pData(std::exchange(other.pData, nullptr)),
      bCopy(std::exchange(other.bCopy, 0)) {
  std::copy(std::begin(other.pExtend), std::end(other.pExtend), pExtend);
}

KivBlob& KivBlob::operator=(KivBlob other) noexcept {
  std::swap(uDataSize, other.uDataSize);
  std::swap(pData, other.pData);
  std::swap(bCopy, other.bCopy);
  std::swap(pExtend, other.pExtend);
  return *this;
}

uint8_t* KivBlob::AllocateBytes(size_t count) {
  return count == 0 ? nullptr : new (std::nothrow) uint8_t[count];
}

void KivBlob::Adopt(uint8_t* bytes, uint32_t count) {
  if (bCopy) delete[] pData;
  pData = bytes;
  uDataSize = count;
  bCopy = 1;
}
